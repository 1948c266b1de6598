#pragma once
// A GoogleMock Camera. getName answers the name given at construction through
// an ON_CALL, so a StrictMock still reports the call unless it is expected.

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include <videodevice/Camera.h>
#include <videodevice/ImageBuffer.h>

namespace videoDevice {
namespace test {

class MockCamera : public Camera {
 public:
  explicit MockCamera(std::string name = "mock") : _name(std::move(name)) {
    ON_CALL(*this, getName()).WillByDefault(::testing::ReturnRef(_name));
  }

  MOCK_METHOD(void, init, (), (override));
  MOCK_METHOD(std::shared_ptr<CameraPreferences>, buildDefaultPreferences, (), (const, override));
  MOCK_METHOD(bool, isInUse, (), (const, override));
  MOCK_METHOD(void, addPreferences, (const std::shared_ptr<CameraPreferences>&), (override));
  MOCK_METHOD(void, removePreferences, (const std::shared_ptr<CameraPreferences>&), (override));
  MOCK_METHOD(void, updateResolutionPreferences,
              (const std::shared_ptr<CameraPreferences>&, Resolution), (override));
  MOCK_METHOD(void, updateColorSpacePreferences,
              (const std::shared_ptr<CameraPreferences>&, ColorSpace), (override));
  MOCK_METHOD(void, updateFrameRatePreferences,
              (const std::shared_ptr<CameraPreferences>&, unsigned short), (override));
  MOCK_METHOD(const std::string&, getModel, (), (const, override));
  MOCK_METHOD(bool, isSimulated, (), (const, override));
  MOCK_METHOD(const std::string&, getName, (), (const, override));
  MOCK_METHOD(FieldOfView, getFieldOfView, (), (const, override));
  MOCK_METHOD(void, setFieldOfView, (const FieldOfView&), (override));
  MOCK_METHOD((std::pair<bool, bool>), getDefaultFlip, (), (const, override));
  MOCK_METHOD(void, setDefaultFlip, (bool, bool), (override));
  MOCK_METHOD(void, setCalibration, (std::vector<std::string>), (override));
  MOCK_METHOD(std::set<Resolution>, getNativelySupportedResolutions, (), (const, override));
  MOCK_METHOD(void, setNativelySupportedResolutions, (std::set<Resolution>), (override));
  MOCK_METHOD(std::set<ColorSpace>, getNativelySupportedColorSpaces, (), (const, override));
  MOCK_METHOD(void, setNativelySupportedColorSpaces, (std::set<ColorSpace>), (override));
  MOCK_METHOD(std::set<unsigned short>, getNativelySupportedFrameRates, (), (const, override));
  MOCK_METHOD(void, setNativelySupportedFrameRates, (std::set<unsigned short>), (override));
  MOCK_METHOD(bool, isValidRequest, (const CameraPreferences&), (const, override));
  MOCK_METHOD(bool, updateRequestToValidRequest, (CameraPreferences&), (const, override));
  MOCK_METHOD(bool, isResolutionValid, (const Resolution&), (const, override));
  MOCK_METHOD(Resolution, getNativeResolution, (), (const, override));
  MOCK_METHOD(void, setNativeResolution, (Resolution), (override));
  MOCK_METHOD(bool, isColorSpaceValid, (const ColorSpace&), (const, override));
  MOCK_METHOD(bool, isExtraColorSpace, (const ColorSpace&), (const, override));
  MOCK_METHOD(ColorSpace, getNativeColorSpace, (), (const, override));
  MOCK_METHOD(void, setNativeColorSpace, (ColorSpace), (override));
  MOCK_METHOD(bool, isFrameRateValid, (const unsigned short&), (const, override));
  MOCK_METHOD(unsigned short, getNativeFrameRate, (), (const, override));
  MOCK_METHOD(void, setNativeFrameRate, (unsigned short), (override));
  MOCK_METHOD(std::vector<Parameter>, getParameterList, (), (const, override));
  MOCK_METHOD(int, getParameter, (const Parameter&), (const, override));
  MOCK_METHOD(ParameterInfo, getParameterInfo, (const Parameter&), (const, override));
  MOCK_METHOD(void, setParameter, (const Parameter&, int), (override));
  MOCK_METHOD(void, resetParameter, (const Parameter&), (override));
  MOCK_METHOD(void, resetParameters, (), (override));
  MOCK_METHOD(std::vector<float>, getAngularPositionFromImagePosition,
              (const std::vector<float>&), (const, override));
  MOCK_METHOD(std::vector<float>, getImagePositionFromAngularPosition,
              (const std::vector<float>&), (const, override));
  MOCK_METHOD(std::vector<float>, getAngularSizeFromImageSize, (const std::vector<float>&),
              (const, override));
  MOCK_METHOD(std::vector<float>, getImageSizeFromAngularSize, (const std::vector<float>&),
              (const, override));
  MOCK_METHOD(std::vector<float>, getImageInfoFromAngularInfo, (const std::vector<float>&),
              (const, override));
  MOCK_METHOD(std::vector<float>, getImageInfoFromAngularInfoWithResolution,
              (const std::vector<float>&, const Resolution&), (const, override));
  MOCK_METHOD(bool, isOpen, (), (const, override));
  MOCK_METHOD(void, open, (), (override));
  MOCK_METHOD(void, close, (), (override));
  MOCK_METHOD(bool, isStarted, (), (const, override));
  MOCK_METHOD(void, start, (), (override));
  MOCK_METHOD(void, stop, (), (override));
  MOCK_METHOD(void, reset, (), (override));
  MOCK_METHOD(std::shared_ptr<const ImageBuffer>, getDirectRawImageBuffer,
              (const lumo::Clock::time_point&, const CameraPreferences&), (override));
  MOCK_METHOD(std::shared_ptr<const ImageBuffer>, getDirectRawExtraColorSpaceImageBuffer,
              (const lumo::Clock::time_point&, const CameraPreferences&), (override));
  MOCK_METHOD(std::shared_ptr<const ImageBuffer>, getImageBuffer,
              (const lumo::Clock::time_point&, const CameraPreferences&), (override));
  MOCK_METHOD(void, releaseImageBuffer, (std::shared_ptr<const ImageBuffer>), (override));
  MOCK_METHOD(void, putImage, (const std::shared_ptr<const ImageBuffer>&), (override));
  MOCK_METHOD(CameraPreferences, getExpectedImageParameters, (), (const, override));

 private:
  std::string _name;
};

}  // namespace test
}  // namespace videoDevice
