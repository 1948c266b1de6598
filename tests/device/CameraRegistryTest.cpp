#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <videodevice/VideoDevice.h>

#include "DeviceTestHelpers.h"
#include "support/LogCapture.h"
#include "support/MockCamera.h"

namespace videoDevice {
namespace {

using test::LogCapture;
using test::MockCamera;
using ::testing::NiceMock;
using ::testing::Return;
using ::testing::StrictMock;
using ::testing::Throw;

const char* const category = test::deviceCategory;
using test::expectFailure;

TEST(CameraRegistry, ListsCamerasByNameAndKeepsTheFirstAsDefault) {
  LogCapture capture;
  auto device = std::make_shared<VideoDevice>();
  EXPECT_EQ(device->getDefaultActiveCamera(), "");
  expectFailure<std::invalid_argument>([&] { device->getCamera("Default"); },
                                       "Camera \"Default\" doesn't exist.");

  auto b = std::make_shared<NiceMock<MockCamera>>("B");
  auto a = std::make_shared<NiceMock<MockCamera>>("A");
  device->addCamera(b);
  device->addCamera(a);

  EXPECT_EQ(device->getCameraIndexes(), (std::vector<std::string>{"A", "B"}));
  EXPECT_EQ(device->getDefaultActiveCamera(), "B");
  EXPECT_EQ(device->getCamera("Default"), b);
  EXPECT_EQ(device->getCamera("A"), a);
  EXPECT_EQ(device->getCameraName("Default"), "B");
  EXPECT_TRUE(device->isCamera3DPlugged(false));
  EXPECT_TRUE(capture.contains(5, category, "addCamera", "Camera added: B"));
  EXPECT_TRUE(capture.contains(5, category, "addCamera", "Camera added: A"));

  device->setDefaultActiveCamera("A");
  EXPECT_EQ(device->getDefaultActiveCamera(), "A");
  EXPECT_EQ(device->getCamera("Default"), a);
  EXPECT_EQ(device->getCameraName("Default"), "A");
}

TEST(CameraRegistry, RefusesNullAndDuplicateCamerasAndStaysUnchanged) {
  LogCapture capture;
  auto device = std::make_shared<VideoDevice>();
  auto first = std::make_shared<NiceMock<MockCamera>>("A");
  device->addCamera(first);

  expectFailure<std::invalid_argument>([&] { device->addCamera(nullptr); },
                                       "Can't add camera: invalid pointer.");
  EXPECT_TRUE(capture.contains(2, category, "addCamera", "Can't add camera: invalid pointer."));

  auto twin = std::make_shared<NiceMock<MockCamera>>("A");
  expectFailure<std::runtime_error>([&] { device->addCamera(twin); }, "Can't add camera \"A\"");
  EXPECT_TRUE(capture.contains(2, category, "addCamera", "Can't add camera \"A\""));

  EXPECT_EQ(device->getCamera("A"), first);
  EXPECT_EQ(device->getCameraIndexes(), std::vector<std::string>{"A"});
  EXPECT_EQ(device->getDefaultActiveCamera(), "A");
  EXPECT_EQ(twin.use_count(), 1);  // not kept anywhere
}

TEST(CameraRegistry, UnknownCameraFailsBeforeAnyCameraIsTouched) {
  auto device = std::make_shared<VideoDevice>();
  auto camera = std::make_shared<StrictMock<MockCamera>>("A");
  EXPECT_CALL(*camera, getName()).Times(::testing::AtLeast(1));
  device->addCamera(camera);
  ::testing::Mock::VerifyAndClearExpectations(camera.get());
  // From here on any call into the camera fails the test.

  LogCapture capture;
  const std::string message = "Camera \"missing\" doesn't exist.";
  expectFailure<std::invalid_argument>([&] { device->openCamera("missing"); }, message);
  expectFailure<std::invalid_argument>([&] { device->getCameraNativeFrameRateRange("missing"); },
                                       message);
  expectFailure<std::invalid_argument>(
      [&] { device->setCameraParameter("missing", Parameter::BRIGHTNESS, 3); }, message);
  expectFailure<std::invalid_argument>([&] { device->setCameraCalibration("missing", {"x"}); },
                                       message);
  expectFailure<std::invalid_argument>(
      [&] { device->getImageInfoFromAngularInfoWithResolution("missing", {0.1f}, Resolution::VGA); },
      message);
  EXPECT_TRUE(capture.contains(2, category, "_getCamera", message));
}

TEST(CameraRegistry, ForwardsResultsAndExceptionsUnchanged) {
  auto device = std::make_shared<VideoDevice>();
  auto camera = std::make_shared<NiceMock<MockCamera>>("A");
  device->addCamera(camera);
  const std::string model = "OV5640";

  EXPECT_CALL(*camera, open());
  EXPECT_CALL(*camera, isOpen()).WillOnce(Return(true));
  EXPECT_CALL(*camera, getModel()).WillOnce(::testing::ReturnRef(model));
  EXPECT_CALL(*camera, getNativeFrameRate()).WillOnce(Return(15));
  EXPECT_CALL(*camera, getNativelySupportedFrameRates())
      .WillOnce(Return(std::set<unsigned short>{30, 5, 15}));
  EXPECT_CALL(*camera, getNativelySupportedResolutions())
      .WillOnce(Return(std::set<Resolution>{{320, 240}, {1280, 960}, {640, 480}}));
  EXPECT_CALL(*camera, getParameter(Parameter::CONTRAST)).WillOnce(Return(-7));
  EXPECT_CALL(*camera, getParameterInfo(Parameter::GAIN))
      .WillOnce(Return(ParameterInfo{1, 9, 2, 5}));
  EXPECT_CALL(*camera, setCalibration(std::vector<std::string>{"left.yml", "right.yml"}));
  EXPECT_CALL(*camera, getImageInfoFromAngularInfoWithResolution(
                           std::vector<float>{0.5f, -0.25f}, Resolution(320, 240)))
      .WillOnce(Return(std::vector<float>{10.0f, 20.0f}));
  EXPECT_CALL(*camera, getExpectedImageParameters())
      .WillOnce(Return(CameraPreferences({640, 480}, ColorSpace::RGB_888, 25)));
  EXPECT_CALL(*camera, setParameter(Parameter::EXPOSURE, 5000))
      .WillOnce(Throw(std::out_of_range("A: out of range")));
  EXPECT_CALL(*camera, reset()).WillOnce(Throw(std::runtime_error("A: reset failed")));

  device->openCamera("Default");
  EXPECT_TRUE(device->isCameraOpen("A"));
  EXPECT_EQ(device->getCameraModel("A"), "OV5640");
  EXPECT_EQ(device->getCameraNativeFrameRate("A"), 15);
  const auto frameRates = device->getCameraNativeFrameRateRange("A");
  EXPECT_EQ(frameRates.first, 5);
  EXPECT_EQ(frameRates.second, 30);
  const auto resolutions = device->getCameraNativeResolutionRange("A");
  EXPECT_EQ(resolutions.first, Resolution(320, 240));
  EXPECT_EQ(resolutions.second, Resolution(1280, 960));
  EXPECT_EQ(device->getCameraParameter("A", Parameter::CONTRAST), -7);
  const ParameterInfo info = device->getCameraParameterInfo("A", Parameter::GAIN);
  EXPECT_EQ(info.min, 1);
  EXPECT_EQ(info.max, 9);
  EXPECT_EQ(info.step, 2);
  EXPECT_EQ(info.defaultValue, 5);
  device->setCameraCalibration("A", {"left.yml", "right.yml"});
  EXPECT_EQ(device->getImageInfoFromAngularInfoWithResolution("A", {0.5f, -0.25f}, {320, 240}),
            (std::vector<float>{10.0f, 20.0f}));
  const CameraPreferences expected = device->getExpectedImageParameters("A");
  EXPECT_EQ(expected.getResolution(), Resolution(640, 480));
  EXPECT_EQ(expected.getColorSpace(), ColorSpace::RGB_888);
  EXPECT_EQ(expected.getRefreshRate(), 25);
  expectFailure<std::out_of_range>([&] { device->setCameraParameter("A", Parameter::EXPOSURE, 5000); },
                                   "A: out of range");
  expectFailure<std::runtime_error>([&] { device->resetCamera("A"); }, "A: reset failed");
}

TEST(CameraRegistry, ReplacingTheDefaultByItselfOnlyWarnsAndAMissingOneThrows) {
  auto device = std::make_shared<VideoDevice>();
  auto a = std::make_shared<NiceMock<MockCamera>>("A");
  auto b = std::make_shared<NiceMock<MockCamera>>("B");
  device->addCamera(a);
  device->addCamera(b);

  LogCapture capture;
  device->setDefaultActiveCamera("A");
  device->setDefaultActiveCamera("Default");
  EXPECT_EQ(capture.messages(3), (std::vector<std::string>{
                                     "Try to replace default camera by itself.",
                                     "Try to replace default camera by itself."}));
  EXPECT_TRUE(capture.contains(3, category, "setDefaultActiveCamera",
                               "Try to replace default camera by itself."));
  EXPECT_EQ(device->getDefaultActiveCamera(), "A");

  expectFailure<std::invalid_argument>([&] { device->setDefaultActiveCamera("missing"); },
                                       "Camera \"missing\" doesn't exist.");
  EXPECT_EQ(device->getDefaultActiveCamera(), "A");
  EXPECT_EQ(device->getCamera("Default"), a);
}

}  // namespace
}  // namespace videoDevice
