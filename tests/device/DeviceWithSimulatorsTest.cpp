// The device end to end, with simulated cameras built from the catalogue and
// frames pushed through putImage, as an embedding program would use it.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>

#include "DeviceTestHelpers.h"

namespace videoDevice {
namespace {

using namespace test;
using Time = lumo::Clock::time_point;
using Image = std::shared_ptr<const ImageBuffer>;

Time at(int seconds) { return Time(boost::chrono::seconds(seconds)); }

// A uniform frame: every byte of RGB_888, every pixel of DEPTH_16 is `value`.
Image uniformFrame(const std::string& camera, Time stamp, std::uint16_t value,
                   ColorSpace colorSpace = rgb) {
  auto frame = std::make_shared<ImageBuffer>(camera, qvga, colorSpace, true);
  auto* pixels = reinterpret_cast<std::uint16_t*>(frame->getData());
  if (colorSpace == rgb) std::memset(frame->getData(), value, frame->getSize());
  else std::fill(pixels, pixels + frame->getSize() / 2, value);
  frame->setTimeStamp(stamp);
  return frame;
}

// Checks that `image` is RGB 320x240 from `camera`; returns its mean byte value.
double rgbQvgaMean(const Image& image, const std::string& camera) {
  if (!image) {
    ADD_FAILURE() << "no image from " << camera;
    return -1.0;
  }
  EXPECT_EQ(image->getCameraName(), camera);
  EXPECT_EQ(image->getResolution(), qvga);
  EXPECT_EQ(image->getColorSpace(), rgb);
  EXPECT_EQ(image->getSize(), 320u * 240u * 3u);
  double sum = 0;
  for (std::uint64_t i = 0; i < image->getSize(); ++i) sum += image->getData()[i];
  return sum / static_cast<double>(image->getSize());
}

struct DeviceWithSimulators : ::testing::Test {
  DeviceWithSimulators() {
    addSimulator(device, "front", &CameraBuilder::setupSimulatorMT9M114);
    addSimulator(device, "bottom", &CameraBuilder::setupSimulatorMT9M114);
    addSimulator(device, "depth", &CameraBuilder::setupSimulatorXTION);
  }
  std::shared_ptr<VideoDevice> device = std::make_shared<VideoDevice>();
};

TEST_F(DeviceWithSimulators, AMonoSubscriberGetsImagesMadeFromPushedFrames) {
  // 300x200 and 60 fps cannot be served: corrected before registering.
  const std::string name = device->subscribeCamera("viewer", "front", {300, 200}, rgb, 60);
  EXPECT_EQ(device->getResolution(name), qvga);
  EXPECT_EQ(device->getFrameRate(name), 30);
  EXPECT_EQ(device->getCameraNativeFrameRate("front"), 30);
  device->putImage(uniformFrame("front", at(100), 255));
  EXPECT_GT(rgbQvgaMean(device->getImage(at(100), name), "front"), 200.0);

  const std::string busy = stillProcessingMessage("viewer_0");
  expectFailure<std::runtime_error>([&] { device->getImage(at(100), name); }, busy);
  expectFailure<std::runtime_error>([&] { device->setResolution(name, Resolution::VGA); }, busy);
  device->setFrameRate(name, 20);  // allowed while holding
  EXPECT_EQ(device->getCameraNativeFrameRate("front"), 20);
  device->releaseImage(name);

  // A second later a black frame arrives; the white one is too old by then.
  device->putImage(uniformFrame("front", at(101), 0));
  EXPECT_LT(rgbQvgaMean(device->getImage(at(101), name), "front"), 40.0);
  device->releaseImage(name);
  device->setResolution(name, Resolution::VGA);
  EXPECT_EQ(device->getCameraNativeResolution("front"), Resolution::VGA);
  EXPECT_EQ(device->getImage(at(102), name)->getSize(), 640u * 480u * 3u);
  device->releaseImage(name);
  device->unsubscribe(name);
  EXPECT_FALSE(device->isCameraOpen("front"));  // last one out closes it
}

TEST_F(DeviceWithSimulators, SubscribersOnDefaultFollowTheDefaultCamera) {
  const std::string name = device->subscribeCamera("viewer", "Default", qvga, rgb, 15);
  device->putImage(uniformFrame("front", at(100), 255));
  EXPECT_GT(rgbQvgaMean(device->getImage(at(100), name), "front"), 200.0);
  device->releaseImage(name);
  device->setDefaultActiveCamera("bottom");
  EXPECT_EQ(device->getActiveCamera(name), "Default");
  device->putImage(uniformFrame("bottom", at(101), 0));
  EXPECT_LT(rgbQvgaMean(device->getImage(at(101), name), "bottom"), 40.0);
  device->releaseImage(name);
  device->unsubscribe(name);  // finds its preferences under "bottom"
  EXPECT_FALSE(device->isCameraOpen("bottom"));

  // A multi-stream subscription keys its preferences by "Default" as listed
  // but looks them up under the default camera's own name when leaving.
  const std::string fusion = device->subscribeCameras("fusion", {"Default", "depth"}, {qvga, qvga},
                                                      {rgb, ColorSpace::DEPTH_16}, 15);
  device->putImage(uniformFrame("depth", at(102), 1234, ColorSpace::DEPTH_16));
  const std::vector<Image> images = device->getImages(at(102), fusion);
  EXPECT_EQ(images.at(0)->getCameraName(), "bottom");
  // Same-size DEPTH_16 is a plain copy of the pushed frame.
  ASSERT_EQ(images.at(1)->getSize(), 320u * 240u * 2u);
  const auto* depth = reinterpret_cast<const std::uint16_t*>(images[1]->getData());
  EXPECT_EQ(std::count(depth, depth + 320 * 240, 1234), 320 * 240);
  device->releaseImages(fusion);
  expectFailure<std::runtime_error>(
      [&] { device->unsubscribe(fusion); },
      "fusion_0: Camera preference for camera \"bottom\" doesn't exist.");
  EXPECT_TRUE(device->getSubscribers().empty());
}

// Every hold a fetch takes is given back exactly once by the release: when a
// camera is listed twice ("Default" and its own name), and when a release
// fails part-way and is retried, while another subscriber shares the buffer.
TEST_F(DeviceWithSimulators, AReleaseGivesBackEveryHoldExactlyOnce) {
  const std::string twice =
      device->subscribeCameras("twice", {"Default", "front"}, {qvga, qvga}, {rgb, rgb}, 15);
  device->putImage(uniformFrame("front", at(100), 255));
  for (int cycle = 0; cycle < 3; ++cycle) {
    const std::vector<Image> images = device->getImages(at(100), twice);
    ASSERT_EQ(images.size(), 2u);
    EXPECT_EQ(images[0], images[1]);  // one conversion serves both entries
    EXPECT_EQ(images[0]->useCount.load(), 2);
    device->releaseImages(twice);
    EXPECT_EQ(images[0]->useCount.load(), 0);
  }
  // Both entries find front's own-name request when leaving: the second
  // removal is refused, as for any request detached twice.
  expectFailure<std::runtime_error>([&] { device->unsubscribe(twice); },
                                    "front: Can't remove preferences to camera preferences list.");

  // "zeta" sorts after "front": its release fails after front's succeeded.
  auto zeta = acceptingCamera("zeta");
  device->addCamera(zeta);
  const std::string fusion =
      device->subscribeCameras("fusion", {"front", "zeta"}, {qvga, qvga}, {rgb, rgb}, 15);
  const std::string viewer = device->subscribeCamera("viewer", "front", qvga, rgb, 15);
  const Image shared = device->getImages(at(100), fusion).at(0);
  EXPECT_EQ(device->getImage(at(100), viewer), shared);
  EXPECT_EQ(shared->useCount.load(), 2);
  EXPECT_CALL(*zeta, releaseImageBuffer(::testing::_))
      .WillOnce(::testing::Throw(std::runtime_error("zeta: release")))
      .WillRepeatedly(::testing::Return());
  expectFailure<std::runtime_error>([&] { device->releaseImages(fusion); }, "zeta: release");
  EXPECT_EQ(shared->useCount.load(), 1);
  expectFailure<std::runtime_error>([&] { device->getImages(at(100), fusion); },
                                    stillProcessingMessage("fusion_0"));
  device->releaseImages(fusion);  // gives back zeta's buffer only
  EXPECT_EQ(shared->useCount.load(), 1);  // the viewer's hold is intact
  device->releaseImage(viewer);
  EXPECT_EQ(shared->useCount.load(), 0);
  EXPECT_EQ(device->getImages(at(100), fusion).size(), 2u);
  device->releaseImages(fusion);
  device->unsubscribe(fusion);
  device->unsubscribe(viewer);
}

}  // namespace
}  // namespace videoDevice
