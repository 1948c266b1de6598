#include <functional>
#include <stdexcept>

#include "DeviceTestHelpers.h"

namespace videoDevice {
namespace {

using namespace test;
using Mock = ::testing::NiceMock<MockCamera>;
using ::testing::Return;
using ::testing::Throw;

using DeviceShutdown = MockedDevice;
const std::string missing = "Camera \"missing\" doesn't exist.";

TEST(CameraRegistry, ListsCamerasByNameAndManagesTheDefault) {
  LogCapture capture;
  auto device = std::make_shared<VideoDevice>();
  EXPECT_EQ(device->getDefaultActiveCamera(), "");
  expectFailure<std::invalid_argument>([&] { device->getCamera("Default"); },
                                       "Camera \"Default\" doesn't exist.");
  auto b = std::make_shared<Mock>("B");
  auto a = std::make_shared<Mock>("A");
  device->addCamera(b);
  device->addCamera(a);
  EXPECT_TRUE(capture.contains(5, deviceCategory, "addCamera", "Camera added: A"));
  // Refused additions leave the registry as it was.
  expectFailure<std::invalid_argument>([&] { device->addCamera(nullptr); },
                                       "Can't add camera: invalid pointer.");
  EXPECT_TRUE(capture.contains(2, deviceCategory, "addCamera", "Can't add camera: invalid pointer."));
  auto twin = std::make_shared<Mock>("A");
  expectFailure<std::runtime_error>([&] { device->addCamera(twin); }, "Can't add camera \"A\"");
  EXPECT_TRUE(capture.contains(2, deviceCategory, "addCamera", "Can't add camera \"A\""));
  EXPECT_EQ(twin.use_count(), 1);  // not kept anywhere

  EXPECT_EQ(device->getCameraIndexes(), (std::vector<std::string>{"A", "B"}));
  EXPECT_EQ(device->getDefaultActiveCamera(), "B");
  EXPECT_EQ(device->getCamera("Default"), b);
  EXPECT_EQ(device->getCamera("A"), a);
  EXPECT_TRUE(device->isCamera3DPlugged(false));
  device->setDefaultActiveCamera("A");
  EXPECT_EQ(device->getCamera("Default"), a);
  EXPECT_EQ(device->getCameraName("Default"), "A");
  capture.clear();
  device->setDefaultActiveCamera("A");
  device->setDefaultActiveCamera("Default");
  const std::string itself = "Try to replace default camera by itself.";
  EXPECT_EQ(capture.messages(3), std::vector<std::string>(2, itself));
  EXPECT_TRUE(capture.contains(3, deviceCategory, "setDefaultActiveCamera", itself));
  expectFailure<std::invalid_argument>([&] { device->setDefaultActiveCamera("missing"); }, missing);
  EXPECT_EQ(device->getDefaultActiveCamera(), "A");
}

TEST(CameraRegistry, UnknownCameraFailsBeforeAnyCameraIsTouched) {
  auto device = std::make_shared<VideoDevice>();
  auto camera = std::make_shared<::testing::StrictMock<MockCamera>>("A");
  EXPECT_CALL(*camera, getName()).Times(::testing::AtLeast(1));
  device->addCamera(camera);
  ::testing::Mock::VerifyAndClearExpectations(camera.get());  // any call now fails the test

  LogCapture capture;
  auto frame = std::make_shared<const ImageBuffer>("missing", qvga, rgb, true);
  for (const std::function<void()>& call : std::vector<std::function<void()>>{
           [&] { device->openCamera("missing"); },
           [&] { device->getCameraNativeFrameRateRange("missing"); },
           [&] { device->setCameraParameter("missing", Parameter::BRIGHTNESS, 3); },
           [&] { device->getImageInfoFromAngularInfoWithResolution("missing", {0.1f}, qvga); },
           [&] { device->putImage(frame); }})
    expectFailure<std::invalid_argument>(call, missing);
  EXPECT_TRUE(capture.contains(2, deviceCategory, "_getCamera", missing));
  expectFailure<std::invalid_argument>([&] { device->putImage(nullptr); },
                                       "Can't put image: invalid pointer.");
}

TEST(CameraRegistry, ForwardsResultsAndExceptionsUnchanged) {
  auto device = std::make_shared<VideoDevice>();
  auto camera = std::make_shared<Mock>("A");
  device->addCamera(camera);
  const std::string model = "OV5640";
  EXPECT_CALL(*camera, open());
  EXPECT_CALL(*camera, getModel()).WillOnce(::testing::ReturnRef(model));
  EXPECT_CALL(*camera, getNativelySupportedFrameRates())
      .WillOnce(Return(std::set<unsigned short>{30, 5, 15}));
  EXPECT_CALL(*camera, getNativelySupportedResolutions())
      .WillOnce(Return(std::set<Resolution>{qvga, {1280, 960}, Resolution::VGA}));
  EXPECT_CALL(*camera, getParameterInfo(Parameter::GAIN)).WillOnce(Return(ParameterInfo{1, 9, 2, 5}));
  EXPECT_CALL(*camera, getImageInfoFromAngularInfoWithResolution(std::vector<float>{0.5f}, qvga))
      .WillOnce(Return(std::vector<float>{10.0f, 20.0f}));
  EXPECT_CALL(*camera, setParameter(Parameter::EXPOSURE, 5000))
      .WillOnce(Throw(std::out_of_range("A: out of range")));
  EXPECT_CALL(*camera, reset()).WillOnce(Throw(std::runtime_error("A: reset failed")));

  device->openCamera("Default");
  EXPECT_EQ(device->getCameraModel("A"), "OV5640");
  EXPECT_EQ(device->getCameraNativeFrameRateRange("A"), (std::pair<unsigned short, unsigned short>(5, 30)));
  EXPECT_EQ(device->getCameraNativeResolutionRange("A"),
            (std::pair<Resolution, Resolution>(qvga, {1280, 960})));
  const ParameterInfo info = device->getCameraParameterInfo("A", Parameter::GAIN);
  EXPECT_EQ(std::vector<int>({info.min, info.max, info.step, info.defaultValue}),
            std::vector<int>({1, 9, 2, 5}));
  EXPECT_EQ(device->getImageInfoFromAngularInfoWithResolution("A", {0.5f}, qvga),
            (std::vector<float>{10.0f, 20.0f}));
  expectFailure<std::out_of_range>(
      [&] { device->setCameraParameter("A", Parameter::EXPOSURE, 5000); }, "A: out of range");
  expectFailure<std::runtime_error>([&] { device->resetCamera("A"); }, "A: reset failed");
}

TEST_F(DeviceShutdown, ReportsTheSubscribersLeft) {
  device->subscribeCamera("b", "A", qvga, rgb, 15);
  device->subscribeCamera("a", "A", qvga, rgb, 15);
  LogCapture capture;
  device.reset();
  EXPECT_TRUE(capture.contains(1, deviceCategory, "~VideoDevicePrivate",
                               "Subscribers still subscribe (a_0 b_0 )"));
}

}  // namespace
}  // namespace videoDevice
