#include "Progress.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>

#include <unistd.h>

#include "Table.h"

namespace videoDeviceTool {

Progress::Progress(std::string title, double totalSeconds)
    : _title(std::move(title)), _total(totalSeconds), _terminal(isatty(fileno(stdout)) != 0) {}

std::string Progress::line(double seconds, const std::string& detail) const {
  const double fraction = _total > 0.0 ? std::clamp(seconds / _total, 0.0, 1.0) : 1.0;
  std::string text = _title + " ";
  if (_terminal) {
    constexpr int width = 30;
    const int filled = static_cast<int>(std::lround(fraction * width));
    text += "[" + std::string(static_cast<std::size_t>(filled), '#') +
            std::string(static_cast<std::size_t>(width - filled), '.') + "] ";
  }
  return text + formatFixed(std::min(seconds, _total), 1) + "/" + formatFixed(_total, 1) + " s  " +
         detail;
}

void Progress::update(double seconds, const std::string& detail) {
  if (_terminal) {
    // \033[K clears what a longer previous line left behind.
    std::cout << '\r' << line(seconds, detail) << "\033[K" << std::flush;
    return;
  }
  const long second = static_cast<long>(seconds);
  if (second > _lastPlainSecond) {
    _lastPlainSecond = second;
    std::cout << line(seconds, detail) << std::endl;
  }
}

void Progress::finish(const std::string& detail) {
  if (_terminal) {
    std::cout << '\r' << line(_total, detail) << "\033[K" << std::endl;
  } else {
    std::cout << line(_total, detail) << std::endl;
  }
}

}  // namespace videoDeviceTool
