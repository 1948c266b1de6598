#pragma once
// One client registration: the cameras it is bound to, what it wants from each
// (preference objects shared with those cameras) and the images it holds.
//
// Thread-safe: _mutex guards the active-camera list, both maps and the spare
// nodes. The multi-stream flag, the frame rate and the count of held images
// are read without it; a subscriber is meant to be driven by one client
// thread at a time.
//
// The image map may hold several buffers under one camera name: a
// multi-stream subscriber that lists a camera both as "Default" and under its
// own name gets one buffer for each entry, and each must be given back.
//
// Recording and giving back images happen on every frame, so they reuse the
// map's nodes: a node given back is kept aside (name capacity included) and
// filled again by the next record, instead of being freed and allocated anew.

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
  std::size_t getActiveCameraCount() const;
  // Resolves active-list entry `index` under the subscriber's lock, without
  // copying its name: `camera` receives findCamera(name), which must not call
  // back into the subscriber, and `preferences` those stored under the name
  // (null when none). False past the end of the list.
  template <typename FindCamera, typename CameraPointer>
  bool resolveActiveCamera(std::size_t index, FindCamera findCamera, CameraPointer& camera,
                           std::shared_ptr<CameraPreferences>& preferences) const;
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
  // The first image held under that key; throws std::runtime_error when none.
  std::shared_ptr<const ImageBuffer> getImageBuffer(const std::string& cameraName) const;
  // Records one more held image; a null pointer is refused with a warning.
  void setImageBuffer(const std::string& cameraName, std::shared_ptr<const ImageBuffer> buffer);
  // Gives back every held image in map order through giveBack(cameraName,
  // buffer), called without the subscriber's lock. Each image is forgotten as
  // soon as its camera took it back; if giveBack throws, that image and the
  // rest stay recorded (a retried release gives back only those) and the
  // exception goes on. The subscriber is processing until the last is back.
  template <typename GiveBack>
  void giveBackImageBuffers(GiveBack giveBack);

 private:
  // The first record, taken out of the map (null node when none).
  ImageBufferMap::node_type _takeFirstImageBuffer();
  // Puts a record whose image could not be given back where it was, first.
  void _restoreImageBuffer(ImageBufferMap::node_type record);
  // Keeps the node of a record whose image is back, for the next record.
  void _recycleImageBuffer(ImageBufferMap::node_type record);

  const std::string _name;
  std::atomic<bool> _multiStream;
  std::vector<std::string> _activeCameras;
  std::atomic<unsigned short> _frameRate;
  PreferencesMap _cameraPreferences;
  ImageBufferMap _imageBuffers;
  std::vector<ImageBufferMap::node_type> _spareNodes;  // emptied nodes of _imageBuffers
  // Records in _imageBuffers plus the one being given back, for isProcessing().
  std::atomic<std::size_t> _heldImages;
  mutable std::mutex _mutex;
};

template <typename FindCamera, typename CameraPointer>
bool Subscriber::resolveActiveCamera(std::size_t index, FindCamera findCamera,
                                     CameraPointer& camera,
                                     std::shared_ptr<CameraPreferences>& preferences) const {
  std::lock_guard<std::mutex> lock(_mutex);
  if (index >= _activeCameras.size()) return false;
  const std::string& name = _activeCameras[index];
  camera = findCamera(name);
  const auto it = _cameraPreferences.find(name);
  preferences = it != _cameraPreferences.end() ? it->second : nullptr;
  return true;
}

template <typename GiveBack>
void Subscriber::giveBackImageBuffers(GiveBack giveBack) {
  for (ImageBufferMap::node_type record = _takeFirstImageBuffer(); !record.empty();
       record = _takeFirstImageBuffer()) {
    try {
      giveBack(record.key(), record.mapped());
    } catch (...) {
      _restoreImageBuffer(std::move(record));
      throw;
    }
    _recycleImageBuffer(std::move(record));
  }
}

}  // namespace videoDevice
