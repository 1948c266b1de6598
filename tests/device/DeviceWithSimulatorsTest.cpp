// The device end to end, with simulated cameras built from the catalogue and
// frames pushed through putImage, as an embedding program would use it.

#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <videodevice/CameraBuilder.h>
#include <videodevice/CameraInfo.h>
#include <videodevice/VideoDevice.h>

#include "DeviceTestHelpers.h"
#include "support/LogCapture.h"

namespace videoDevice {
namespace {

using test::deviceCategory;
using test::expectFailure;
using test::LogCapture;
using test::stillProcessingMessage;
using test::streamKindMessage;
using Time = lumo::Clock::time_point;
using Image = std::shared_ptr<const ImageBuffer>;

const Resolution qvga(320, 240);

Time at(int seconds) { return Time(boost::chrono::seconds(seconds)); }

void buildMT9M114(const std::shared_ptr<VideoDevice>& device, const std::string& name) {
  CameraInfo info;
  CameraBuilder::setupSimulatorMT9M114(info);
  info.name = name;
  CameraBuilder(device, info);
}

void buildXTION(const std::shared_ptr<VideoDevice>& device, const std::string& name) {
  CameraInfo info;
  CameraBuilder::setupSimulatorXTION(info);
  info.name = name;
  CameraBuilder(device, info);
}

// A uniform RGB_888 frame of one grey level.
Image greyFrame(const std::string& camera, unsigned char level, Time stamp,
                Resolution resolution = qvga) {
  auto frame = std::make_shared<ImageBuffer>(camera, resolution, ColorSpace::RGB_888, true);
  std::memset(frame->getData(), level, frame->getSize());
  frame->setTimeStamp(stamp);
  return frame;
}

// A uniform DEPTH_16 frame.
Image depthFrame(const std::string& camera, std::uint16_t millimetres, Time stamp) {
  auto frame = std::make_shared<ImageBuffer>(camera, qvga, ColorSpace::DEPTH_16, true);
  auto* pixels = reinterpret_cast<std::uint16_t*>(frame->getData());
  for (std::uint64_t i = 0; i < qvga.width * qvga.height; ++i) pixels[i] = millimetres;
  frame->setTimeStamp(stamp);
  return frame;
}

double meanByte(const ImageBuffer& image) {
  const unsigned char* data = image.getData();
  double sum = 0;
  for (std::uint64_t i = 0; i < image.getSize(); ++i) sum += data[i];
  return sum / static_cast<double>(image.getSize());
}

void expectRgbQvga(const Image& image, const std::string& camera) {
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->getCameraName(), camera);
  EXPECT_EQ(image->getResolution(), qvga);
  EXPECT_EQ(image->getColorSpace(), ColorSpace::RGB_888);
  EXPECT_EQ(image->getSize(), 320u * 240u * 3u);
  EXPECT_NE(image->getData(), nullptr);
}

TEST(DeviceWithSimulators, AMonoSubscriberGetsImagesMadeFromPushedFrames) {
  auto device = std::make_shared<VideoDevice>();
  buildMT9M114(device, "front");
  const std::string name = device->subscribeCamera("viewer", "front", qvga, ColorSpace::RGB_888, 15);
  EXPECT_TRUE(device->isCameraOpen("front"));
  EXPECT_EQ(device->getCameraNativeResolution("front"), qvga);

  device->putImage(greyFrame("front", 255, at(100)));
  const Image white = device->getImage(at(100), name);
  expectRgbQvga(white, "front");
  EXPECT_GT(meanByte(*white), 200.0);

  expectFailure<std::runtime_error>([&] { device->getImage(at(100), name); },
                                    stillProcessingMessage("viewer_0"));
  expectFailure<std::runtime_error>([&] { device->unsubscribe(name); },
                                    stillProcessingMessage("viewer_0"));
  EXPECT_EQ(device->getSubscribers(), std::vector<std::string>{"viewer_0"});
  device->releaseImage(name);

  // A second later a black frame arrives; the white one is too old by then.
  device->putImage(greyFrame("front", 0, at(101)));
  const Image black = device->getImage(at(101), name);
  expectRgbQvga(black, "front");
  EXPECT_LT(meanByte(*black), 40.0);
  device->releaseImage(name);

  device->unsubscribe(name);
  EXPECT_TRUE(device->getSubscribers().empty());
  EXPECT_FALSE(device->isCameraOpen("front"));  // last one out closes it
}

TEST(DeviceWithSimulators, SubscribersOnDefaultFollowTheDefaultCamera) {
  auto device = std::make_shared<VideoDevice>();
  buildMT9M114(device, "front");
  buildMT9M114(device, "bottom");
  EXPECT_EQ(device->getDefaultActiveCamera(), "front");

  const std::string name = device->subscribeCamera("viewer", "Default", qvga, ColorSpace::RGB_888, 15);
  EXPECT_EQ(device->getActiveCamera(name), "Default");
  EXPECT_EQ(device->getResolution(name), qvga);
  device->putImage(greyFrame("front", 255, at(100)));
  expectRgbQvga(device->getImage(at(100), name), "front");
  device->releaseImage(name);

  device->setDefaultActiveCamera("bottom");
  EXPECT_EQ(device->getActiveCamera(name), "Default");
  EXPECT_EQ(device->getCameraNativeResolution("bottom"), qvga);
  device->putImage(greyFrame("bottom", 0, at(101)));
  const Image fromBottom = device->getImage(at(101), name);
  expectRgbQvga(fromBottom, "bottom");
  EXPECT_LT(meanByte(*fromBottom), 40.0);
  device->releaseImage(name);
  device->unsubscribe(name);  // finds its preferences under "bottom"
  EXPECT_FALSE(device->isCameraOpen("bottom"));

  // Moving a subscriber onto "Default" stops at the lookup under "Default".
  const std::string pinned = device->subscribeCamera("pinned", "front", qvga, ColorSpace::RGB_888, 15);
  expectFailure<std::runtime_error>(
      [&] { device->setActiveCamera(pinned, "Default"); },
      "pinned_0: Camera preference for camera \"Default\" doesn't exist.");
  EXPECT_EQ(device->getActiveCamera(pinned), "front");
}

TEST(DeviceWithSimulators, MultiStreamOnA2DAndADepthCamera) {
  auto device = std::make_shared<VideoDevice>();
  buildMT9M114(device, "front");
  buildXTION(device, "depth");
  const std::string name = device->subscribeCameras(
      "fusion", {"front", "depth"}, {qvga, qvga}, {ColorSpace::RGB_888, ColorSpace::DEPTH_16}, 15);

  device->putImage(greyFrame("front", 255, at(100)));
  device->putImage(depthFrame("depth", 1234, at(100)));
  const std::vector<Image> images = device->getImages(at(100), name);
  ASSERT_EQ(images.size(), 2u);
  expectRgbQvga(images[0], "front");
  EXPECT_GT(meanByte(*images[0]), 200.0);
  ASSERT_NE(images[1], nullptr);
  EXPECT_EQ(images[1]->getCameraName(), "depth");
  EXPECT_EQ(images[1]->getResolution(), qvga);
  EXPECT_EQ(images[1]->getColorSpace(), ColorSpace::DEPTH_16);
  ASSERT_EQ(images[1]->getSize(), 320u * 240u * 2u);
  // Same-size DEPTH_16 is a plain copy of the pushed frame.
  const auto* depth = reinterpret_cast<const std::uint16_t*>(images[1]->getData());
  std::uint64_t matching = 0;
  for (std::uint64_t i = 0; i < qvga.width * qvga.height; ++i) matching += depth[i] == 1234;
  EXPECT_EQ(matching, qvga.width * qvga.height);

  expectFailure<std::runtime_error>([&] { device->getImages(at(100), name); },
                                    stillProcessingMessage("fusion_0"));
  expectFailure<std::runtime_error>([&] { device->getImage(at(100), name); }, streamKindMessage);
  expectFailure<std::runtime_error>([&] { device->releaseImage(name); }, streamKindMessage);
  device->releaseImages(name);
  EXPECT_EQ(device->getImages(at(100), name).size(), 2u);
  device->releaseImages(name);

  const std::string mono = device->subscribeCamera("mono", "front", qvga, ColorSpace::RGB_888, 15);
  expectFailure<std::runtime_error>([&] { device->getImages(at(100), mono); }, streamKindMessage);
  expectFailure<std::runtime_error>([&] { device->getDirectRawImages(at(100), mono); },
                                    streamKindMessage);

  device->unsubscribe(name);
  device->unsubscribe(mono);
  EXPECT_FALSE(device->isCameraOpen("depth"));
}

TEST(DeviceWithSimulators, MultiStreamSubscriptionListingDefaultCannotUnsubscribe) {
  auto device = std::make_shared<VideoDevice>();
  buildMT9M114(device, "front");
  buildXTION(device, "depth");
  const std::string name = device->subscribeCameras(
      "fusion", {"Default", "depth"}, {qvga, qvga}, {ColorSpace::RGB_888, ColorSpace::DEPTH_16}, 15);
  EXPECT_EQ(device->getResolutions(name), (std::vector<Resolution>{qvga, qvga}));
  const std::vector<Image> images = device->getImages(at(100), name);
  ASSERT_EQ(images.size(), 2u);
  EXPECT_EQ(images[0]->getCameraName(), "front");
  device->releaseImages(name);

  // Stored under "Default", looked up under "front" when leaving.
  LogCapture capture;
  const std::string missing = "fusion_0: Camera preference for camera \"front\" doesn't exist.";
  expectFailure<std::runtime_error>([&] { device->unsubscribe(name); }, missing);
  EXPECT_TRUE(capture.contains(2, "vision.videodevice.subscriber", "getCameraPreferences", missing));
  EXPECT_TRUE(device->getSubscribers().empty());
}

TEST(DeviceWithSimulators, SettingsRenegotiateTheCamera) {
  auto device = std::make_shared<VideoDevice>();
  buildMT9M114(device, "front");
  buildXTION(device, "depth");
  LogCapture capture;

  // 300x200 and 60 fps cannot be served: corrected before registering.
  const std::string name = device->subscribeCamera("viewer", "front", {300, 200}, ColorSpace::RGB_888, 60);
  EXPECT_TRUE(capture.contains(5, deviceCategory, "subscribeCamera",
                               "Registered subscriber \"viewer\"\nwith active camera: front, "
                               "resolution: 320x240, colorspace: RGB_888, framerate: 30"));
  EXPECT_EQ(device->getResolution(name), qvga);
  EXPECT_EQ(device->getFrameRate(name), 30);
  EXPECT_EQ(device->getCameraNativeFrameRate("front"), 30);

  device->getImage(at(100), name);
  expectFailure<std::runtime_error>([&] { device->setResolution(name, Resolution::VGA); },
                                    stillProcessingMessage("viewer_0"));
  expectFailure<std::runtime_error>([&] { device->setColorSpace(name, ColorSpace::Y_8); },
                                    stillProcessingMessage("viewer_0"));
  device->setFrameRate(name, 20);  // allowed while holding
  EXPECT_EQ(device->getFrameRate(name), 20);
  EXPECT_EQ(device->getCameraNativeFrameRate("front"), 20);
  device->releaseImage(name);

  device->setResolution(name, Resolution::VGA);
  EXPECT_EQ(device->getCameraNativeResolution("front"), Resolution::VGA);
  const Image vga = device->getImage(at(101), name);
  EXPECT_EQ(vga->getResolution(), Resolution::VGA);
  EXPECT_EQ(vga->getSize(), 640u * 480u * 3u);
  device->releaseImage(name);

  const std::string multi = device->subscribeCameras(
      "fusion", {"front", "depth"}, {qvga, qvga}, {ColorSpace::RGB_888, ColorSpace::DEPTH_16}, 10);
  device->getImages(at(102), multi);
  device->setFrameRate(multi, 25);  // multi-stream, while holding
  EXPECT_EQ(device->getFrameRate(multi), 25);
  EXPECT_EQ(device->getCameraNativeFrameRate("front"), 25);
  device->releaseImages(multi);

  try {
    device->setResolutions(multi, {qvga, qvga, qvga});
    ADD_FAILURE() << "three resolutions for two cameras accepted";
  } catch (const std::invalid_argument& error) {
    const std::string text = error.what();
    EXPECT_EQ(text.substr(text.find('\n') + 1), "Wrong size, parameters size: 3 expected size: 2");
  }
  device->setResolutions(multi, {Resolution::VGA, {160, 120}});
  EXPECT_EQ(device->getResolutions(multi), (std::vector<Resolution>{Resolution::VGA, {160, 120}}));
  EXPECT_EQ(device->getCameraNativeResolution("depth"), Resolution(160, 120));

  expectFailure<std::invalid_argument>(
      [&] { device->setActiveCameras(multi, {"depth", "front", "depth"}); },
      "setActiveCameras(fusion_0): Invalid input parameters, using several time the same camera "
      "is forbidden.");
  EXPECT_EQ(device->getActiveCameras(multi), (std::vector<std::string>{"front", "depth"}));
  EXPECT_EQ(device->getCameraNativeResolution("depth"), Resolution(160, 120));
  EXPECT_EQ(device->getImages(at(103), multi).size(), 2u);
  device->releaseImages(multi);
}

TEST(DeviceWithSimulators, DestroyingTheDeviceReportsSubscribersLeft) {
  LogCapture capture;
  {
    auto device = std::make_shared<VideoDevice>();
    buildMT9M114(device, "front");
    device->subscribeCamera("b", "front", qvga, ColorSpace::RGB_888, 15);
    device->subscribeCamera("a", "front", qvga, ColorSpace::RGB_888, 15);
  }
  EXPECT_TRUE(capture.contains(1, deviceCategory, "~VideoDevicePrivate",
                               "Subscribers still subscribe (a_0 b_0 )"));
}

}  // namespace
}  // namespace videoDevice
