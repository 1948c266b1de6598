#include "videodevice/CameraPreferences.h"

#include <lumo/Log.h>

// Registered for completeness: preferences are plain values and log nothing.
LUMO_LOG_CATEGORY("vision.videodevice.camerapreferences")

namespace videoDevice {

const Resolution CameraPreferences::defaultResolution(0, 0);
const ColorSpace CameraPreferences::defaultColorSpace = ColorSpace::UNKNOWN;

CameraPreferences::CameraPreferences(const CameraPreferences& other)
    : _resolution(), _colorSpace(), _refreshRate() {
  std::lock_guard<std::mutex> lock(other._mutex);
  _resolution = other._resolution;
  _colorSpace = other._colorSpace;
  _refreshRate = other._refreshRate;
}

// Read the source under its lock, then write under ours: the two locks are
// never held together, so two threads assigning in opposite directions
// cannot deadlock.
CameraPreferences& CameraPreferences::operator=(const CameraPreferences& other) {
  if (this == &other) return *this;
  const CameraPreferences copy(other);
  std::lock_guard<std::mutex> lock(_mutex);
  _resolution = copy._resolution;
  _colorSpace = copy._colorSpace;
  _refreshRate = copy._refreshRate;
  return *this;
}

Resolution CameraPreferences::getResolution() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _resolution;
}

void CameraPreferences::setResolution(Resolution resolution) {
  std::lock_guard<std::mutex> lock(_mutex);
  _resolution = resolution;
}

ColorSpace CameraPreferences::getColorSpace() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _colorSpace;
}

void CameraPreferences::setColorSpace(ColorSpace colorSpace) {
  std::lock_guard<std::mutex> lock(_mutex);
  _colorSpace = colorSpace;
}

unsigned short CameraPreferences::getRefreshRate() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _refreshRate;
}

void CameraPreferences::setRefreshRate(unsigned short refreshRate) {
  std::lock_guard<std::mutex> lock(_mutex);
  _refreshRate = refreshRate;
}

}  // namespace videoDevice
