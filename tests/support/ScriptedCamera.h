#pragma once
// A CameraBase with a scripted device, for tests of the camera core and of
// code built on it.
//
// Frames: grab n (n = 1, 2, ...) fills the raw buffer with the native mode and
// bytes rawByte(n, i) = (n + i) mod 256, stamped with the request time point
// unless a fixed stamp is set. Conversion copies the raw bytes, cycling over
// them, each XOR kConversionMask, into the subscriber's resolution and colour
// space, and carries over the raw time stamp. So, for frames whose byte size
// is a multiple of 256, converted byte i = ((n + i) mod 256) XOR mask, a
// pattern tests can check independently of this class.
//
// Every hook call is counted by hook name ("_openDevice", "_getDeviceRawImage",
// "_convertImage", ...). Grabs can be made to fail. One extra colour space may
// be declared to exercise the second raw stream; without it the extra-stream
// hook keeps the base refusal. Protected state of CameraBase is reachable for
// tests through the using-declarations below. Thread-safe as CameraBase is;
// the counters have their own lock.

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <videodevice/CameraBase.h>
#include <videodevice/ImageBuffer.h>

namespace videoDevice {
namespace test {

class ScriptedCamera : public CameraBase {
 public:
  static constexpr unsigned char kConversionMask = 0xA5;

  // The supported sets are set; init() is not called (see make()).
  ScriptedCamera(std::string name, std::set<Resolution> resolutions,
                 std::set<ColorSpace> colorSpaces, std::set<unsigned short> frameRates);

  // A camera ready for use, as a builder would hand it over: init() done.
  static std::shared_ptr<ScriptedCamera> make(std::string name, std::set<Resolution> resolutions,
                                              std::set<ColorSpace> colorSpaces,
                                              std::set<unsigned short> frameRates);

  // --- script --------------------------------------------------------------------
  // Stamp every following frame with `stamp` instead of the request time.
  void stampFramesWith(lumo::Clock::time_point stamp);
  void stampFramesAtRequestTime();
  // While true, every grab throws std::runtime_error.
  void setGrabsFail(bool fail);
  // Declares a colour space served by the extra raw stream.
  void setExtraColorSpace(ColorSpace colorSpace);

  // --- observation ---------------------------------------------------------------
  int calls(const std::string& hook) const;
  // Number of successful grabs so far (the n of the last frame).
  std::uint32_t framesGrabbed() const;
  // Resolution and colour space of each raw buffer as handed to the grab
  // hook, before it was filled.
  std::vector<std::pair<Resolution, ColorSpace>> rawBuffersSeenByGrabs() const;
  std::size_t rawPoolSize() const;
  std::size_t convertedPoolSize() const;
  // useCount of every buffer of both pools.
  std::vector<std::int32_t> useCounts() const;

  static unsigned char rawByte(std::uint32_t frame, std::uint64_t index) {
    return static_cast<unsigned char>((frame + index) & 0xFF);
  }

  bool isColorSpaceValid(const ColorSpace& colorSpace) const override;
  bool isExtraColorSpace(const ColorSpace& colorSpace) const override;

  using CameraBase::_buffers;
  using CameraBase::_buffersMutex;
  using CameraBase::_controls;
  using CameraBase::_decreaseAllBufferNumber;
  using CameraBase::_findMaxRefreshRateRequested;
  using CameraBase::_findMaxResolutionRequested;
  using CameraBase::_increaseBufferNumber;
  using CameraBase::_increaseRawBufferNumber;
  using CameraBase::_lockOldestBufferForEditing;
  using CameraBase::_lockOldestRawBufferForEditing;
  using CameraBase::_nativePreferences;
  using CameraBase::_preferences;
  using CameraBase::_rawBuffers;
  using CameraBase::_rawBuffersMutex;
  using CameraBase::_rawGrabFailures;

 protected:
  void _openDevice() override;
  void _initDevice() override;
  void _releaseDevice() override;
  void _closeDevice() override;
  void _startStreaming() override;
  void _stopStreaming() override;
  void _setDeviceResolution(Resolution resolution) override;
  void _setDeviceColorSpace(ColorSpace colorSpace) override;
  void _setDeviceFrameRate(unsigned short frameRate) override;
  void _getDeviceRawImage(const lumo::Clock::time_point& timePoint,
                          const std::shared_ptr<ImageBuffer>& raw) override;
  void _getDeviceExtraRawImage(const lumo::Clock::time_point& timePoint,
                               const CameraPreferences& preferences,
                               std::shared_ptr<ImageBuffer> raw) override;
  void _convertImage(const CameraPreferences& preferences,
                     const std::shared_ptr<const ImageBuffer>& raw,
                     const std::shared_ptr<ImageBuffer>& out) const override;
  ColorSpace _getCorrespondentRawColorSpace(const ColorSpace& colorSpace) override;

 private:
  void count(const std::string& hook) const;
  void fill(const lumo::Clock::time_point& timePoint, ImageBuffer& raw);

  mutable std::mutex _scriptMutex;
  mutable std::map<std::string, int> _calls;
  std::optional<lumo::Clock::time_point> _fixedStamp;
  bool _grabsFail = false;
  std::optional<ColorSpace> _extraColorSpace;
  std::uint32_t _frames = 0;
  std::vector<std::pair<Resolution, ColorSpace>> _rawSeen;
};

}  // namespace test
}  // namespace videoDevice
