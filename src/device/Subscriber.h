#pragma once
// One client registration: the cameras it is bound to, what it wants from each
// (preference objects shared with those cameras) and the images it holds.
//
// Thread-safe: _mutex guards the active-camera list and both maps. The
// multi-stream flag and the frame rate are read without it; a subscriber is
// meant to be driven by one client thread at a time.
//
// The image map may hold several buffers under one camera name: a
// multi-stream subscriber that lists a camera both as "Default" and under its
// own name gets one buffer for each entry, and each must be given back.

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "videodevice/CameraPreferences.h"
#include "videodevice/ImageBuffer.h"

namespace videoDevice {

class Subscriber {
 public:
  using PreferencesMap = std::map<std::string, std::shared_ptr<CameraPreferences>>;
  using ImageBufferMap = std::multimap<std::string, std::shared_ptr<const ImageBuffer>>;

  explicit Subscriber(const std::string& name);

  const std::string& getName() const;
  bool isMultiStream() const;
  // True while the subscriber holds at least one image.
  bool isProcessing() const;

  std::vector<std::string> getActiveCameraList() const;
  // Two or more cameras latch the subscriber into multi-stream for good.
  void setActiveCameras(const std::vector<std::string>& cameraNames);

  unsigned short getFrameRate() const;
  // Writes the rate into every preference object, then stores it.
  void setFrameRate(unsigned short frameRate);

  PreferencesMap getCameraPreferencesMap() const;
  // Throws std::runtime_error when no preferences exist under that exact key.
  std::shared_ptr<CameraPreferences> getCameraPreferences(const std::string& cameraName) const;
  // A null pointer is refused with a warning.
  void setCameraPreferences(const std::string& cameraName,
                            std::shared_ptr<CameraPreferences> preferences);

  ImageBufferMap getImageBufferMap() const;
  void clearImageBufferMap();
  // The first image held under that key; throws std::runtime_error when none.
  std::shared_ptr<const ImageBuffer> getImageBuffer(const std::string& cameraName) const;
  // Records one more held image; a null pointer is refused with a warning.
  void setImageBuffer(const std::string& cameraName, std::shared_ptr<const ImageBuffer> buffer);
  // Forgets one record of `buffer` under that key, once its camera took it
  // back, so that a release retried after a failure gives back only the rest.
  void eraseImageBuffer(const std::string& cameraName,
                        const std::shared_ptr<const ImageBuffer>& buffer);

 private:
  const std::string _name;
  std::atomic<bool> _multiStream;
  std::vector<std::string> _activeCameras;
  std::atomic<unsigned short> _frameRate;
  PreferencesMap _cameraPreferences;
  ImageBufferMap _imageBuffers;
  std::atomic<std::size_t> _heldImages;  // size of _imageBuffers, for isProcessing()
  mutable std::mutex _mutex;
};

}  // namespace videoDevice
