#pragma once
// What a subscriber asks of a camera: resolution, colour space, refresh rate.
// Shared between a subscriber and its cameras through std::shared_ptr, so that
// a camera recognises a request by the object.
//
// Thread-safe: the subscriber's settings write a request while its cameras
// read it (negotiating, searching their pools), each under a mutex of its own
// or none, so the request guards its three fields itself with _mutex. Each
// getter and setter is atomic on its own; a caller that needs the three
// fields together takes a copy, which is made under the source's lock.

#include <mutex>

#include <videodevice/Types.h>

namespace videoDevice {

class CameraPreferences {
 public:
  CameraPreferences(Resolution resolution, ColorSpace colorSpace, unsigned short refreshRate)
      : _resolution(resolution), _colorSpace(colorSpace), _refreshRate(refreshRate) {}
  CameraPreferences(const CameraPreferences& other);
  CameraPreferences& operator=(const CameraPreferences& other);

  Resolution getResolution() const;
  void setResolution(Resolution resolution);
  ColorSpace getColorSpace() const;
  void setColorSpace(ColorSpace colorSpace);
  unsigned short getRefreshRate() const;
  void setRefreshRate(unsigned short refreshRate);

  static const Resolution defaultResolution;   // 0 x 0
  static const ColorSpace defaultColorSpace;   // UNKNOWN

 private:
  mutable std::mutex _mutex;  // guards the three fields below
  Resolution _resolution;
  ColorSpace _colorSpace;
  unsigned short _refreshRate;
};

}  // namespace videoDevice
