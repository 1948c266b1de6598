// The simulated 3D camera through the Camera interface: the depth, raw depth and
// infrared streams, resampling of pushes, refused pushes and the reprojection table.

#include <cmath>
#include <memory>
#include <set>
#include <stdexcept>
#include <vector>

#include "BackendsTestSupport.h"
#include "backends/CameraSimulator3D.h"
#include "conversion/Camera3DTestImages.h"

namespace videoDevice {
namespace {

using namespace test;
using namespace test::depth;
using PixelAt = std::function<std::uint16_t(std::uint64_t, std::uint64_t)>;

const char* const kCategory = "vision.videodevice.camerasimulator3d";
const std::string kNoSimulator = " for subscriber.\nPlease check that the simulator is running.";

struct TestSimulator3D : CameraSimulator3D {
  using CameraSimulator3D::CameraSimulator3D;
  using CameraSimulator3D::_buildLUT;
  using CameraSimulator3D::_lut;
};

// Configured as the builder configures a simulator; subscribed at `size` unless it is empty.
std::shared_ptr<TestSimulator3D> makeCamera(std::set<Resolution> resolutions, Resolution size = {0, 0}) {
  auto camera = std::make_shared<TestSimulator3D>(std::weak_ptr<VideoDevice>(), "test", "cam");
  camera->init();
  camera->setFieldOfView(FieldOfView{1.0f, 0.75f});
  camera->setNativelySupportedResolutions(std::move(resolutions));
  camera->setNativelySupportedColorSpaces({ColorSpace::DEPTH_16});
  camera->setNativelySupportedFrameRates({30});
  if (size.width > 0) camera->addPreferences(std::make_shared<CameraPreferences>(size, ColorSpace::DEPTH_16, 30));
  return camera;
}

std::uint16_t pattern(std::uint64_t x, std::uint64_t y) { return static_cast<std::uint16_t>(1 + x * 100 + y * 7); }
std::uint16_t infrared(std::uint64_t x, std::uint64_t y) { return static_cast<std::uint16_t>(5000 - x * 3 - y * 50); }
std::uint16_t zero(std::uint64_t, std::uint64_t) { return 0; }

void push(Camera& camera, Resolution size, ColorSpace colorSpace, const PixelAt& depthAt, int second) {
  camera.putImage(makeImage(size, colorSpace, depthAt, FieldOfView{1.0f, 0.75f}, "outside", at(second)));
}

// Fetches a frame at `second`, checks its format and every pixel, and returns its time stamp.
lumo::Clock::time_point expectFrame(Camera& camera, int second, Resolution size, ColorSpace colorSpace,
                                    const PixelAt& expected) {
  auto image = camera.getImageBuffer(at(second), CameraPreferences(size, colorSpace, 30));
  EXPECT_EQ(image->getColorSpace(), colorSpace);
  std::vector<std::uint16_t> got, want;
  for (std::uint64_t i = 0; i < size.width * size.height; ++i) {
    want.push_back(expected(i % size.width, i / size.width));
    if (image->getResolution() == size) got.push_back(read16(*image, i));
  }
  EXPECT_EQ(got, want) << colorSpace << " at " << second;
  const auto stamp = image->getTimeStamp();
  camera.releaseImageBuffer(image);
  return stamp;
}

TEST(CameraSimulator3D, ServesZeroFramesUntilEachStreamIsPushed) {
  auto camera = makeCamera({{4, 3}, {8, 6}}, {8, 6});
  LogCapture capture;
  EXPECT_EQ(expectFrame(*camera, 10, {8, 6}, ColorSpace::DEPTH_16, zero), at(10));
  EXPECT_TRUE(capture.contains(3, kCategory, "_getDeviceRawImage", "cam: Could not get depth image" + kNoSimulator));
  // A depth push fills the depth and raw depth images, not the infrared one.
  push(*camera, {8, 6}, ColorSpace::DEPTH_16, pattern, 20);
  EXPECT_EQ(expectFrame(*camera, 20, {8, 6}, ColorSpace::DEPTH_16, pattern), at(20));
  EXPECT_EQ(expectFrame(*camera, 21, {8, 6}, ColorSpace::RAW_DEPTH_16, pattern), at(20));
  EXPECT_EQ(expectFrame(*camera, 22, {8, 6}, ColorSpace::INFRARED_16, zero), at(22));
  EXPECT_TRUE(capture.contains(3, kCategory, "_getDeviceExtraRawImage",
                               "cam: Could not get infrared image" + kNoSimulator));
  push(*camera, {8, 6}, ColorSpace::INFRARED_16, infrared, 23);
  EXPECT_EQ(expectFrame(*camera, 23, {8, 6}, ColorSpace::INFRARED_16, infrared), at(23));
  // Raw depth requests are served by the extra stream too.
  auto fresh = makeCamera({{4, 3}, {8, 6}}, {8, 6});
  EXPECT_EQ(expectFrame(*fresh, 30, {8, 6}, ColorSpace::RAW_DEPTH_16, zero), at(30));
  EXPECT_TRUE(capture.contains(3, kCategory, "_getDeviceExtraRawImage", "cam: Could not get raw image" + kNoSimulator));
}

TEST(CameraSimulator3D, ResamplesPushesAndRefusesBadOnes) {
  LogCapture capture;
  auto camera = makeCamera({{4, 3}, {8, 6}}, {8, 6});
  // Half width: every pixel repeated in both directions, in both held depth images.
  push(*camera, {4, 3}, ColorSpace::DEPTH_16, pattern, 10);
  const PixelAt doubled = [](std::uint64_t x, std::uint64_t y) { return pattern(x / 2, y / 2); };
  expectFrame(*camera, 10, {8, 6}, ColorSpace::DEPTH_16, doubled);
  expectFrame(*camera, 11, {8, 6}, ColorSpace::RAW_DEPTH_16, doubled);
  auto wide = makeCamera({{8, 6}, {24, 18}}, {24, 18});  // width factor 3
  expectFailure<std::runtime_error>([&] { push(*wide, {8, 6}, ColorSpace::DEPTH_16, pattern, 20); },
                                    "cam: over sampling factor unsupported. Please check resolution.");
  // Refused pushes reach no held image; with nobody subscribed they are dropped.
  const std::pair<std::shared_ptr<ImageBuffer>, std::string> cases[] = {
      {makeFilled({8, 6}, ColorSpace::Y_8, 1),
       "cam: putImage(): Colorspace \"Y_8\" not supported. Please use Depth or Infrared ColorSpace."},
      {makeFilled({24, 18}, ColorSpace::DEPTH_16, 1), "cam: putImage(): Resolution unsupported!"}};
  for (const auto& c : cases) expectFailure<std::invalid_argument>([&] { camera->putImage(c.first); }, c.second);
  expectFrame(*camera, 12, {8, 6}, ColorSpace::DEPTH_16, doubled);
  auto idle = makeCamera({{4, 3}, {8, 6}});
  push(*idle, {8, 6}, ColorSpace::DEPTH_16, pattern, 13);
  EXPECT_TRUE(capture.contains(5, kCategory, "_putImage",
                               "cam: putImage(): No subscribers use the camera. Drop image."));
  EXPECT_FALSE(idle->isOpen());
}

TEST(CameraSimulator3D, ReprojectionTable) {
  auto square = makeCamera({{2, 2}});
  square->setFieldOfView(FieldOfView{1.0f, 1.0f});
  square->_buildLUT();
  ASSERT_TRUE(square->_lut.type() == CV_32FC1 && square->_lut.size() == cv::Size(2, 2));
  // Every pixel centre sits a quarter radian off both axes.
  for (int i = 0; i < 4; ++i)
    EXPECT_FLOAT_EQ(square->_lut.at<float>(i / 2, i % 2), 1.0f / (std::cos(0.25f) * std::cos(0.25f)));
}

}  // namespace
}  // namespace videoDevice
