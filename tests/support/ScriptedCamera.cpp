#include "support/ScriptedCamera.h"

#include <stdexcept>
#include <utility>

namespace videoDevice {
namespace test {

ScriptedCamera::ScriptedCamera(std::string name, std::set<Resolution> resolutions,
                               std::set<ColorSpace> colorSpaces,
                               std::set<unsigned short> frameRates)
    : CameraBase(std::weak_ptr<VideoDevice>(), "Scripted", std::move(name), true) {
  setNativelySupportedResolutions(std::move(resolutions));
  setNativelySupportedColorSpaces(std::move(colorSpaces));
  setNativelySupportedFrameRates(std::move(frameRates));
}

std::shared_ptr<ScriptedCamera> ScriptedCamera::make(std::string name,
                                                     std::set<Resolution> resolutions,
                                                     std::set<ColorSpace> colorSpaces,
                                                     std::set<unsigned short> frameRates) {
  auto camera = std::make_shared<ScriptedCamera>(std::move(name), std::move(resolutions),
                                                 std::move(colorSpaces), std::move(frameRates));
  camera->init();
  return camera;
}

void ScriptedCamera::stampFramesWith(lumo::Clock::time_point stamp) {
  std::lock_guard<std::mutex> lock(_scriptMutex);
  _fixedStamp = stamp;
}

void ScriptedCamera::stampFramesAtRequestTime() {
  std::lock_guard<std::mutex> lock(_scriptMutex);
  _fixedStamp.reset();
}

void ScriptedCamera::setGrabsFail(bool fail) {
  std::lock_guard<std::mutex> lock(_scriptMutex);
  _grabsFail = fail;
}

void ScriptedCamera::setExtraColorSpace(ColorSpace colorSpace) {
  std::lock_guard<std::mutex> lock(_scriptMutex);
  _extraColorSpace = colorSpace;
}

int ScriptedCamera::calls(const std::string& hook) const {
  std::lock_guard<std::mutex> lock(_scriptMutex);
  const auto found = _calls.find(hook);
  return found == _calls.end() ? 0 : found->second;
}

std::uint32_t ScriptedCamera::framesGrabbed() const {
  std::lock_guard<std::mutex> lock(_scriptMutex);
  return _frames;
}

std::vector<std::pair<Resolution, ColorSpace>> ScriptedCamera::rawBuffersSeenByGrabs() const {
  std::lock_guard<std::mutex> lock(_scriptMutex);
  return _rawSeen;
}

std::size_t ScriptedCamera::rawPoolSize() const {
  std::lock_guard<std::mutex> lock(_rawBuffersMutex);
  return _rawBuffers.size();
}

std::size_t ScriptedCamera::convertedPoolSize() const {
  std::lock_guard<std::mutex> lock(_buffersMutex);
  return _buffers.size();
}

std::vector<std::int32_t> ScriptedCamera::useCounts() const {
  std::vector<std::int32_t> counts;
  {
    std::lock_guard<std::mutex> lock(_rawBuffersMutex);
    for (const auto& buffer : _rawBuffers) counts.push_back(buffer->useCount.load());
  }
  std::lock_guard<std::mutex> lock(_buffersMutex);
  for (const auto& buffer : _buffers) counts.push_back(buffer->useCount.load());
  return counts;
}

bool ScriptedCamera::isColorSpaceValid(const ColorSpace& colorSpace) const {
  return CameraBase::isColorSpaceValid(colorSpace) || isExtraColorSpace(colorSpace);
}

bool ScriptedCamera::isExtraColorSpace(const ColorSpace& colorSpace) const {
  std::lock_guard<std::mutex> lock(_scriptMutex);
  return _extraColorSpace && *_extraColorSpace == colorSpace;
}

void ScriptedCamera::count(const std::string& hook) const {
  std::lock_guard<std::mutex> lock(_scriptMutex);
  ++_calls[hook];
}

// --- device hooks: counted, then the base behaviour (flags and messages) --------

void ScriptedCamera::_openDevice() {
  count(__func__);
  CameraBase::_openDevice();
}

void ScriptedCamera::_initDevice() {
  count(__func__);
  CameraBase::_initDevice();
}

void ScriptedCamera::_releaseDevice() {
  count(__func__);
  CameraBase::_releaseDevice();
}

void ScriptedCamera::_closeDevice() {
  count(__func__);
  CameraBase::_closeDevice();
}

void ScriptedCamera::_startStreaming() {
  count(__func__);
  CameraBase::_startStreaming();
}

void ScriptedCamera::_stopStreaming() {
  count(__func__);
  CameraBase::_stopStreaming();
}

void ScriptedCamera::_setDeviceResolution(Resolution resolution) {
  count(__func__);
  CameraBase::_setDeviceResolution(resolution);
}

void ScriptedCamera::_setDeviceColorSpace(ColorSpace colorSpace) {
  count(__func__);
  CameraBase::_setDeviceColorSpace(colorSpace);
}

void ScriptedCamera::_setDeviceFrameRate(unsigned short frameRate) {
  count(__func__);
  CameraBase::_setDeviceFrameRate(frameRate);
}

// --- frames ------------------------------------------------------------------------

void ScriptedCamera::fill(const lumo::Clock::time_point& timePoint, ImageBuffer& raw) {
  std::uint32_t frame = 0;
  lumo::Clock::time_point stamp = timePoint;
  {
    std::lock_guard<std::mutex> lock(_scriptMutex);
    if (_grabsFail) throw std::runtime_error(getName() + ": scripted grab failure");
    frame = ++_frames;
    if (_fixedStamp) stamp = *_fixedStamp;
  }
  unsigned char* data = raw.getData();
  const std::uint64_t size = raw.getSize();
  for (std::uint64_t i = 0; i < size; ++i) data[i] = rawByte(frame, i);
  raw.setTimeStamp(stamp);
  raw.setFielOfView(getFieldOfView());
  raw.setCameraName(getName());
}

void ScriptedCamera::_getDeviceRawImage(const lumo::Clock::time_point& timePoint,
                                        const std::shared_ptr<ImageBuffer>& raw) {
  count(__func__);
  {
    std::lock_guard<std::mutex> lock(_scriptMutex);
    _rawSeen.emplace_back(raw->getResolution(), raw->getColorSpace());
  }
  raw->setResolution(getNativeResolution());
  raw->setColorSpace(getNativeColorSpace());
  fill(timePoint, *raw);
}

void ScriptedCamera::_getDeviceExtraRawImage(const lumo::Clock::time_point& timePoint,
                                             const CameraPreferences& preferences,
                                             std::shared_ptr<ImageBuffer> raw) {
  count(__func__);
  if (!isExtraColorSpace(preferences.getColorSpace())) {
    CameraBase::_getDeviceExtraRawImage(timePoint, preferences, raw);
    return;
  }
  raw->setResolution(getNativeResolution());
  fill(timePoint, *raw);
}

void ScriptedCamera::_convertImage(const CameraPreferences& preferences,
                                   const std::shared_ptr<const ImageBuffer>& raw,
                                   const std::shared_ptr<ImageBuffer>& out) const {
  count(__func__);
  out->setResolution(preferences.getResolution());
  out->setColorSpace(preferences.getColorSpace());
  const unsigned char* source = raw->getData();
  const std::uint64_t sourceSize = raw->getSize();
  unsigned char* target = out->getData();
  const std::uint64_t targetSize = out->getSize();
  for (std::uint64_t i = 0; i < targetSize && sourceSize != 0; ++i)
    target[i] = static_cast<unsigned char>(source[i % sourceSize] ^ kConversionMask);
  out->setTimeStamp(raw->getTimeStamp());
  out->setFielOfView(raw->getFieldOfView());
  out->setCameraName(raw->getCameraName());
}

ColorSpace ScriptedCamera::_getCorrespondentRawColorSpace(const ColorSpace& colorSpace) {
  if (isExtraColorSpace(colorSpace)) return colorSpace;
  return *_supportedColorSpaces.begin();
}

}  // namespace test
}  // namespace videoDevice
