#pragma once
// What a subscriber asks of a camera: resolution, colour space, refresh rate.
// Shared between a subscriber and its cameras through std::shared_ptr, so that
// a camera recognises a request by the object; it carries no lock of its own.

#include <videodevice/Types.h>

namespace videoDevice {

class CameraPreferences {
 public:
  CameraPreferences(Resolution resolution, ColorSpace colorSpace, unsigned short refreshRate)
      : _resolution(resolution), _colorSpace(colorSpace), _refreshRate(refreshRate) {}
  CameraPreferences(const CameraPreferences&) = default;
  CameraPreferences& operator=(const CameraPreferences&) = default;

  Resolution getResolution() const { return _resolution; }
  void setResolution(Resolution resolution) { _resolution = resolution; }
  ColorSpace getColorSpace() const { return _colorSpace; }
  void setColorSpace(ColorSpace colorSpace) { _colorSpace = colorSpace; }
  unsigned short getRefreshRate() const { return _refreshRate; }
  void setRefreshRate(unsigned short refreshRate) { _refreshRate = refreshRate; }

  static const Resolution defaultResolution;   // 0 x 0
  static const ColorSpace defaultColorSpace;   // UNKNOWN

 private:
  Resolution _resolution;
  ColorSpace _colorSpace;
  unsigned short _refreshRate;
};

}  // namespace videoDevice
