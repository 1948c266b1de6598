#pragma once
// A CameraBase with a scripted device, for tests of the camera core.
//
// Grab n (n = 1, 2, ...) fills the raw buffer, set to the native mode, with
// bytes (n + i) mod 256, stamped with the request time point. Conversion
// copies the raw bytes, cycling, each XOR kConversionMask, into the
// subscriber's resolution and colour space and keeps the stamp: for frame
// sizes that are multiples of 256, converted byte i = ((n + i) mod 256) ^ mask.
// Device hook calls are counted by hook name ("_openDevice", ...).

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <videodevice/CameraBase.h>
#include <videodevice/ImageBuffer.h>

namespace videoDevice {
namespace test {

class ScriptedCamera : public CameraBase {
 public:
  static constexpr unsigned char kConversionMask = 0xA5;

  // The supported sets are set; init() is not called (make() calls it).
  ScriptedCamera(std::string name, std::set<Resolution> resolutions,
                 std::set<ColorSpace> colorSpaces, std::set<unsigned short> frameRates)
      : CameraBase(std::weak_ptr<VideoDevice>(), "Scripted", std::move(name), true) {
    setNativelySupportedResolutions(std::move(resolutions));
    setNativelySupportedColorSpaces(std::move(colorSpaces));
    setNativelySupportedFrameRates(std::move(frameRates));
  }
  static std::shared_ptr<ScriptedCamera> make(std::string name, std::set<Resolution> resolutions,
                                              std::set<ColorSpace> colorSpaces,
                                              std::set<unsigned short> frameRates) {
    auto camera = std::make_shared<ScriptedCamera>(std::move(name), std::move(resolutions),
                                                   std::move(colorSpaces), std::move(frameRates));
    camera->init();
    return camera;
  }

  // While true, every grab throws std::runtime_error.
  std::atomic<bool> grabsFail{false};

  int calls(const std::string& hook) const {
    std::lock_guard<std::mutex> lock(_scriptMutex);
    return _calls.count(hook) ? _calls.at(hook) : 0;
  }
  // Resolution of each raw buffer as handed to the grab hook, before filling.
  std::vector<Resolution> rawBuffersSeenByGrabs() const {
    std::lock_guard<std::mutex> lock(_scriptMutex);
    return _rawSeen;
  }
  std::size_t rawPoolSize() const {
    std::lock_guard<std::mutex> lock(_rawBuffersMutex);
    return _rawBuffers.size();
  }
  std::size_t convertedPoolSize() const {
    std::lock_guard<std::mutex> lock(_buffersMutex);
    return _buffers.size();
  }
  // useCount of every buffer of both pools.
  std::vector<std::int32_t> useCounts() const {
    std::vector<std::int32_t> counts;
    {
      std::lock_guard<std::mutex> lock(_rawBuffersMutex);
      for (const auto& buffer : _rawBuffers) counts.push_back(buffer->useCount.load());
    }
    std::lock_guard<std::mutex> lock(_buffersMutex);
    for (const auto& buffer : _buffers) counts.push_back(buffer->useCount.load());
    return counts;
  }

  bool isColorSpaceValid(const ColorSpace& colorSpace) const override {
    return CameraBase::isColorSpaceValid(colorSpace);
  }
  using CameraBase::_controls;
  using CameraBase::_rawGrabFailures;

 protected:
  // Counted, then the base behaviour (state flags and messages).
  void _openDevice() override { count(__func__), CameraBase::_openDevice(); }
  void _initDevice() override { count(__func__), CameraBase::_initDevice(); }
  void _releaseDevice() override { count(__func__), CameraBase::_releaseDevice(); }
  void _closeDevice() override { count(__func__), CameraBase::_closeDevice(); }
  void _startStreaming() override { count(__func__), CameraBase::_startStreaming(); }
  void _stopStreaming() override { count(__func__), CameraBase::_stopStreaming(); }
  void _setDeviceResolution(Resolution resolution) override {
    count(__func__), CameraBase::_setDeviceResolution(resolution);
  }

  void _getDeviceRawImage(const lumo::Clock::time_point& timePoint,
                          const std::shared_ptr<ImageBuffer>& raw) override {
    count(__func__);
    std::uint32_t frame = 0;
    {
      std::lock_guard<std::mutex> lock(_scriptMutex);
      _rawSeen.push_back(raw->getResolution());
      if (grabsFail) throw std::runtime_error(getName() + ": scripted grab failure");
      frame = ++_frames;
    }
    raw->setResolution(getNativeResolution());
    raw->setColorSpace(getNativeColorSpace());
    unsigned char* data = raw->getData();
    for (std::uint64_t i = 0; i < raw->getSize(); ++i)
      data[i] = static_cast<unsigned char>((frame + i) & 0xFF);
    raw->setTimeStamp(timePoint);
  }

  void _convertImage(const CameraPreferences& preferences,
                     const std::shared_ptr<const ImageBuffer>& raw,
                     const std::shared_ptr<ImageBuffer>& out) const override {
    count(__func__);
    out->setResolution(preferences.getResolution());
    out->setColorSpace(preferences.getColorSpace());
    const unsigned char* source = raw->getData();
    const std::uint64_t sourceSize = raw->getSize();
    unsigned char* target = out->getData();
    for (std::uint64_t i = 0; i < out->getSize() && sourceSize != 0; ++i)
      target[i] = static_cast<unsigned char>(source[i % sourceSize] ^ kConversionMask);
    out->setTimeStamp(raw->getTimeStamp());
  }

  ColorSpace _getCorrespondentRawColorSpace(const ColorSpace&) override {
    return *_supportedColorSpaces.begin();
  }

 private:
  void count(const std::string& hook) const {
    std::lock_guard<std::mutex> lock(_scriptMutex);
    ++_calls[hook];
  }

  mutable std::mutex _scriptMutex;
  mutable std::map<std::string, int> _calls;
  std::uint32_t _frames = 0;
  std::vector<Resolution> _rawSeen;
};

}  // namespace test
}  // namespace videoDevice
