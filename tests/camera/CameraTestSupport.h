#pragma once
// Small helpers shared by the camera core tests.

#include <cstdint>
#include <memory>
#include <string>

#include <lumo/Clock.h>

#include "support/LogCapture.h"
#include "support/ScriptedCamera.h"

namespace videoDevice {
namespace test {

inline const std::string kCameraCategory = "vision.videodevice.camera";
using Request = std::shared_ptr<CameraPreferences>;

// A request time point `ms` milliseconds after an origin far enough from 0
// that earlier stamps stay positive.
inline lumo::Clock::time_point at(std::int64_t ms) {
  return lumo::Clock::time_point(lumo::Clock::duration((10'000'000 + ms) * 1'000'000));
}

inline Request attach(CameraBase& camera, Resolution resolution, ColorSpace colorSpace,
                      unsigned short rate) {
  auto request = std::make_shared<CameraPreferences>(resolution, colorSpace, rate);
  camera.addPreferences(request);
  return request;
}

// The text of the Exception thrown by `action`, or a marker that fails the comparison.
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

}  // namespace test
}  // namespace videoDevice
