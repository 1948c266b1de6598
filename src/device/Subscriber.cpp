#include "device/Subscriber.h"

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

void Subscriber::clearImageBufferMap() {
  std::lock_guard<std::mutex> lock(_mutex);
  _imageBuffers.clear();
  _heldImages = 0;
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
  _imageBuffers.emplace(cameraName, std::move(buffer));
  _heldImages = _imageBuffers.size();
}

void Subscriber::eraseImageBuffer(const std::string& cameraName,
                                  const std::shared_ptr<const ImageBuffer>& buffer) {
  std::lock_guard<std::mutex> lock(_mutex);
  const auto range = _imageBuffers.equal_range(cameraName);
  for (auto it = range.first; it != range.second; ++it) {
    if (it->second == buffer) {
      _imageBuffers.erase(it);
      break;
    }
  }
  _heldImages = _imageBuffers.size();
}

}  // namespace videoDevice
