#include <stdexcept>

#include "DeviceTestHelpers.h"

namespace videoDevice {
namespace {

using namespace test;
using ::testing::_;
using ::testing::Return;
using ::testing::SaveArg;
using ::testing::Throw;
using ImageDelivery = MockedDevice;
using Image = std::shared_ptr<const ImageBuffer>;

const lumo::Clock::time_point when{boost::chrono::nanoseconds(123456789)};

Image bufferOf(const std::string& cameraName) {
  return std::make_shared<const ImageBuffer>(cameraName, qvga, rgb, true);
}

TEST_F(ImageDelivery, AMonoSubscriberHoldsItsImageUntilItReleasesIt) {
  const std::string name = device->subscribeCamera("m", "A", qvga, rgb, 15);
  const Image held = bufferOf("A");
  EXPECT_CALL(*a, getImageBuffer(when, ::testing::Property(&CameraPreferences::getColorSpace, rgb)))
      .WillOnce(Throw(std::runtime_error("A: grab")))  // leaves the subscriber idle
      .WillOnce(Return(held));
  expectFailure<std::runtime_error>([&] { device->getImage(when, name); }, "A: grab");
  EXPECT_EQ(device->getImage(when, name), held);

  const std::string busy = stillProcessingMessage("m_0");
  EXPECT_CALL(*a, removePreferences(_)).Times(0);
  expectFailure<std::runtime_error>([&] { device->getImage(when, name); }, busy);
  expectFailure<std::runtime_error>([&] { device->getDirectRawImage(when, name); }, busy);
  expectFailure<std::runtime_error>([&] { device->unsubscribe(name); }, busy);
  EXPECT_EQ(device->getSubscribers(), std::vector<std::string>{"m_0"});
  verify();
  EXPECT_CALL(*a, releaseImageBuffer(held)).Times(1);
  device->releaseImage(name);
  device->releaseImage(name);  // nothing held: nothing released
}

TEST_F(ImageDelivery, AFailedMultiFetchKeepsTheBuffersAlreadyObtained) {
  const std::string name =
      device->subscribeCameras("m", {"B", "A"}, {qvga, {160, 120}}, {rgb, ColorSpace::Y_8}, 15);
  const Image fromB = bufferOf("B");
  EXPECT_CALL(*b, getImageBuffer(_, _)).WillOnce(Return(fromB));
  EXPECT_CALL(*a, getImageBuffer(_, _)).WillOnce(Throw(std::runtime_error("A: grab")));
  expectFailure<std::runtime_error>([&] { device->getImages(when, name); }, "A: grab");
  expectFailure<std::runtime_error>([&] { device->getImages(when, name); },
                                    stillProcessingMessage("m_0"));
  EXPECT_CALL(*b, releaseImageBuffer(fromB));
  EXPECT_CALL(*a, releaseImageBuffer(_)).Times(0);
  device->releaseImages(name);
  verify();
  EXPECT_EQ(device->getImages(when, name).size(), 2u);
}

TEST_F(ImageDelivery, OnlyTheSingleCameraRawFetchUsesTheExtraStream) {
  const ColorSpace infrared = ColorSpace::INFRARED_16;
  ON_CALL(*a, isExtraColorSpace(infrared)).WillByDefault(Return(true));
  ON_CALL(*b, isExtraColorSpace(infrared)).WillByDefault(Return(true));
  const std::string mono = device->subscribeCamera("mono", "A", qvga, infrared, 15);
  EXPECT_CALL(*a, getDirectRawExtraColorSpaceImageBuffer(_, _));
  EXPECT_CALL(*a, getDirectRawImageBuffer(_, _)).Times(0);
  const Image raw = device->getDirectRawImage(when, mono);
  EXPECT_CALL(*a, releaseImageBuffer(raw));
  device->releaseImage(mono);  // the converted-image release takes raw buffers too
  verify();

  const std::string multi =
      device->subscribeCameras("multi", {"A", "B"}, {qvga, qvga}, {infrared, infrared}, 15);
  for (const auto& camera : {a, b}) {
    EXPECT_CALL(*camera, isExtraColorSpace(_)).Times(0);
    EXPECT_CALL(*camera, getDirectRawExtraColorSpaceImageBuffer(_, _)).Times(0);
    EXPECT_CALL(*camera, getDirectRawImageBuffer(_, _));
  }
  EXPECT_EQ(device->getDirectRawImages(when, multi).size(), 2u);

  // putImage goes to the camera the image names.
  const Image frame = bufferOf("B");
  EXPECT_CALL(*b, putImage(frame));
  EXPECT_CALL(*a, putImage(_)).Times(0);
  device->putImage(frame);
}

using Preferences = std::shared_ptr<CameraPreferences>;

struct SettingsTest : MockedDevice {
  // Subscribes "m" to `camera` and returns the preferences the camera was given.
  std::string subscribeMono(const std::string& camera, Preferences* attached) {
    auto target = std::static_pointer_cast<NiceCamera>(device->getCamera(camera));
    EXPECT_CALL(*target, addPreferences(_)).WillOnce(SaveArg<0>(attached));
    const std::string name = device->subscribeCamera("m", camera, qvga, rgb, 15);
    verify();
    return name;
  }
};

TEST_F(SettingsTest, MonoChangesGoToTheCameraOwningThePreferences) {
  Preferences onA, onB;
  const std::string name = subscribeMono("Default", &onA);
  EXPECT_CALL(*a, updateResolutionPreferences(onA, Resolution::VGA));
  EXPECT_CALL(*a, updateColorSpacePreferences(onA, ColorSpace::Y_8));
  EXPECT_CALL(*a, updateFrameRatePreferences(onA, 5));
  device->setResolution(name, Resolution::VGA);
  device->setColorSpace(name, ColorSpace::Y_8);
  device->setFrameRate(name, 5);
  EXPECT_EQ(onA->getRefreshRate(), 5);
  EXPECT_EQ(device->getResolution(name), qvga);  // only the camera edits the request
  verify();

  // B cannot serve the request: the subscriber gets B's defaults.
  EXPECT_CALL(*a, removePreferences(onA));
  EXPECT_CALL(*b, isValidRequest(_)).WillOnce(Return(false));
  EXPECT_CALL(*b, addPreferences(_)).WillOnce(SaveArg<0>(&onB));
  device->setActiveCamera(name, "B");
  EXPECT_EQ(device->getActiveCamera(name), "B");
  EXPECT_EQ(device->getResolution(name), Resolution(160, 120));
  verify();

  // "Default" is stored under A's own name, then looked up under "Default".
  EXPECT_CALL(*b, removePreferences(onB));
  EXPECT_CALL(*a, addPreferences(_)).Times(0);
  expectFailure<std::runtime_error>([&] { device->setActiveCamera(name, "Default"); },
                                    "m_0: Camera preference for camera \"Default\" doesn't exist.");
  EXPECT_EQ(device->getActiveCamera(name), "B");
}

TEST_F(SettingsTest, MultiStreamSettings) {
  Preferences onA, onB;
  EXPECT_CALL(*a, addPreferences(_)).WillOnce(SaveArg<0>(&onA));
  EXPECT_CALL(*b, addPreferences(_)).WillOnce(SaveArg<0>(&onB));
  const std::string name = device->subscribeCameras("m", {"A", "B"}, {qvga, Resolution::VGA},
                                                    {rgb, ColorSpace::DEPTH_16}, 15);
  verify();
  // Only the first camera renegotiates the rate; both requests carry it.
  EXPECT_CALL(*a, updateFrameRatePreferences(onA, 10));
  EXPECT_CALL(*b, updateFrameRatePreferences(_, _)).Times(0);
  device->setFrameRate(name, 10);
  EXPECT_EQ(onB->getRefreshRate(), 10);

  expectFailure<std::invalid_argument>([&] { device->setResolutions(name, {qvga, qvga, qvga}); },
                                       "setResolutions(m_0): Could not set resolutions.\n"
                                       "Wrong size, parameters size: 3 expected size: 2");
  EXPECT_CALL(*a, updateResolutionPreferences(onA, Resolution(160, 120)));
  EXPECT_CALL(*b, updateResolutionPreferences(onB, qvga));
  device->setResolutions(name, {{160, 120}, qvga});
  verify();

  // Duplicates change nothing.
  EXPECT_CALL(*a, removePreferences(_)).Times(0);
  EXPECT_CALL(*b, removePreferences(_)).Times(0);
  expectFailure<std::invalid_argument>([&] { device->setActiveCameras(name, {"A", "B", "A"}); },
                                       "setActiveCameras(m_0): Invalid input parameters, using "
                                       "several time the same camera is forbidden.");
  EXPECT_EQ(device->getActiveCameras(name), (std::vector<std::string>{"A", "B"}));
}

TEST_F(SettingsTest, ChangingTheDefaultCameraMovesTheSubscribersThatFollowIt) {
  Preferences followerOnA, pinnedOnA, followerOnB;
  const std::string follower = subscribeMono("Default", &followerOnA);
  subscribeMono("A", &pinnedOnA);  // pinned: must stay on A
  // Lists "Default" second: not moved (its keys would not even match).
  device->subscribeCameras("k", {"B", "Default"}, {qvga, qvga}, {rgb, rgb}, 15);

  // Only the follower moves, with a copy of its request, and is served by B.
  EXPECT_CALL(*a, removePreferences(followerOnA));
  EXPECT_CALL(*b, addPreferences(::testing::Ne(followerOnA))).WillOnce(SaveArg<0>(&followerOnB));
  EXPECT_CALL(*b, removePreferences(_)).Times(0);
  device->setDefaultActiveCamera("B");
  ASSERT_NE(followerOnB, nullptr);
  EXPECT_EQ(followerOnB->getResolution(), qvga);
  EXPECT_EQ(device->getActiveCamera(follower), "Default");
  EXPECT_EQ(device->getImage(lumo::Clock::now(), follower)->getCameraName(), "B");
  device->releaseImage(follower);
}

}  // namespace
}  // namespace videoDevice
