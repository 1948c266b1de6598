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
  for (int i = 0; i < 7; ++i) EXPECT_EQ(subscribeMod(), "mod_" + std::to_string(i));
  expectFailure<std::runtime_error>(
      subscribeMod,
      "Could not subscribe module: mod\n6 instances of: mod have already subscribed to the video "
      "device.\nPlease unsubscribe before subscribing again to this module.");
  EXPECT_EQ(device->getSubscribers().size(), 7u);
  device->unsubscribe("mod_0");
  device->unsubscribe("mod_3");
  expectFailure<std::invalid_argument>([&] { device->unsubscribe("mod_3"); },
                                       "Subscriber \"mod_3\" doesn't exist.");
  EXPECT_EQ(subscribeMod(), "mod_0");
  EXPECT_EQ(subscribeMod(), "mod_3");
}

TEST_F(Subscriptions, MultiStreamInputIsCheckedAndRefusalsLeaveNoSubscriber) {
  EXPECT_CALL(*a, open()).Times(0);
  EXPECT_CALL(*b, open()).Times(0);
  const std::string prefix = "Can't add subscriber m to Video Device";
  const std::string empty = ".\nSome input parameters are empty.\nPlease verify parameters";
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
      "subscribeCameras(): " + prefix +
          ".\nInvalid input parameters, list contains 3 elements but only 2 different elements "
          "(using several time the same camera is forbidden).\nPlease correct camera indexes list.");
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
  expectFailure<std::invalid_argument>(
      [&] { device->subscribeCameras("k", {"A", "B"}, {qvga, qvga}, {rgb, rgb}, 15); },
      "Can't add subscriber k to Video Device\nSome camera parameter values are not supported.\n"
      "You must change the camera parameter requested.");
  EXPECT_EQ(device->getSubscribers(), (std::vector<std::string>{"m_0", "s_0"}));
}

TEST_F(Subscriptions, StreamKindChecksShareOneMessage) {
  const std::string mono = device->subscribeCamera("mono", "A", qvga, rgb, 15);
  const std::string multi = device->subscribeCameras("multi", {"A", "B"}, {qvga, qvga}, {rgb, rgb}, 15);
  const auto now = lumo::Clock::now();
  for (const std::function<void()>& wrongKind : std::vector<std::function<void()>>{
           [&] { device->getImages(now, mono); },
           [&] { device->getDirectRawImages(now, mono); },
           [&] { device->releaseImages(mono); },
           [&] { device->setResolutions(mono, {qvga}); },
           [&] { device->getImage(now, multi); },
           [&] { device->releaseImage(multi); },
           [&] { device->releaseDirectRawImage(multi); },
           [&] { device->getResolution(multi); },
           [&] { device->setActiveCamera(multi, "B"); }})
    expectFailure<std::runtime_error>(wrongKind, streamKindMessage);
}

}  // namespace
}  // namespace videoDevice
