#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <videodevice/VideoDevice.h>

#include "DeviceTestHelpers.h"
#include "device/Subscriber.h"
#include "support/LogCapture.h"

namespace videoDevice {
namespace {

using test::acceptingCamera;
using test::deviceCategory;
using test::expectFailure;
using test::LogCapture;
using test::streamKindMessage;
using ::testing::_;
using ::testing::Return;
using ::testing::SaveArg;

std::string subscribeMod(VideoDevice& device) {
  return device.subscribeCamera("mod", "A", {320, 240}, ColorSpace::RGB_888, 15);
}

TEST(Subscriptions, NamesInstancesZeroToSixAndReusesFreedNames) {
  auto device = std::make_shared<VideoDevice>();
  device->addCamera(acceptingCamera("A"));
  LogCapture capture;

  for (int i = 0; i < 7; ++i) EXPECT_EQ(subscribeMod(*device), "mod_" + std::to_string(i));
  std::vector<std::string> renames;
  for (const auto& record : capture.records())
    if (record.function == "_findAvailableSubscriberName") renames.push_back(record.message);
  ASSERT_EQ(renames.size(), 6u);  // nothing for mod_0
  EXPECT_EQ(renames.front(), "Subscriber name mod already in use.\nName id changed to \"mod_1\"");
  EXPECT_EQ(renames.back(), "Subscriber name mod already in use.\nName id changed to \"mod_6\"");

  const std::string full =
      "Could not subscribe module: mod\n6 instances of: mod have already subscribed to the video "
      "device.\nPlease unsubscribe before subscribing again to this module.";
  expectFailure<std::runtime_error>([&] { subscribeMod(*device); }, full);
  EXPECT_TRUE(capture.contains(2, deviceCategory, "_findAvailableSubscriberName", full));
  EXPECT_EQ(device->getSubscribers().size(), 7u);

  device->unsubscribe("mod_0");
  device->unsubscribe("mod_3");
  capture.clear();
  EXPECT_EQ(subscribeMod(*device), "mod_0");
  EXPECT_TRUE(capture.messages(5).size() > 0);
  for (const auto& record : capture.records())
    EXPECT_NE(record.function, "_findAvailableSubscriberName");
  EXPECT_EQ(subscribeMod(*device), "mod_3");
  EXPECT_TRUE(capture.contains(5, deviceCategory, "_findAvailableSubscriberName",
                               "Subscriber name mod already in use.\nName id changed to \"mod_3\""));

  // The requested name is not checked by the mono-stream form.
  EXPECT_EQ(device->subscribeCamera("", "A", {320, 240}, ColorSpace::RGB_888, 15), "_0");
}

TEST(Subscriptions, MonoSubscriptionSharesItsPreferencesWithTheCamera) {
  auto device = std::make_shared<VideoDevice>();
  auto camera = acceptingCamera("A");
  device->addCamera(camera);
  LogCapture capture;

  std::shared_ptr<CameraPreferences> attached;
  EXPECT_CALL(*camera, open());
  EXPECT_CALL(*camera, addPreferences(_)).WillOnce(SaveArg<0>(&attached));
  const std::string name = device->subscribeCamera("m", "Default", {320, 240}, ColorSpace::RGB_888, 15);
  EXPECT_EQ(name, "m_0");
  ASSERT_NE(attached, nullptr);
  EXPECT_EQ(attached->getResolution(), Resolution(320, 240));
  EXPECT_TRUE(capture.contains(5, deviceCategory, "subscribeCamera",
                               "Registered subscriber \"m\"\nwith active camera: Default, "
                               "resolution: 320x240, colorspace: RGB_888, framerate: 15"));
  EXPECT_TRUE(capture.contains(5, deviceCategory, "subscribeCamera",
                               "subscribeCamera(): Number of subscribers: 1"));

  EXPECT_EQ(device->getActiveCamera(name), "Default");
  EXPECT_EQ(device->getResolution(name), Resolution(320, 240));
  EXPECT_EQ(device->getColorSpace(name), ColorSpace::RGB_888);
  EXPECT_EQ(device->getFrameRate(name), 15);

  EXPECT_CALL(*camera, removePreferences(attached));
  device->unsubscribe(name);
  EXPECT_TRUE(capture.contains(5, deviceCategory, "unsubscribe", "Unregistered subscriber \"m_0\""));
  EXPECT_TRUE(capture.contains(5, deviceCategory, "unsubscribe",
                               "unsubscribe(): Number of remaining subscribers: 0"));
  expectFailure<std::invalid_argument>([&] { device->unsubscribe(name); },
                                       "Subscriber \"m_0\" doesn't exist.");
  EXPECT_TRUE(capture.contains(2, deviceCategory, "_getSubscriber",
                               "Subscriber \"m_0\" doesn't exist."));
}

TEST(Subscriptions, RequestsTheCameraCannotServeAreCorrectedOrRefused) {
  auto device = std::make_shared<VideoDevice>();
  auto camera = acceptingCamera("A");
  device->addCamera(camera);
  LogCapture capture;
  const std::string header =
      "Can't add subscriber m to Video Device\nSome camera parameter values are not supported.\n";

  EXPECT_CALL(*camera, open()).Times(2);
  EXPECT_CALL(*camera, isValidRequest(_)).WillRepeatedly(Return(false));
  EXPECT_CALL(*camera, updateRequestToValidRequest(_))
      .WillOnce([](CameraPreferences& preferences) {
        preferences.setRefreshRate(30);
        return true;
      })
      .WillOnce(Return(false));
  const std::string name = device->subscribeCamera("m", "A", {320, 240}, ColorSpace::RGB_888, 7);
  EXPECT_TRUE(capture.contains(3, deviceCategory, "subscribeCamera",
                               header + "Try to change the camera parameter requested automatically..."));
  EXPECT_TRUE(capture.hasMessage(5, "Registered subscriber \"m\"\nwith active camera: A, resolution: "
                                    "320x240, colorspace: RGB_888, framerate: 30"));
  EXPECT_EQ(device->getFrameRate(name), 30);

  const std::string refusal = header + "You must change the camera parameter requested.";
  expectFailure<std::invalid_argument>(
      [&] { device->subscribeCamera("m", "A", {320, 240}, ColorSpace::RGB_888, 7); }, refusal);
  EXPECT_TRUE(capture.contains(2, deviceCategory, "subscribeCamera", refusal));
  EXPECT_EQ(device->getSubscribers(), std::vector<std::string>{"m_0"});

  // A camera refusing the new preferences does not undo the subscription.
  ::testing::Mock::VerifyAndClearExpectations(camera.get());
  ON_CALL(*camera, isValidRequest(_)).WillByDefault(Return(true));
  EXPECT_CALL(*camera, addPreferences(_)).WillOnce(::testing::Throw(std::runtime_error("A: boom")));
  EXPECT_EQ(device->subscribeCamera("m", "A", {320, 240}, ColorSpace::RGB_888, 7), "m_1");
  EXPECT_TRUE(capture.contains(2, deviceCategory, "subscribeCamera",
                               "Can't update camera with new subscriber param: A: boom"));
}

TEST(Subscriptions, MultiStreamInputIsCheckedInOrderBeforeAnyCameraIsOpened) {
  auto device = std::make_shared<VideoDevice>();
  auto a = acceptingCamera("A");
  auto b = acceptingCamera("B");
  device->addCamera(a);
  device->addCamera(b);
  EXPECT_CALL(*a, open()).Times(0);
  EXPECT_CALL(*b, open()).Times(0);
  LogCapture capture;
  const Resolution qvga(320, 240);
  const ColorSpace rgb = ColorSpace::RGB_888;

  const std::string empty = "Can't add subscriber  to Video Device.\nSome input parameters are "
                            "empty.\nPlease verify parameters";
  expectFailure<std::invalid_argument>(
      [&] { device->subscribeCameras("", {"A", "B"}, {qvga}, {rgb, rgb}, 15); }, empty);
  expectFailure<std::invalid_argument>(
      [&] { device->subscribeCameras("m", {}, {qvga}, {rgb}, 15); },
      "Can't add subscriber m to Video Device.\nSome input parameters are empty.\nPlease verify "
      "parameters");
  const std::string sizes = "Can't add subscriber m to Video Device.\nParameters list don't have "
                            "the same size.\nPlease verify parameters";
  expectFailure<std::invalid_argument>(
      [&] { device->subscribeCameras("m", {"A", "B", "A"}, {qvga, qvga}, {rgb, rgb, rgb}, 15); },
      sizes);
  const std::string twice =
      "subscribeCameras(): Can't add subscriber m to Video Device.\nInvalid input parameters, list "
      "contains 3 elements but only 2 different elements (using several time the same camera is "
      "forbidden).\nPlease correct camera indexes list.";
  expectFailure<std::invalid_argument>(
      [&] {
        device->subscribeCameras("m", {"A", "B", "A"}, {qvga, qvga, qvga}, {rgb, rgb, rgb}, 15);
      },
      twice);
  EXPECT_TRUE(capture.contains(2, deviceCategory, "subscribeCameras", twice));
  EXPECT_TRUE(device->getSubscribers().empty());
}

TEST(Subscriptions, MultiStreamSubscriptionKeysPreferencesByListedName) {
  auto device = std::make_shared<VideoDevice>();
  auto a = acceptingCamera("A");
  auto b = acceptingCamera("B");
  device->addCamera(a);
  device->addCamera(b);
  LogCapture capture;

  const std::string name = device->subscribeCameras(
      "m", {"B", "Default"}, {{160, 120}, {320, 240}}, {ColorSpace::DEPTH_16, ColorSpace::RGB_888}, 15);
  EXPECT_TRUE(capture.contains(5, deviceCategory, "subscribeCameras",
                               "Registered subscriber multicam \"m\"\n"
                               "  with active camera: B, resolution: 160x120, colorspace: DEPTH_16\n"
                               "  with active camera: Default, resolution: 320x240, colorspace: RGB_888\n"
                               "  framerate: 15"));
  EXPECT_EQ(device->getActiveCameras(name), (std::vector<std::string>{"B", "Default"}));
  EXPECT_EQ(device->getResolutions(name), (std::vector<Resolution>{{160, 120}, {320, 240}}));
  EXPECT_EQ(device->getColorSpaces(name),
            (std::vector<ColorSpace>{ColorSpace::DEPTH_16, ColorSpace::RGB_888}));

  // One camera gives a subscriber that is not multi-stream.
  const std::string single = device->subscribeCameras("s", {"A"}, {{320, 240}}, {ColorSpace::RGB_888}, 15);
  EXPECT_EQ(device->getActiveCamera(single), "A");
  expectFailure<std::runtime_error>([&] { device->getActiveCameras(single); }, streamKindMessage);

  // A camera refusing the request at position 1 leaves no subscriber.
  EXPECT_CALL(*b, isValidRequest(_)).WillOnce(Return(false));
  EXPECT_CALL(*b, updateRequestToValidRequest(_)).WillOnce(Return(false));
  EXPECT_CALL(*b, open());
  expectFailure<std::invalid_argument>(
      [&] {
        device->subscribeCameras("k", {"A", "B"}, {{320, 240}, {320, 240}},
                                 {ColorSpace::RGB_888, ColorSpace::RGB_888}, 15);
      },
      "Can't add subscriber k to Video Device\nSome camera parameter values are not supported.\n"
      "You must change the camera parameter requested.");
  EXPECT_EQ(device->getSubscribers(), (std::vector<std::string>{"m_0", "s_0"}));
}

TEST(Subscriptions, StreamKindChecksShareOneMessage) {
  auto device = std::make_shared<VideoDevice>();
  device->addCamera(acceptingCamera("A"));
  device->addCamera(acceptingCamera("B"));
  const std::string mono = device->subscribeCamera("mono", "A", {320, 240}, ColorSpace::RGB_888, 15);
  const std::string multi = device->subscribeCameras(
      "multi", {"A", "B"}, {{320, 240}, {320, 240}}, {ColorSpace::RGB_888, ColorSpace::RGB_888}, 15);
  const auto now = lumo::Clock::now();
  LogCapture capture;

  expectFailure<std::runtime_error>([&] { device->getImages(now, mono); }, streamKindMessage);
  expectFailure<std::runtime_error>([&] { device->getDirectRawImages(now, mono); }, streamKindMessage);
  expectFailure<std::runtime_error>([&] { device->releaseImages(mono); }, streamKindMessage);
  expectFailure<std::runtime_error>([&] { device->setResolutions(mono, {{320, 240}}); },
                                    streamKindMessage);
  EXPECT_TRUE(capture.contains(2, deviceCategory, "_checkSubscriberIsMultistream", streamKindMessage));

  expectFailure<std::runtime_error>([&] { device->getImage(now, multi); }, streamKindMessage);
  expectFailure<std::runtime_error>([&] { device->releaseDirectRawImage(multi); }, streamKindMessage);
  expectFailure<std::runtime_error>([&] { device->getResolution(multi); }, streamKindMessage);
  expectFailure<std::runtime_error>([&] { device->setActiveCamera(multi, "B"); }, streamKindMessage);
  EXPECT_TRUE(capture.contains(2, deviceCategory, "_checkSubscriberIsMonostream", streamKindMessage));

  // The frame-rate pair serves both kinds.
  device->setFrameRate(mono, 10);
  device->setFrameRate(multi, 12);
  EXPECT_EQ(device->getFrameRate(mono), 10);
  EXPECT_EQ(device->getFrameRate(multi), 12);
}

TEST(Subscriber, KeepsItsStateAndRefusesEmptyEntries) {
  LogCapture capture;
  Subscriber subscriber("s_0");
  EXPECT_FALSE(subscriber.isMultiStream());
  EXPECT_FALSE(subscriber.isProcessing());
  EXPECT_EQ(subscriber.getFrameRate(), 1);

  subscriber.setCameraPreferences("A", nullptr);
  EXPECT_TRUE(capture.contains(3, "vision.videodevice.subscriber", "setCameraPreferences",
                               "s_0: try to set empty camera preferences."));
  subscriber.setImageBuffer("A", nullptr);
  EXPECT_TRUE(capture.contains(3, "vision.videodevice.subscriber", "setImageBuffer",
                               "s_0: try to set empty buffer."));
  EXPECT_TRUE(subscriber.getCameraPreferencesMap().empty());
  EXPECT_FALSE(subscriber.isProcessing());
  expectFailure<std::runtime_error>([&] { subscriber.getImageBuffer("A"); },
                                    "s_0: Image buffer for camera \"A\" doesn't exist.");
  EXPECT_TRUE(capture.contains(2, "vision.videodevice.subscriber", "getImageBuffer",
                               "s_0: Image buffer for camera \"A\" doesn't exist."));

  auto a = std::make_shared<CameraPreferences>(Resolution(320, 240), ColorSpace::RGB_888, 15);
  auto b = std::make_shared<CameraPreferences>(Resolution(160, 120), ColorSpace::Y_8, 30);
  subscriber.setCameraPreferences("A", a);
  subscriber.setCameraPreferences("B", b);
  subscriber.setFrameRate(5);
  EXPECT_EQ(a->getRefreshRate(), 5);
  EXPECT_EQ(b->getRefreshRate(), 5);
  EXPECT_EQ(subscriber.getFrameRate(), 5);

  auto buffer = std::make_shared<const ImageBuffer>("A", Resolution(4, 4), ColorSpace::Y_8, true);
  subscriber.setImageBuffer("A", buffer);
  EXPECT_TRUE(subscriber.isProcessing());
  EXPECT_EQ(subscriber.getImageBuffer("A"), buffer);
  subscriber.clearImageBufferMap();
  EXPECT_FALSE(subscriber.isProcessing());

  // Two cameras latch the multi-stream flag for good.
  subscriber.setActiveCameras({"A"});
  EXPECT_FALSE(subscriber.isMultiStream());
  subscriber.setActiveCameras({"A", "B"});
  subscriber.setActiveCameras({"B"});
  EXPECT_TRUE(subscriber.isMultiStream());
  EXPECT_EQ(subscriber.getActiveCameraList(), std::vector<std::string>{"B"});
}

}  // namespace
}  // namespace videoDevice
