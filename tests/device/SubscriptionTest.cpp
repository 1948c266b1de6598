#include <functional>
#include <stdexcept>

#include "DeviceTestHelpers.h"

namespace videoDevice {
namespace {

using namespace test;
using ::testing::_;
using ::testing::Return;
using Subscriptions = MockedDevice;

TEST_F(Subscriptions, NamesInstancesZeroToSixAndReusesFreedNames) {
  const auto subscribeMod = [&] { return device->subscribeCamera("mod", "A", qvga, rgb, 15); };
  LogCapture capture;
  for (int i = 0; i < 7; ++i) EXPECT_EQ(subscribeMod(), "mod_" + std::to_string(i));
  EXPECT_TRUE(capture.contains(5, deviceCategory, "_findAvailableSubscriberName",
                               "Subscriber name mod already in use.\nName id changed to \"mod_6\""));
  const std::string full =
      "Could not subscribe module: mod\n6 instances of: mod have already subscribed to the video "
      "device.\nPlease unsubscribe before subscribing again to this module.";
  expectFailure<std::runtime_error>(subscribeMod, full);
  EXPECT_TRUE(capture.contains(2, deviceCategory, "_findAvailableSubscriberName", full));
  EXPECT_EQ(device->getSubscribers().size(), 7u);
  device->unsubscribe("mod_0");
  device->unsubscribe("mod_3");
  EXPECT_EQ(subscribeMod(), "mod_0");
  EXPECT_EQ(subscribeMod(), "mod_3");
}

TEST_F(Subscriptions, MonoSubscriptionLifecycle) {
  LogCapture capture;
  std::shared_ptr<CameraPreferences> attached;
  EXPECT_CALL(*a, open());
  EXPECT_CALL(*a, addPreferences(_)).WillOnce(::testing::SaveArg<0>(&attached));
  const std::string name = device->subscribeCamera("m", "Default", qvga, rgb, 15);
  ASSERT_NE(attached, nullptr);
  EXPECT_EQ(attached->getResolution(), qvga);
  EXPECT_CALL(*a, removePreferences(attached));
  device->unsubscribe(name);
  EXPECT_TRUE(capture.contains(5, deviceCategory, "unsubscribe", "Unregistered subscriber \"m_0\""));
  const std::string unknown = "Subscriber \"m_0\" doesn't exist.";
  expectFailure<std::invalid_argument>([&] { device->unsubscribe(name); }, unknown);
  EXPECT_TRUE(capture.contains(2, deviceCategory, "_getSubscriber", unknown));
}

TEST_F(Subscriptions, MultiStreamInputIsCheckedAndRefusalsLeaveNoSubscriber) {
  EXPECT_CALL(*a, open()).Times(0);
  EXPECT_CALL(*b, open()).Times(0);
  LogCapture capture;
  const std::string prefix = "Can't add subscriber m to Video Device";
  const std::string empty = ".\nSome input parameters are empty.\nPlease verify parameters";
  const std::string twice =
      "subscribeCameras(): " + prefix +
      ".\nInvalid input parameters, list contains 3 elements but only 2 different elements (using "
      "several time the same camera is forbidden).\nPlease correct camera indexes list.";
  expectFailure<std::invalid_argument>(
      [&] { device->subscribeCameras("", {"A", "B"}, {qvga}, {rgb, rgb}, 15); },
      "Can't add subscriber  to Video Device" + empty);
  expectFailure<std::invalid_argument>([&] { device->subscribeCameras("m", {}, {qvga}, {rgb}, 15); },
                                       prefix + empty);
  expectFailure<std::invalid_argument>(
      [&] { device->subscribeCameras("m", {"A", "B", "A"}, {qvga, qvga}, {rgb, rgb, rgb}, 15); },
      prefix + ".\nParameters list don't have the same size.\nPlease verify parameters");
  expectFailure<std::invalid_argument>(
      [&] { device->subscribeCameras("m", {"A", "B", "A"}, {qvga, qvga, qvga}, {rgb, rgb, rgb}, 15); },
      twice);
  EXPECT_TRUE(capture.contains(2, deviceCategory, "subscribeCameras", twice));
  EXPECT_TRUE(device->getSubscribers().empty());
  verify();

  const std::string name = device->subscribeCameras("m", {"B", "Default"}, {{160, 120}, qvga},
                                                    {ColorSpace::DEPTH_16, rgb}, 15);
  EXPECT_EQ(device->getActiveCameras(name), (std::vector<std::string>{"B", "Default"}));
  // One camera gives a mono-stream subscriber.
  EXPECT_EQ(device->getActiveCamera(device->subscribeCameras("s", {"A"}, {qvga}, {rgb}, 15)), "A");
  // A camera refusing the request at position 1 leaves no subscriber.
  EXPECT_CALL(*b, isValidRequest(_)).WillOnce(Return(false));
  EXPECT_CALL(*b, updateRequestToValidRequest(_)).WillOnce(Return(false));
  const std::string refusal =
      "Can't add subscriber k to Video Device\nSome camera parameter values are not supported.\n"
      "You must change the camera parameter requested.";
  expectFailure<std::invalid_argument>(
      [&] { device->subscribeCameras("k", {"A", "B"}, {qvga, qvga}, {rgb, rgb}, 15); }, refusal);
  EXPECT_TRUE(capture.contains(2, deviceCategory, "subscribeCameras", refusal));
  EXPECT_EQ(device->getSubscribers(), (std::vector<std::string>{"m_0", "s_0"}));
}

TEST_F(Subscriptions, StreamKindChecksShareOneMessage) {
  const std::string mono = device->subscribeCamera("mono", "A", qvga, rgb, 15);
  const std::string multi = device->subscribeCameras("multi", {"A", "B"}, {qvga, qvga}, {rgb, rgb}, 15);
  const auto now = lumo::Clock::now();
  const std::string toMulti = "_checkSubscriberIsMultistream", toMono = "_checkSubscriberIsMonostream";
  const std::vector<std::pair<std::string, std::function<void()>>> wrongKind = {
      {toMulti, [&] { device->getImages(now, mono); }},
      {toMulti, [&] { device->getDirectRawImages(now, mono); }},
      {toMulti, [&] { device->releaseImages(mono); }},
      {toMulti, [&] { device->setResolutions(mono, {qvga}); }},
      {toMono, [&] { device->getImage(now, multi); }},
      {toMono, [&] { device->releaseImage(multi); }},
      {toMono, [&] { device->releaseDirectRawImage(multi); }},
      {toMono, [&] { device->getResolution(multi); }},
      {toMono, [&] { device->setActiveCamera(multi, "B"); }},
  };
  for (const auto& [function, call] : wrongKind) {
    LogCapture capture;
    expectFailure<std::runtime_error>(call, streamKindMessage);
    EXPECT_TRUE(capture.contains(2, deviceCategory, function, streamKindMessage)) << function;
  }
}

}  // namespace
}  // namespace videoDevice
