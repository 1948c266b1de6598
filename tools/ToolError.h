#pragma once
// A failure the tool itself detects (bad argument, unreadable file). Failures
// of the library reach the user as the library's own std::exception.

#include <stdexcept>
#include <string>

namespace videoDeviceTool {

struct ToolError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace videoDeviceTool
