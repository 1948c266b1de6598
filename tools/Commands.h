#pragma once
// The subcommands of the videodevice tool. Each adds itself to the command line
// and returns the action to run when it was chosen; the action returns the
// process exit code and may throw (main prints the message and fails).

#include <functional>

#include <CLI/CLI.hpp>

namespace videoDeviceTool {

struct Command {
  CLI::App* app;
  std::function<int()> run;
};

Command addModelsCommand(CLI::App& parent);
Command addConvertCommand(CLI::App& parent);
Command addDemoCommand(CLI::App& parent);

}  // namespace videoDeviceTool
