#pragma once
// The common implementation of the camera contract: identity, natively
// supported modes, the native mode in force, the subscribers' preferences,
// the software controls and the two buffer pools. A backend derives from it
// and supplies the four pure hooks (and the device hooks it needs).
//
// Locks, outer to inner: _cameraMutex guards the lifecycle, the native mode,
// the controls and the image requests; _preferencesMutex guards _preferences;
// _rawBuffersMutex guards _rawBuffers; _buffersMutex guards _buffers. No
// operation takes _cameraMutex while holding one of the other three, and the
// pool mutexes are never held together. Underscore operations assume the
// camera mutex is held and never call their public twins.

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <videodevice/Camera.h>
#include <videodevice/CameraPreferences.h>
#include <videodevice/Types.h>

namespace videoDevice {

class ImageBuffer;
class VideoDevice;

class CameraBase : public Camera {
 public:
  // A camera control: a range and a current value.
  class Control {
   public:
    explicit Control(bool skipReset) : _skipReset(skipReset) {}
    virtual ~Control() = default;
    virtual ParameterInfo getInfo() const = 0;
    virtual int getValue() const = 0;
    virtual void setValue(int value) = 0;
    // When true, resetting the parameter leaves the control untouched.
    bool skipsReset() const { return _skipReset; }

   protected:
    bool _skipReset;
  };

  // A control whose value lives in memory, checked against its range and step.
  class ControlSoftware : public Control {
   public:
    ControlSoftware(const ParameterInfo& info, bool skipReset);
    ParameterInfo getInfo() const override;
    int getValue() const override;
    // Throws std::out_of_range("New value not in the allowed range.") for a
    // value outside [min, max] or off the step grid; the value is then kept.
    void setValue(int value) override;

   private:
    ParameterInfo _info;
    int _value;
  };

  CameraBase(std::weak_ptr<VideoDevice> videoDevice, std::string model, std::string name,
             bool simulated);
  ~CameraBase() override;

  void init() override;
  std::shared_ptr<CameraPreferences> buildDefaultPreferences() const override;
  bool isInUse() const override;
  void addPreferences(const std::shared_ptr<CameraPreferences>& preferences) override;
  void removePreferences(const std::shared_ptr<CameraPreferences>& preferences) override;
  void updateResolutionPreferences(const std::shared_ptr<CameraPreferences>& preferences,
                                   Resolution resolution) override;
  void updateColorSpacePreferences(const std::shared_ptr<CameraPreferences>& preferences,
                                   ColorSpace colorSpace) override;
  void updateFrameRatePreferences(const std::shared_ptr<CameraPreferences>& preferences,
                                  unsigned short frameRate) override;
  const std::string& getModel() const override;
  bool isSimulated() const override;
  const std::string& getName() const override;
  FieldOfView getFieldOfView() const override;
  void setFieldOfView(const FieldOfView& fieldOfView) override;
  std::pair<bool, bool> getDefaultFlip() const override;
  void setDefaultFlip(bool horizontal, bool vertical) override;
  void setCalibration(std::vector<std::string> files) override;
  std::set<Resolution> getNativelySupportedResolutions() const override;
  void setNativelySupportedResolutions(std::set<Resolution> resolutions) override;
  std::set<ColorSpace> getNativelySupportedColorSpaces() const override;
  void setNativelySupportedColorSpaces(std::set<ColorSpace> colorSpaces) override;
  std::set<unsigned short> getNativelySupportedFrameRates() const override;
  void setNativelySupportedFrameRates(std::set<unsigned short> frameRates) override;
  bool isValidRequest(const CameraPreferences& preferences) const override;
  bool updateRequestToValidRequest(CameraPreferences& preferences) const override;
  bool isResolutionValid(const Resolution& resolution) const override;
  Resolution getNativeResolution() const override;
  void setNativeResolution(Resolution resolution) override;
  // Backends decide; this body (membership in the supported set) is theirs to call.
  bool isColorSpaceValid(const ColorSpace& colorSpace) const override = 0;
  bool isExtraColorSpace(const ColorSpace& colorSpace) const override;
  ColorSpace getNativeColorSpace() const override;
  void setNativeColorSpace(ColorSpace colorSpace) override;
  bool isFrameRateValid(const unsigned short& frameRate) const override;
  unsigned short getNativeFrameRate() const override;
  void setNativeFrameRate(unsigned short frameRate) override;
  std::vector<Parameter> getParameterList() const override;
  int getParameter(const Parameter& parameter) const override;
  ParameterInfo getParameterInfo(const Parameter& parameter) const override;
  void setParameter(const Parameter& parameter, int value) override;
  void resetParameter(const Parameter& parameter) override;
  void resetParameters() override;
  std::vector<float> getAngularPositionFromImagePosition(
      const std::vector<float>& imagePosition) const override;
  std::vector<float> getImagePositionFromAngularPosition(
      const std::vector<float>& angularPosition) const override;
  std::vector<float> getAngularSizeFromImageSize(
      const std::vector<float>& imageSize) const override;
  std::vector<float> getImageSizeFromAngularSize(
      const std::vector<float>& angularSize) const override;
  std::vector<float> getImageInfoFromAngularInfo(
      const std::vector<float>& angularInfo) const override;
  std::vector<float> getImageInfoFromAngularInfoWithResolution(
      const std::vector<float>& angularInfo, const Resolution& resolution) const override;
  bool isOpen() const override;
  void open() override;
  void close() override;
  bool isStarted() const override;
  void start() override;
  void stop() override;
  void reset() override;
  std::shared_ptr<const ImageBuffer> getDirectRawImageBuffer(
      const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences) override;
  std::shared_ptr<const ImageBuffer> getDirectRawExtraColorSpaceImageBuffer(
      const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences) override;
  std::shared_ptr<const ImageBuffer> getImageBuffer(const lumo::Clock::time_point& timePoint,
                                                    const CameraPreferences& preferences) override;
  void releaseImageBuffer(std::shared_ptr<const ImageBuffer> buffer) override;
  void putImage(const std::shared_ptr<const ImageBuffer>& image) override;
  CameraPreferences getExpectedImageParameters() const override;

 protected:
  // --- virtual operations, in the order of the virtual table -----------------
  virtual Resolution _findMaxResolutionRequested() const;
  virtual unsigned short _findMaxRefreshRateRequested() const;
  // Device hooks: the base bodies log at level 5 and keep the flags.
  virtual void _openDevice();
  virtual void _initDevice();
  virtual void _releaseDevice();
  virtual void _closeDevice();
  virtual void _startStreaming();
  virtual void _stopStreaming();
  virtual void _setNativeResolution(Resolution resolution);
  virtual void _setNativeColorSpace(ColorSpace colorSpace);
  virtual void _setNativeFrameRate(unsigned short frameRate);
  virtual void _setDeviceResolution(Resolution resolution);
  virtual void _setDeviceColorSpace(ColorSpace colorSpace);
  virtual void _setDeviceFrameRate(unsigned short frameRate);
  virtual int _getParameter(const Parameter& parameter) const;
  virtual ParameterInfo _getParameterInfo(const Parameter& parameter) const;
  virtual void _setParameter(const Parameter& parameter, int value);
  virtual void _resetParameter(const Parameter& parameter);
  virtual void _resetParameters();
  virtual std::shared_ptr<const ImageBuffer> _getDirectRawExtraColorSpaceImageBuffer(
      const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences);
  // Fill the raw buffer with a new frame of the native mode, stamped with its
  // capture time. Report failure by throwing.
  virtual void _getDeviceRawImage(const lumo::Clock::time_point& timePoint,
                                  const std::shared_ptr<ImageBuffer>& raw) = 0;
  // Fill the raw buffer with a frame of the second raw stream; refuses by default.
  virtual void _getDeviceExtraRawImage(const lumo::Clock::time_point& timePoint,
                                       const CameraPreferences& preferences,
                                       std::shared_ptr<ImageBuffer> raw);
  // Convert a raw frame into the subscriber's format.
  virtual void _convertImage(const CameraPreferences& preferences,
                             const std::shared_ptr<const ImageBuffer>& raw,
                             const std::shared_ptr<ImageBuffer>& out) const = 0;
  // Accept a frame from outside; refuses by default.
  virtual void _putImage(const std::shared_ptr<const ImageBuffer>& image);
  // What a frame source should push; refuses by default.
  virtual CameraPreferences _getExpectedImageParameters() const;
  // The raw colour space from which a requested colour space is produced.
  virtual ColorSpace _getCorrespondentRawColorSpace(const ColorSpace& colorSpace) = 0;

  // --- lifecycle (under _cameraMutex) ----------------------------------------
  void _open();
  void _close();
  void _start();
  void _stop();
  void _reset();
  // Brings the native mode to what the attached preferences need.
  void _update();
  // The common tail of the update operations: checks that the request is
  // attached, optionally drops the pool buffers the old request held, applies
  // the change and renegotiates the native mode.
  // Failures are logged under `operation`, the update the caller performs.
  void _changeAttachedPreferences(const std::shared_ptr<CameraPreferences>& preferences,
                                  bool shrinkPools,
                                  const std::function<void(CameraPreferences&)>& change,
                                  const char* operation);

  // --- buffer pools ----------------------------------------------------------
  void _increaseRawBufferNumber(const CameraPreferences& preferences);
  void _increaseBufferNumber(const CameraPreferences& preferences);
  void _decreaseRawBufferNumber();
  void _decreaseBufferNumber(const CameraPreferences& preferences);
  void _decreaseAllBufferNumber(const CameraPreferences& preferences);
  std::shared_ptr<ImageBuffer> _lockOldestRawBufferForEditing(const CameraPreferences& preferences);
  std::shared_ptr<ImageBuffer> _lockOldestBufferForEditing(const CameraPreferences& preferences);
  std::shared_ptr<ImageBuffer> _lockTheNewestRawBufferForReading(
      const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences);
  std::shared_ptr<ImageBuffer> _lockTheNewestBufferForReading(
      const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences);
  // The newest pool buffer fresh enough for the request, held for reading;
  // null when there is none (a miss is routine, not an error).
  std::shared_ptr<const ImageBuffer> _getTheNewestValidRawBuffer(
      const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences);
  std::shared_ptr<const ImageBuffer> _getTheNewestValidBuffer(
      const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences);
  std::shared_ptr<const ImageBuffer> _getImageBuffer(const lumo::Clock::time_point& timePoint,
                                                     const CameraPreferences& preferences);
  std::shared_ptr<const ImageBuffer> _getConvertedRawBuffer(
      const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences);
  std::shared_ptr<const ImageBuffer> _getDirectRawImageBuffer(
      const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences);
  void _releaseImageBuffer(const std::shared_ptr<const ImageBuffer>& buffer);
  // The grab both raw streams share: counts the attempt on the stream's
  // failure count, restarts the device on the fifth failed attempt in a row
  // (logged under the stream's fetch operation), starts it, and fills a free
  // raw buffer from _getDeviceRawImage or, for the extra stream,
  // _getDeviceExtraRawImage.
  std::shared_ptr<const ImageBuffer> _grabRawBuffer(const lumo::Clock::time_point& timePoint,
                                                    const CameraPreferences& preferences,
                                                    bool extraStream);
  // The request a raw fetch is served at: the smallest natively supported
  // size and the first colour space, at the caller's rate.
  CameraPreferences _rawRequest(const CameraPreferences& preferences) const;

  // --- members, in declaration order -----------------------------------------
  std::weak_ptr<VideoDevice> _videoDevice;
  std::string _name;
  std::string _model;
  bool _simulated;
  FieldOfView _fieldOfView;
  std::pair<bool, bool> _defaultFlip;  // (horizontal, vertical)
  std::set<Resolution> _supportedResolutions;
  std::set<ColorSpace> _supportedColorSpaces;
  std::set<unsigned short> _supportedFrameRates;
  CameraPreferences _nativePreferences;
  std::map<Parameter, std::shared_ptr<CameraBase::Control>> _controls;
  mutable std::mutex _cameraMutex;
  std::set<std::shared_ptr<CameraPreferences>> _preferences;
  mutable std::mutex _preferencesMutex;
  std::atomic<bool> _isOpen;  // read without the camera mutex by the getters
  std::atomic<bool> _isStarted;
  std::set<std::shared_ptr<ImageBuffer>> _rawBuffers;
  mutable std::mutex _rawBuffersMutex;
  std::set<std::shared_ptr<ImageBuffer>> _buffers;
  mutable std::mutex _buffersMutex;
  std::int32_t _rawGrabFailures;
  std::int32_t _extraRawGrabFailures;
};

}  // namespace videoDevice
