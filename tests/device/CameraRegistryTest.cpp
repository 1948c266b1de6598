#include <functional>
#include <stdexcept>

#include "DeviceTestHelpers.h"

namespace videoDevice {
namespace {

using namespace test;
using Mock = ::testing::NiceMock<MockCamera>;
using ::testing::Return;
using ::testing::Throw;

const std::string missing = "Camera \"missing\" doesn't exist.";

TEST(CameraRegistry, ListsCamerasByNameAndManagesTheDefault) {
  auto device = std::make_shared<VideoDevice>();
  EXPECT_EQ(device->getDefaultActiveCamera(), "");
  expectFailure<std::invalid_argument>([&] { device->getCamera("Default"); },
                                       "Camera \"Default\" doesn't exist.");
  auto b = std::make_shared<Mock>("B");
  auto a = std::make_shared<Mock>("A");
  device->addCamera(b);
  device->addCamera(a);
  // Refused additions leave the registry as it was.
  expectFailure<std::invalid_argument>([&] { device->addCamera(nullptr); },
                                       "Can't add camera: invalid pointer.");
  auto twin = std::make_shared<Mock>("A");
  expectFailure<std::runtime_error>([&] { device->addCamera(twin); }, "Can't add camera \"A\"");
  EXPECT_EQ(twin.use_count(), 1);  // not kept anywhere

  EXPECT_EQ(device->getCameraIndexes(), (std::vector<std::string>{"A", "B"}));
  EXPECT_EQ(device->getDefaultActiveCamera(), "B");  // the first one added
  EXPECT_EQ(device->getCamera("Default"), b);
  EXPECT_EQ(device->getCamera("A"), a);
  device->setDefaultActiveCamera("A");
  EXPECT_EQ(device->getCamera("Default"), a);
  EXPECT_EQ(device->getCameraName("Default"), "A");
  // Naming the default itself, directly or through the alias, changes nothing.
  device->setDefaultActiveCamera("A");
  device->setDefaultActiveCamera("Default");
  expectFailure<std::invalid_argument>([&] { device->setDefaultActiveCamera("missing"); }, missing);
  EXPECT_EQ(device->getDefaultActiveCamera(), "A");
}

TEST(CameraRegistry, UnknownCameraFailsBeforeAnyCameraIsTouched) {
  auto device = std::make_shared<VideoDevice>();
  auto camera = std::make_shared<::testing::StrictMock<MockCamera>>("A");
  EXPECT_CALL(*camera, getName()).Times(::testing::AtLeast(1));
  device->addCamera(camera);
  ::testing::Mock::VerifyAndClearExpectations(camera.get());  // any call now fails the test

  auto frame = std::make_shared<const ImageBuffer>("missing", qvga, rgb, true);
  for (const std::function<void()>& call : std::vector<std::function<void()>>{
           [&] { device->openCamera("missing"); },
           [&] { device->getCameraNativeFrameRateRange("missing"); },
           [&] { device->setCameraParameter("missing", Parameter::BRIGHTNESS, 3); },
           [&] { device->getImageInfoFromAngularInfoWithResolution("missing", {0.1f}, qvga); },
           [&] { device->putImage(frame); }})
    expectFailure<std::invalid_argument>(call, missing);
  expectFailure<std::invalid_argument>([&] { device->putImage(nullptr); },
                                       "Can't put image: invalid pointer.");
}

// Ranges are the ends of the camera's supported sets; the camera's own
// exceptions reach the caller with their type and text.
TEST(CameraRegistry, ReportsRangesAndForwardsExceptionsUnchanged) {
  auto device = std::make_shared<VideoDevice>();
  auto camera = std::make_shared<Mock>("A");
  device->addCamera(camera);
  EXPECT_CALL(*camera, open());
  EXPECT_CALL(*camera, getNativelySupportedFrameRates())
      .WillOnce(Return(std::set<unsigned short>{30, 5, 15}));
  EXPECT_CALL(*camera, getNativelySupportedResolutions())
      .WillOnce(Return(std::set<Resolution>{qvga, {1280, 960}, Resolution::VGA}));
  EXPECT_CALL(*camera, setParameter(Parameter::EXPOSURE, 5000))
      .WillOnce(Throw(std::out_of_range("A: out of range")));
  EXPECT_CALL(*camera, reset()).WillOnce(Throw(std::runtime_error("A: reset failed")));

  device->openCamera("Default");
  EXPECT_EQ(device->getCameraNativeFrameRateRange("A"), (std::pair<unsigned short, unsigned short>(5, 30)));
  EXPECT_EQ(device->getCameraNativeResolutionRange("A"),
            (std::pair<Resolution, Resolution>(qvga, {1280, 960})));
  expectFailure<std::out_of_range>(
      [&] { device->setCameraParameter("A", Parameter::EXPOSURE, 5000); }, "A: out of range");
  expectFailure<std::runtime_error>([&] { device->resetCamera("A"); }, "A: reset failed");
}

}  // namespace
}  // namespace videoDevice
