#include "device/Subscriber.h"

#include <new>
#include <stdexcept>

#include <lumo/Log.h>

LUMO_LOG_CATEGORY("vision.videodevice.subscriber")

namespace videoDevice {

Subscriber::Subscriber(const std::string& name)
    : _name(name), _multiStream(false), _frameRate(1), _heldImages(0) {}

const std::string& Subscriber::getName() const { return _name; }

bool Subscriber::isMultiStream() const { return _multiStream.load(); }

bool Subscriber::isProcessing() const { return _heldImages.load() != 0; }

std::vector<std::string> Subscriber::getActiveCameraList() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _activeCameras;
}

std::size_t Subscriber::getActiveCameraCount() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _activeCameras.size();
}

void Subscriber::setActiveCameras(const std::vector<std::string>& cameraNames) {
  std::lock_guard<std::mutex> lock(_mutex);
  if (&cameraNames != &_activeCameras) _activeCameras = cameraNames;
  // A latch: going back to one camera keeps the multi-stream calls.
  if (cameraNames.size() >= 2) _multiStream = true;
}

unsigned short Subscriber::getFrameRate() const { return _frameRate.load(); }

void Subscriber::setFrameRate(unsigned short frameRate) {
  {
    std::lock_guard<std::mutex> lock(_mutex);
    for (const auto& entry : _cameraPreferences) entry.second->setRefreshRate(frameRate);
  }
  _frameRate = frameRate;
}

Subscriber::PreferencesMap Subscriber::getCameraPreferencesMap() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _cameraPreferences;
}

std::shared_ptr<CameraPreferences> Subscriber::getCameraPreferences(
    const std::string& cameraName) const {
  {
    std::lock_guard<std::mutex> lock(_mutex);
    const auto it = _cameraPreferences.find(cameraName);
    if (it != _cameraPreferences.end()) return it->second;
  }
  LUMO_FAIL(std::runtime_error, lumo::log::concat(_name, ": Camera preference for camera \"",
                                                  cameraName, "\" doesn't exist."));
}

void Subscriber::setCameraPreferences(const std::string& cameraName,
                                      std::shared_ptr<CameraPreferences> preferences) {
  if (!preferences) {
    LUMO_LOG(3) << _name << ": try to set empty camera preferences.";
    return;
  }
  std::lock_guard<std::mutex> lock(_mutex);
  _cameraPreferences[cameraName] = std::move(preferences);
}

Subscriber::ImageBufferMap Subscriber::getImageBufferMap() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _imageBuffers;
}

std::shared_ptr<const ImageBuffer> Subscriber::getImageBuffer(const std::string& cameraName) const {
  {
    std::lock_guard<std::mutex> lock(_mutex);
    const auto it = _imageBuffers.find(cameraName);
    if (it != _imageBuffers.end()) return it->second;
  }
  LUMO_FAIL(std::runtime_error, lumo::log::concat(_name, ": Image buffer for camera \"",
                                                  cameraName, "\" doesn't exist."));
}

void Subscriber::setImageBuffer(const std::string& cameraName,
                                std::shared_ptr<const ImageBuffer> buffer) {
  if (!buffer) {
    LUMO_LOG(3) << _name << ": try to set empty buffer.";
    return;
  }
  std::lock_guard<std::mutex> lock(_mutex);
  if (_spareNodes.empty()) {
    _imageBuffers.emplace(cameraName, std::move(buffer));
  } else {
    ImageBufferMap::node_type record = std::move(_spareNodes.back());
    _spareNodes.pop_back();
    record.key() = cameraName;  // fits in the capacity of an earlier name, usually the same
    record.mapped() = std::move(buffer);
    _imageBuffers.insert(std::move(record));
  }
  ++_heldImages;
}

Subscriber::ImageBufferMap::node_type Subscriber::_takeFirstImageBuffer() {
  std::lock_guard<std::mutex> lock(_mutex);
  if (_imageBuffers.empty()) return {};
  return _imageBuffers.extract(_imageBuffers.begin());
}

void Subscriber::_restoreImageBuffer(ImageBufferMap::node_type record) {
  std::lock_guard<std::mutex> lock(_mutex);
  _imageBuffers.insert(_imageBuffers.begin(), std::move(record));
}

void Subscriber::_recycleImageBuffer(ImageBufferMap::node_type record) {
  record.mapped().reset();  // a kept node must not keep the image alive
  std::lock_guard<std::mutex> lock(_mutex);
  --_heldImages;
  // Bounded by the most images ever held at once; a failed push only means
  // the node is freed instead of kept.
  try {
    _spareNodes.push_back(std::move(record));
  } catch (const std::bad_alloc&) {
  }
}

}  // namespace videoDevice
