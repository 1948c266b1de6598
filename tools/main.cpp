// videodevice: the command-line face of the library. It lists the camera
// catalogue, converts a picture through a simulated camera, and runs a small
// simulated robot, using only the library's public interface.

#include <exception>
#include <iostream>
#include <vector>

#include <CLI/CLI.hpp>
#include <lumo/Log.h>

#include "Commands.h"

int main(int argc, char** argv) {
  CLI::App app{
      "videodevice: camera access for robots, driven from the command line.\n"
      "Lists the camera catalogue, converts pictures through a simulated camera,\n"
      "and runs a simulated robot with several client modules."};
  app.require_subcommand(1);
  app.fallthrough();
  int verbose = 0;
  app.add_flag("-v,--verbose", verbose,
               "Show the library's log: warnings with -v, everything with -vv");

  std::vector<videoDeviceTool::Command> commands = {
      videoDeviceTool::addModelsCommand(app),
      videoDeviceTool::addConvertCommand(app),
      videoDeviceTool::addDemoCommand(app),
  };

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error);
  }

  // The library's log is for developers; a user sees failures as messages.
  lumo::log::setVerbosity(verbose <= 0 ? 1 : (verbose == 1 ? 3 : 5));

  for (const auto& command : commands) {
    if (!command.app->parsed()) continue;
    try {
      return command.run();
    } catch (const std::exception& error) {
      std::cerr << "videodevice " << command.app->get_name() << ": error: " << error.what()
                << std::endl;
      return 1;
    }
  }
  return 1;
}
