#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <videodevice/VideoDevice.h>

#include "DeviceTestHelpers.h"
#include "support/LogCapture.h"

namespace videoDevice {
namespace {

using test::acceptingCamera;
using test::deviceCategory;
using test::expectFailure;
using test::LogCapture;
using test::NiceCamera;
using test::streamKindMessage;
using ::testing::_;
using ::testing::Ne;
using ::testing::Return;
using ::testing::SaveArg;

using Preferences = std::shared_ptr<CameraPreferences>;

// A device with cameras A (the default), B and C that accept everything.
struct SettingsTest : ::testing::Test {
  void SetUp() override {
    for (const auto& camera : {a, b, c}) device->addCamera(camera);
  }
  // Subscribes and returns the preference objects the cameras were given.
  std::string subscribeMono(const std::string& camera, Preferences* attached) {
    auto target = std::static_pointer_cast<NiceCamera>(device->getCamera(camera));
    EXPECT_CALL(*target, addPreferences(_)).WillOnce(SaveArg<0>(attached));
    const std::string name = device->subscribeCamera("m", camera, {320, 240}, ColorSpace::RGB_888, 15);
    ::testing::Mock::VerifyAndClearExpectations(target.get());
    return name;
  }

  std::shared_ptr<VideoDevice> device = std::make_shared<VideoDevice>();
  std::shared_ptr<NiceCamera> a = acceptingCamera("A");
  std::shared_ptr<NiceCamera> b = acceptingCamera("B");
  std::shared_ptr<NiceCamera> c = acceptingCamera("C");
};

TEST_F(SettingsTest, MonoChangesAreAskedOfTheCameraOwningThePreferences) {
  Preferences attached;
  const std::string name = subscribeMono("Default", &attached);

  EXPECT_CALL(*a, updateResolutionPreferences(attached, Resolution(640, 480)));
  EXPECT_CALL(*a, updateColorSpacePreferences(attached, ColorSpace::Y_8));
  EXPECT_CALL(*a, updateFrameRatePreferences(attached, 5));
  device->setResolution(name, {640, 480});
  device->setColorSpace(name, ColorSpace::Y_8);
  device->setFrameRate(name, 5);
  EXPECT_EQ(device->getFrameRate(name), 5);
  EXPECT_EQ(attached->getRefreshRate(), 5);
  // The device never edits the request itself: only the camera may.
  EXPECT_EQ(device->getResolution(name), Resolution(320, 240));
}

TEST_F(SettingsTest, MovingAMonoSubscriberBetweenCameras) {
  Preferences onA;
  const std::string name = subscribeMono("A", &onA);

  // B cannot serve the request: the subscriber gets B's defaults.
  Preferences onB;
  EXPECT_CALL(*a, removePreferences(onA));
  EXPECT_CALL(*b, isValidRequest(_)).WillOnce(Return(false));
  EXPECT_CALL(*b, addPreferences(_)).WillOnce(SaveArg<0>(&onB));
  device->setActiveCamera(name, "B");
  EXPECT_EQ(device->getActiveCamera(name), "B");
  EXPECT_EQ(device->getResolution(name), Resolution(160, 120));
  EXPECT_EQ(onB->getColorSpace(), ColorSpace::YUV_422);
  ::testing::Mock::VerifyAndClearExpectations(a.get());
  ::testing::Mock::VerifyAndClearExpectations(b.get());

  // "Default" is stored under A's own name, then looked up under "Default".
  EXPECT_CALL(*b, removePreferences(onB));
  EXPECT_CALL(*a, addPreferences(_)).Times(0);
  expectFailure<std::runtime_error>([&] { device->setActiveCamera(name, "Default"); },
                                    "m_0: Camera preference for camera \"Default\" doesn't exist.");
  EXPECT_EQ(device->getActiveCamera(name), "B");
  ::testing::Mock::VerifyAndClearExpectations(b.get());

  expectFailure<std::invalid_argument>([&] { device->setActiveCamera(name, "Z"); },
                                       "Camera \"Z\" doesn't exist.");
}

TEST_F(SettingsTest, MultiStreamSettings) {
  Preferences onA, onB;
  EXPECT_CALL(*a, addPreferences(_)).WillOnce(SaveArg<0>(&onA));
  EXPECT_CALL(*b, addPreferences(_)).WillOnce(SaveArg<0>(&onB));
  const std::string name = device->subscribeCameras(
      "m", {"A", "B"}, {{320, 240}, {640, 480}}, {ColorSpace::RGB_888, ColorSpace::DEPTH_16}, 15);
  ::testing::Mock::VerifyAndClearExpectations(a.get());
  ::testing::Mock::VerifyAndClearExpectations(b.get());
  LogCapture capture;

  // Only the first camera renegotiates the rate; both requests carry it.
  device->getImages(lumo::Clock::now(), name);
  EXPECT_CALL(*a, updateFrameRatePreferences(onA, 10));
  EXPECT_CALL(*b, updateFrameRatePreferences(_, _)).Times(0);
  device->setFrameRate(name, 10);
  EXPECT_EQ(onB->getRefreshRate(), 10);
  EXPECT_EQ(device->getFrameRate(name), 10);
  device->releaseImages(name);

  const std::string resolutions =
      "setResolutions(m_0): Could not set resolutions.\nWrong size, parameters size: 3 expected "
      "size: 2";
  expectFailure<std::invalid_argument>(
      [&] { device->setResolutions(name, {{320, 240}, {320, 240}, {320, 240}}); }, resolutions);
  EXPECT_TRUE(capture.contains(2, deviceCategory, "setResolutions", resolutions));
  expectFailure<std::invalid_argument>(
      [&] { device->setColorSpaces(name, {ColorSpace::Y_8}); },
      "setColorSpaces(m_0): Could not set colorspaces.\nWrong size, parameters size: 1 expected "
      "size: 2");
  EXPECT_CALL(*a, updateResolutionPreferences(onA, Resolution(160, 120)));
  EXPECT_CALL(*b, updateResolutionPreferences(onB, Resolution(320, 240)));
  device->setResolutions(name, {{160, 120}, {320, 240}});
  EXPECT_CALL(*a, updateColorSpacePreferences(onA, ColorSpace::Y_8));
  EXPECT_CALL(*b, updateColorSpacePreferences(onB, ColorSpace::INFRARED_16));
  device->setColorSpaces(name, {ColorSpace::Y_8, ColorSpace::INFRARED_16});
  ::testing::Mock::VerifyAndClearExpectations(a.get());
  ::testing::Mock::VerifyAndClearExpectations(b.get());

  // Duplicates and unknown cameras change nothing.
  EXPECT_CALL(*a, removePreferences(_)).Times(0);
  EXPECT_CALL(*b, removePreferences(_)).Times(0);
  const std::string twice = "setActiveCameras(m_0): Invalid input parameters, using several time "
                            "the same camera is forbidden.";
  expectFailure<std::invalid_argument>([&] { device->setActiveCameras(name, {"A", "B", "A"}); },
                                       twice);
  EXPECT_TRUE(capture.contains(2, deviceCategory, "setActiveCameras", twice));
  expectFailure<std::invalid_argument>([&] { device->setActiveCameras(name, {"B", "Z"}); },
                                       "Camera \"Z\" doesn't exist.");
  EXPECT_EQ(device->getActiveCameras(name), (std::vector<std::string>{"A", "B"}));
  ::testing::Mock::VerifyAndClearExpectations(a.get());
  ::testing::Mock::VerifyAndClearExpectations(b.get());

  // Reordering moves the very same preference objects.
  EXPECT_CALL(*a, removePreferences(onA));
  EXPECT_CALL(*b, removePreferences(onB));
  EXPECT_CALL(*b, addPreferences(onB));
  EXPECT_CALL(*a, addPreferences(onA));
  device->setActiveCameras(name, {"B", "A"});
  EXPECT_EQ(device->getActiveCameras(name), (std::vector<std::string>{"B", "A"}));
  ::testing::Mock::VerifyAndClearExpectations(a.get());
  ::testing::Mock::VerifyAndClearExpectations(b.get());

  // A camera the subscriber never used: the old cameras have already let go.
  EXPECT_CALL(*a, removePreferences(onA));
  EXPECT_CALL(*b, removePreferences(onB));
  EXPECT_CALL(*c, addPreferences(_)).Times(0);
  expectFailure<std::runtime_error>([&] { device->setActiveCameras(name, {"C"}); },
                                    "m_0: Camera preference for camera \"C\" doesn't exist.");
  ::testing::Mock::VerifyAndClearExpectations(a.get());
  ::testing::Mock::VerifyAndClearExpectations(b.get());

  // Back to one camera: still a multi-stream subscriber.
  device->setActiveCameras(name, {"A"});
  EXPECT_EQ(device->getResolutions(name), std::vector<Resolution>{Resolution(320, 240)});
  expectFailure<std::runtime_error>([&] { device->getImage(lumo::Clock::now(), name); },
                                    streamKindMessage);
}

TEST_F(SettingsTest, ChangingTheDefaultCameraMovesTheSubscribersThatFollowIt) {
  Preferences followerOnA, pinnedOnA;
  const std::string follower = subscribeMono("Default", &followerOnA);
  const std::string pinned = subscribeMono("A", &pinnedOnA);
  // Lists "Default" second: not moved (its keys would not even match).
  device->subscribeCameras(
      "k", {"B", "Default"}, {{320, 240}, {320, 240}}, {ColorSpace::RGB_888, ColorSpace::RGB_888}, 15);

  // Only the follower moves, with a copy of its request.
  Preferences followerOnB;
  EXPECT_CALL(*a, removePreferences(followerOnA));
  EXPECT_CALL(*b, addPreferences(Ne(followerOnA))).WillOnce(SaveArg<0>(&followerOnB));
  EXPECT_CALL(*b, removePreferences(_)).Times(0);
  device->setDefaultActiveCamera("B");
  ASSERT_NE(followerOnB, nullptr);
  EXPECT_EQ(followerOnB->getResolution(), Resolution(320, 240));
  EXPECT_EQ(followerOnB->getColorSpace(), ColorSpace::RGB_888);
  EXPECT_EQ(device->getActiveCamera(follower), "Default");
  EXPECT_EQ(device->getDefaultActiveCamera(), "B");
  ::testing::Mock::VerifyAndClearExpectations(a.get());
  ::testing::Mock::VerifyAndClearExpectations(b.get());

  // A camera that cannot serve the request hands out its defaults.
  EXPECT_CALL(*c, isValidRequest(_)).WillOnce(Return(false));
  EXPECT_CALL(*b, removePreferences(followerOnB));
  device->setDefaultActiveCamera("C");
  EXPECT_EQ(device->getResolution(follower), Resolution(160, 120));
  EXPECT_EQ(device->getResolution(pinned), Resolution(320, 240));
}

}  // namespace
}  // namespace videoDevice
