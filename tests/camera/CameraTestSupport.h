#pragma once
// Small helpers shared by the camera core tests.

#include <cstdint>
#include <string>
#include <vector>

#include <lumo/Clock.h>

#include "support/LogCapture.h"

namespace videoDevice {
namespace test {

inline const std::string kCameraCategory = "vision.videodevice.camera";

// A request time point `ms` milliseconds (plus `ns` nanoseconds) after an
// arbitrary origin far enough from 0 that earlier stamps stay positive.
inline lumo::Clock::time_point at(std::int64_t ms, std::int64_t ns = 0) {
  return lumo::Clock::time_point(lumo::Clock::duration(10'000'000'000LL + ms * 1'000'000 + ns));
}

// The text of the exception of type Exception thrown by `action`, or a marker
// that makes the comparison fail.
template <typename Exception, typename Action>
std::string thrownMessage(Action&& action) {
  try {
    action();
  } catch (const Exception& e) {
    return e.what();
  } catch (...) {
    return "<another exception>";
  }
  return "<no exception>";
}

// Messages of the camera category at one level, in order.
inline std::vector<std::string> cameraMessages(const LogCapture& capture, int level) {
  std::vector<std::string> result;
  for (const auto& record : capture.records())
    if (record.category == kCameraCategory && record.level == level)
      result.push_back(record.message);
  return result;
}

}  // namespace test
}  // namespace videoDevice
