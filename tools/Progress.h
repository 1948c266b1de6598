#pragma once
// A progress bar on a terminal; one plain line a second otherwise (logs, CI).

#include <string>

namespace videoDeviceTool {

class Progress {
 public:
  Progress(std::string title, double totalSeconds);
  // Shows the state at `seconds`; `detail` follows the bar.
  void update(double seconds, const std::string& detail);
  // Completes the bar and ends its line.
  void finish(const std::string& detail);

 private:
  std::string line(double seconds, const std::string& detail) const;

  std::string _title;
  double _total;
  bool _terminal;
  long _lastPlainSecond = -1;
};

}  // namespace videoDeviceTool
