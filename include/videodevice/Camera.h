#pragma once
// The camera contract. The device's registry holds cameras as
// std::shared_ptr<Camera> and calls only this interface, without locking:
// every implementation guards itself (see CameraBase).
//
// The order of the operations is the order of the virtual table; backends
// override them in this order.

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <lumo/Clock.h>
#include <videodevice/CameraPreferences.h>
#include <videodevice/Types.h>

namespace videoDevice {

class ImageBuffer;

class Camera : public std::enable_shared_from_this<Camera> {
 public:
  virtual ~Camera() = default;

  virtual void init() = 0;
  virtual std::shared_ptr<CameraPreferences> buildDefaultPreferences() const = 0;
  virtual bool isInUse() const = 0;
  virtual void addPreferences(const std::shared_ptr<CameraPreferences>& preferences) = 0;
  virtual void removePreferences(const std::shared_ptr<CameraPreferences>& preferences) = 0;
  virtual void updateResolutionPreferences(const std::shared_ptr<CameraPreferences>& preferences,
                                           Resolution resolution) = 0;
  virtual void updateColorSpacePreferences(const std::shared_ptr<CameraPreferences>& preferences,
                                           ColorSpace colorSpace) = 0;
  virtual void updateFrameRatePreferences(const std::shared_ptr<CameraPreferences>& preferences,
                                          unsigned short frameRate) = 0;
  virtual const std::string& getModel() const = 0;
  virtual bool isSimulated() const = 0;
  virtual const std::string& getName() const = 0;
  virtual FieldOfView getFieldOfView() const = 0;
  virtual void setFieldOfView(const FieldOfView& fieldOfView) = 0;
  // (horizontal, vertical)
  virtual std::pair<bool, bool> getDefaultFlip() const = 0;
  virtual void setDefaultFlip(bool horizontal, bool vertical) = 0;
  virtual void setCalibration(std::vector<std::string> files) = 0;
  virtual std::set<Resolution> getNativelySupportedResolutions() const = 0;
  virtual void setNativelySupportedResolutions(std::set<Resolution> resolutions) = 0;
  virtual std::set<ColorSpace> getNativelySupportedColorSpaces() const = 0;
  virtual void setNativelySupportedColorSpaces(std::set<ColorSpace> colorSpaces) = 0;
  virtual std::set<unsigned short> getNativelySupportedFrameRates() const = 0;
  virtual void setNativelySupportedFrameRates(std::set<unsigned short> frameRates) = 0;
  virtual bool isValidRequest(const CameraPreferences& preferences) const = 0;
  virtual bool updateRequestToValidRequest(CameraPreferences& preferences) const = 0;
  virtual bool isResolutionValid(const Resolution& resolution) const = 0;
  virtual Resolution getNativeResolution() const = 0;
  virtual void setNativeResolution(Resolution resolution) = 0;
  virtual bool isColorSpaceValid(const ColorSpace& colorSpace) const = 0;
  virtual bool isExtraColorSpace(const ColorSpace& colorSpace) const = 0;
  virtual ColorSpace getNativeColorSpace() const = 0;
  virtual void setNativeColorSpace(ColorSpace colorSpace) = 0;
  virtual bool isFrameRateValid(const unsigned short& frameRate) const = 0;
  virtual unsigned short getNativeFrameRate() const = 0;
  virtual void setNativeFrameRate(unsigned short frameRate) = 0;
  virtual std::vector<Parameter> getParameterList() const = 0;
  virtual int getParameter(const Parameter& parameter) const = 0;
  virtual ParameterInfo getParameterInfo(const Parameter& parameter) const = 0;
  virtual void setParameter(const Parameter& parameter, int value) = 0;
  virtual void resetParameter(const Parameter& parameter) = 0;
  virtual void resetParameters() = 0;
  virtual std::vector<float> getAngularPositionFromImagePosition(
      const std::vector<float>& imagePosition) const = 0;
  virtual std::vector<float> getImagePositionFromAngularPosition(
      const std::vector<float>& angularPosition) const = 0;
  virtual std::vector<float> getAngularSizeFromImageSize(
      const std::vector<float>& imageSize) const = 0;
  virtual std::vector<float> getImageSizeFromAngularSize(
      const std::vector<float>& angularSize) const = 0;
  virtual std::vector<float> getImageInfoFromAngularInfo(
      const std::vector<float>& angularInfo) const = 0;
  virtual std::vector<float> getImageInfoFromAngularInfoWithResolution(
      const std::vector<float>& angularInfo, const Resolution& resolution) const = 0;
  virtual bool isOpen() const = 0;
  virtual void open() = 0;
  virtual void close() = 0;
  virtual bool isStarted() const = 0;
  virtual void start() = 0;
  virtual void stop() = 0;
  virtual void reset() = 0;
  virtual std::shared_ptr<const ImageBuffer> getDirectRawImageBuffer(
      const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences) = 0;
  virtual std::shared_ptr<const ImageBuffer> getDirectRawExtraColorSpaceImageBuffer(
      const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences) = 0;
  virtual std::shared_ptr<const ImageBuffer> getImageBuffer(
      const lumo::Clock::time_point& timePoint, const CameraPreferences& preferences) = 0;
  virtual void releaseImageBuffer(std::shared_ptr<const ImageBuffer> buffer) = 0;
  virtual void putImage(const std::shared_ptr<const ImageBuffer>& image) = 0;
  virtual CameraPreferences getExpectedImageParameters() const = 0;
};

}  // namespace videoDevice
