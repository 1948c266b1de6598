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
using test::expectFailure;
using test::stillProcessingMessage;
using ::testing::_;
using ::testing::Return;

std::shared_ptr<const ImageBuffer> bufferOf(const std::string& cameraName) {
  return std::make_shared<const ImageBuffer>(cameraName, Resolution(320, 240),
                                             ColorSpace::RGB_888, true);
}

TEST(ImageDelivery, AMonoSubscriberHoldsItsImageUntilItReleasesIt) {
  auto device = std::make_shared<VideoDevice>();
  auto camera = acceptingCamera("A");
  device->addCamera(camera);
  const std::string name = device->subscribeCamera("m", "A", {320, 240}, ColorSpace::RGB_888, 15);
  const lumo::Clock::time_point when(boost::chrono::nanoseconds(123456789));
  const auto held = bufferOf("A");

  EXPECT_CALL(*camera, getImageBuffer(when, _)).WillOnce([&](auto&, const CameraPreferences& p) {
    EXPECT_EQ(p.getResolution(), Resolution(320, 240));
    EXPECT_EQ(p.getColorSpace(), ColorSpace::RGB_888);
    return held;
  });
  EXPECT_EQ(device->getImage(when, name), held);

  // While holding: no second fetch, no unsubscribe, no resolution change.
  const std::string busy = stillProcessingMessage("m_0");
  expectFailure<std::runtime_error>([&] { device->getImage(when, name); }, busy);
  expectFailure<std::runtime_error>([&] { device->getDirectRawImage(when, name); }, busy);
  EXPECT_CALL(*camera, removePreferences(_)).Times(0);
  expectFailure<std::runtime_error>([&] { device->unsubscribe(name); }, busy);
  EXPECT_EQ(device->getSubscribers(), std::vector<std::string>{"m_0"});
  expectFailure<std::runtime_error>([&] { device->setResolution(name, {640, 480}); }, busy);
  ::testing::Mock::VerifyAndClearExpectations(camera.get());

  EXPECT_CALL(*camera, releaseImageBuffer(held)).Times(1);
  device->releaseImage(name);
  device->releaseImage(name);  // nothing held: nothing released
  ::testing::Mock::VerifyAndClearExpectations(camera.get());

  // A camera that fails leaves the subscriber idle.
  EXPECT_CALL(*camera, getImageBuffer(_, _)).WillOnce(::testing::Throw(std::runtime_error("A: grab")));
  expectFailure<std::runtime_error>([&] { device->getImage(when, name); }, "A: grab");
  EXPECT_CALL(*camera, getImageBuffer(_, _)).WillOnce(Return(held));
  EXPECT_EQ(device->getImage(when, name), held);
}

TEST(ImageDelivery, AFailedMultiFetchKeepsTheBuffersAlreadyObtained) {
  auto device = std::make_shared<VideoDevice>();
  auto a = acceptingCamera("A");
  auto b = acceptingCamera("B");
  device->addCamera(a);
  device->addCamera(b);
  const std::string name = device->subscribeCameras(
      "m", {"B", "A"}, {{320, 240}, {160, 120}}, {ColorSpace::RGB_888, ColorSpace::Y_8}, 15);
  const auto now = lumo::Clock::now();

  const auto fromB = bufferOf("B");
  EXPECT_CALL(*b, getImageBuffer(_, _)).WillOnce(Return(fromB));
  EXPECT_CALL(*a, getImageBuffer(_, _)).WillOnce(::testing::Throw(std::runtime_error("A: grab")));
  expectFailure<std::runtime_error>([&] { device->getImages(now, name); }, "A: grab");
  expectFailure<std::runtime_error>([&] { device->getImages(now, name); },
                                    stillProcessingMessage("m_0"));

  EXPECT_CALL(*b, releaseImageBuffer(fromB));
  EXPECT_CALL(*a, releaseImageBuffer(_)).Times(0);
  device->releaseImages(name);
  ::testing::Mock::VerifyAndClearExpectations(a.get());
  ::testing::Mock::VerifyAndClearExpectations(b.get());

  // In list order, each made to its own camera's preferences.
  const auto images = device->getImages(now, name);
  ASSERT_EQ(images.size(), 2u);
  EXPECT_EQ(images[0]->getCameraName(), "B");
  EXPECT_EQ(images[0]->getResolution(), Resolution(320, 240));
  EXPECT_EQ(images[1]->getCameraName(), "A");
  EXPECT_EQ(images[1]->getColorSpace(), ColorSpace::Y_8);
  EXPECT_CALL(*a, releaseImageBuffer(images[1]));
  EXPECT_CALL(*b, releaseImageBuffer(images[0]));
  device->releaseDirectRawImages(name);  // any release variant gives them back
}

TEST(ImageDelivery, OnlyTheSingleCameraRawFetchUsesTheExtraStream) {
  auto device = std::make_shared<VideoDevice>();
  auto a = acceptingCamera("A");
  auto b = acceptingCamera("B");
  device->addCamera(a);
  device->addCamera(b);
  ON_CALL(*a, isExtraColorSpace(ColorSpace::INFRARED_16)).WillByDefault(Return(true));
  ON_CALL(*b, isExtraColorSpace(ColorSpace::INFRARED_16)).WillByDefault(Return(true));
  const auto now = lumo::Clock::now();

  const std::string mono = device->subscribeCamera("mono", "A", {320, 240}, ColorSpace::INFRARED_16, 15);
  EXPECT_CALL(*a, getDirectRawExtraColorSpaceImageBuffer(_, _));
  EXPECT_CALL(*a, getDirectRawImageBuffer(_, _)).Times(0);
  const auto raw = device->getDirectRawImage(now, mono);
  EXPECT_CALL(*a, releaseImageBuffer(raw));
  device->releaseImage(mono);  // the converted-image release takes raw buffers too
  ::testing::Mock::VerifyAndClearExpectations(a.get());

  const std::string multi = device->subscribeCameras(
      "multi", {"A", "B"}, {{320, 240}, {320, 240}},
      {ColorSpace::INFRARED_16, ColorSpace::INFRARED_16}, 15);
  for (const auto& camera : {a, b}) {
    EXPECT_CALL(*camera, isExtraColorSpace(_)).Times(0);
    EXPECT_CALL(*camera, getDirectRawExtraColorSpaceImageBuffer(_, _)).Times(0);
    EXPECT_CALL(*camera, getDirectRawImageBuffer(_, _));
  }
  EXPECT_EQ(device->getDirectRawImages(now, multi).size(), 2u);
}

TEST(ImageDelivery, PutImageIsRoutedByTheCameraNameTheImageCarries) {
  auto device = std::make_shared<VideoDevice>();
  auto a = acceptingCamera("A");
  auto b = acceptingCamera("B");
  device->addCamera(a);
  device->addCamera(b);

  const auto frame = bufferOf("B");
  EXPECT_CALL(*b, putImage(frame));
  EXPECT_CALL(*a, putImage(_)).Times(0);
  device->putImage(frame);
  ::testing::Mock::VerifyAndClearExpectations(b.get());

  EXPECT_CALL(*b, putImage(_)).Times(0);
  expectFailure<std::invalid_argument>([&] { device->putImage(bufferOf("C")); },
                                       "Camera \"C\" doesn't exist.");
  expectFailure<std::invalid_argument>([&] { device->putImage(nullptr); },
                                       "Can't put image: invalid pointer.");
}

}  // namespace
}  // namespace videoDevice
