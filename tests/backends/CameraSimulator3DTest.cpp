#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <videodevice/Camera3D.h>

#include "backends/CameraSimulator3D.h"
#include "conversion/Camera3DTestImages.h"
#include "support/LogCapture.h"

namespace videoDevice {
namespace {

using namespace test::depth;

const char* const kCategory = "vision.videodevice.camerasimulator3d";
const std::string kNoSimulator = "\nPlease check that the simulator is running.";

class TestSimulator3D : public CameraSimulator3D {
 public:
  using CameraSimulator3D::CameraSimulator3D;
  using CameraSimulator3D::_buildLUT;
  using CameraSimulator3D::_getCorrespondentRawColorSpace;
  using CameraSimulator3D::_lut;
};

std::shared_ptr<TestSimulator3D> makeCamera(std::set<Resolution> resolutions) {
  auto camera = std::make_shared<TestSimulator3D>(std::weak_ptr<VideoDevice>(), "test", "cam");
  camera->init();
  camera->setFieldOfView(FieldOfView{1.0f, 0.75f});
  camera->setNativelySupportedResolutions(std::move(resolutions));
  camera->setNativelySupportedColorSpaces({ColorSpace::DEPTH_16});
  camera->setNativelySupportedFrameRates({30});
  return camera;
}

std::shared_ptr<CameraPreferences> subscribe(Camera& camera, Resolution size) {
  auto preferences = std::make_shared<CameraPreferences>(size, ColorSpace::DEPTH_16, 30);
  camera.addPreferences(preferences);
  return preferences;
}

// Request times one second apart, so that no frame is fresh for the next step.
lumo::Clock::time_point at(int seconds) {
  return lumo::Clock::time_point(lumo::Clock::duration(seconds * 1000000000LL));
}

struct Frame {
  Resolution size;
  ColorSpace colorSpace;
  lumo::Clock::time_point stamp;
  std::vector<std::uint16_t> pixels;  // 16-bit formats only
};

Frame copyOut(Camera& camera, const std::shared_ptr<const ImageBuffer>& image) {
  Frame frame{image->getResolution(), image->getColorSpace(), image->getTimeStamp(), {}};
  if (getColorSpaceDepth(frame.colorSpace) == 2)
    for (std::uint64_t i = 0; i < frame.size.width * frame.size.height; ++i)
      frame.pixels.push_back(read16(*image, i));
  camera.releaseImageBuffer(image);
  return frame;
}

Frame get(Camera& camera, lumo::Clock::time_point time, Resolution size, ColorSpace colorSpace) {
  return copyOut(camera, camera.getImageBuffer(time, CameraPreferences(size, colorSpace, 30)));
}

std::uint16_t pattern(std::uint64_t x, std::uint64_t y) {
  return static_cast<std::uint16_t>(1 + x * 100 + y * 7);
}
std::uint16_t otherPattern(std::uint64_t x, std::uint64_t y) {
  return static_cast<std::uint16_t>(5000 - x * 3 - y * 50);
}

void push(Camera& camera, Resolution size, ColorSpace colorSpace,
          std::uint16_t (*depthAt)(std::uint64_t, std::uint64_t), lumo::Clock::time_point stamp) {
  camera.putImage(makeImage(size, colorSpace, depthAt, FieldOfView{1.0f, 0.75f}, "outside", stamp));
}

std::vector<std::uint16_t> expected(Resolution size,
                                    const std::function<std::uint16_t(std::uint64_t, std::uint64_t)>& at) {
  std::vector<std::uint16_t> pixels;
  for (std::uint64_t y = 0; y < size.height; ++y)
    for (std::uint64_t x = 0; x < size.width; ++x) pixels.push_back(at(x, y));
  return pixels;
}

const auto zero = [](std::uint64_t, std::uint64_t) { return std::uint16_t{0}; };

TEST(CameraSimulator3D, DeliversZeroFramesBeforeAnyPush) {
  auto camera = makeCamera({{4, 3}, {8, 6}});
  auto subscriber = subscribe(*camera, {8, 6});
  test::LogCapture capture;

  const Frame depth = get(*camera, at(10), {8, 6}, ColorSpace::DEPTH_16);
  EXPECT_EQ(depth.size, Resolution(8, 6));
  EXPECT_EQ(depth.colorSpace, ColorSpace::DEPTH_16);
  EXPECT_EQ(depth.stamp, at(10));
  EXPECT_EQ(depth.pixels, expected({8, 6}, zero));
  EXPECT_TRUE(capture.contains(3, kCategory, "_getDeviceRawImage",
                               "cam: Could not get depth image for subscriber." + kNoSimulator));
  EXPECT_TRUE(capture.contains(4, kCategory, "_getDeviceRawImage", "cam: generate default image."));

  // The raw depth image was zeroed alongside, with the same stamp: the extra
  // stream serves it without generating anything.
  capture.clear();
  const Frame raw = get(*camera, at(11), {8, 6}, ColorSpace::RAW_DEPTH_16);
  EXPECT_EQ(raw.colorSpace, ColorSpace::RAW_DEPTH_16);
  EXPECT_EQ(raw.stamp, at(10));
  EXPECT_EQ(raw.pixels, expected({8, 6}, zero));
  EXPECT_TRUE(capture.messages(3).empty());

  const Frame infrared = get(*camera, at(12), {8, 6}, ColorSpace::INFRARED_16);
  EXPECT_EQ(infrared.colorSpace, ColorSpace::INFRARED_16);
  EXPECT_EQ(infrared.stamp, at(12));
  EXPECT_EQ(infrared.pixels, expected({8, 6}, zero));
  EXPECT_TRUE(capture.contains(3, kCategory, "_getDeviceExtraRawImage",
                               "cam: Could not get infrared image for subscriber." + kNoSimulator));
  camera->removePreferences(subscriber);
}

TEST(CameraSimulator3D, DirectExtraRequestBeforeAnyPushGeneratesRawDepth) {
  auto camera = makeCamera({{4, 3}, {8, 6}});
  auto subscriber = subscribe(*camera, {8, 6});
  test::LogCapture capture;
  const Frame raw = copyOut(*camera, camera->getDirectRawExtraColorSpaceImageBuffer(
                                         at(20), CameraPreferences({8, 6}, ColorSpace::RAW_DEPTH_16, 30)));
  EXPECT_EQ(raw.size, Resolution(8, 6));
  EXPECT_EQ(raw.colorSpace, ColorSpace::RAW_DEPTH_16);
  EXPECT_EQ(raw.stamp, at(20));
  EXPECT_EQ(raw.pixels, expected({8, 6}, zero));
  EXPECT_TRUE(capture.contains(3, kCategory, "_getDeviceExtraRawImage",
                               "cam: Could not get raw image for subscriber." + kNoSimulator));
  EXPECT_TRUE(capture.contains(4, kCategory, "_getDeviceExtraRawImage",
                               "cam: generate default image."));
  camera->removePreferences(subscriber);
}

TEST(CameraSimulator3D, DepthAndInfraredPushesFillTheirOwnStreams) {
  test::LogCapture quiet;
  auto camera = makeCamera({{4, 3}, {8, 6}});
  auto subscriber = subscribe(*camera, {8, 6});
  push(*camera, {8, 6}, ColorSpace::DEPTH_16, pattern, at(30));

  const Frame depth = get(*camera, at(30), {8, 6}, ColorSpace::DEPTH_16);
  EXPECT_EQ(depth.stamp, at(30));
  EXPECT_EQ(depth.pixels, expected({8, 6}, pattern));
  const Frame raw = get(*camera, at(31), {8, 6}, ColorSpace::RAW_DEPTH_16);
  EXPECT_EQ(raw.stamp, at(30));
  EXPECT_EQ(raw.pixels, expected({8, 6}, pattern));
  // Depth pushes leave the infrared stream alone.
  const Frame noInfrared = get(*camera, at(32), {8, 6}, ColorSpace::INFRARED_16);
  EXPECT_EQ(noInfrared.stamp, at(32));
  EXPECT_EQ(noInfrared.pixels, expected({8, 6}, zero));

  push(*camera, {8, 6}, ColorSpace::INFRARED_16, otherPattern, at(33));
  const Frame infrared = get(*camera, at(33), {8, 6}, ColorSpace::INFRARED_16);
  EXPECT_EQ(infrared.stamp, at(33));
  EXPECT_EQ(infrared.pixels, expected({8, 6}, otherPattern));
  // Down-scaled infrared comes from the same frame.
  const Frame small = get(*camera, at(34), {4, 3}, ColorSpace::INFRARED_16);
  EXPECT_EQ(small.pixels, expected({4, 3}, [](std::uint64_t x, std::uint64_t y) {
              return otherPattern(2 * x, 2 * y);
            }));
  const Frame depthAgain = get(*camera, at(35), {8, 6}, ColorSpace::DEPTH_16);
  EXPECT_EQ(depthAgain.pixels, expected({8, 6}, pattern));
  camera->removePreferences(subscriber);
}

TEST(CameraSimulator3D, PushedFramesAreResampledToTheNativeSize) {
  auto camera = makeCamera({{4, 3}, {8, 6}, {16, 12}});
  auto subscriber = subscribe(*camera, {8, 6});
  test::LogCapture capture;

  // Half width: every pixel repeated in both directions, in both held images.
  push(*camera, {4, 3}, ColorSpace::DEPTH_16, pattern, at(40));
  const auto doubled = expected({8, 6}, [](std::uint64_t x, std::uint64_t y) {
    return pattern(x / 2, y / 2);
  });
  EXPECT_EQ(get(*camera, at(40), {8, 6}, ColorSpace::DEPTH_16).pixels, doubled);
  EXPECT_EQ(get(*camera, at(41), {8, 6}, ColorSpace::RAW_DEPTH_16).pixels, doubled);
  EXPECT_TRUE(capture.contains(5, kCategory, "_overSampleDepth16toDepth16",
                               "cam: putImage: over sample input image to DEPTH_16"));

  // Twice the native size: every other pixel and row.
  push(*camera, {16, 12}, ColorSpace::DEPTH_16, pattern, at(42));
  EXPECT_EQ(get(*camera, at(42), {8, 6}, ColorSpace::DEPTH_16).pixels,
            expected({8, 6}, [](std::uint64_t x, std::uint64_t y) { return pattern(2 * x, 2 * y); }));
  camera->removePreferences(subscriber);
}

TEST(CameraSimulator3D, OverSamplingByThreeIsRefused) {
  auto camera = makeCamera({{8, 6}, {24, 18}});
  auto subscriber = subscribe(*camera, {24, 18});
  test::LogCapture capture;
  const std::string message = "cam: over sampling factor unsupported. Please check resolution.";
  try {
    push(*camera, {8, 6}, ColorSpace::DEPTH_16, pattern, at(50));
    ADD_FAILURE() << "factor 3 accepted";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(std::string(error.what()), message);
  }
  EXPECT_TRUE(capture.contains(2, kCategory, "_overSampleDepth16toDepth16", message));
  // The held frame already took the new stamp; its pixels were never written.
  const Frame depth = get(*camera, at(50), {24, 18}, ColorSpace::DEPTH_16);
  EXPECT_EQ(depth.stamp, at(50));
  EXPECT_EQ(depth.size, Resolution(24, 18));
  camera->removePreferences(subscriber);
}

TEST(CameraSimulator3D, ExtraStreamKeepsItsFrameWhenTheNativeSizeChanges) {
  test::LogCapture quiet;
  auto camera = makeCamera({{4, 3}, {8, 6}, {16, 12}});
  auto small = subscribe(*camera, {8, 6});
  push(*camera, {8, 6}, ColorSpace::DEPTH_16, pattern, at(60));
  auto large = subscribe(*camera, {16, 12});
  ASSERT_EQ(camera->getNativeResolution(), Resolution(16, 12));

  // The extra stream still serves the 8 x 6 frame it holds...
  const Frame raw = get(*camera, at(61), {8, 6}, ColorSpace::RAW_DEPTH_16);
  EXPECT_EQ(raw.pixels, expected({8, 6}, pattern));
  // ...while the main stream regenerates at the new native size.
  const Frame depth = get(*camera, at(62), {16, 12}, ColorSpace::DEPTH_16);
  EXPECT_EQ(depth.stamp, at(62));
  EXPECT_EQ(depth.pixels, expected({16, 12}, zero));
  camera->removePreferences(large);
  camera->removePreferences(small);
}

TEST(CameraSimulator3D, RefusedAndDroppedPushes) {
  auto camera = makeCamera({{4, 3}, {8, 6}});
  test::LogCapture capture;

  // Nobody subscribed: dropped silently, the camera stays closed.
  push(*camera, {8, 6}, ColorSpace::DEPTH_16, pattern, at(70));
  EXPECT_TRUE(capture.contains(5, kCategory, "_putImage",
                               "cam: putImage(): No subscribers use the camera. Drop image."));
  EXPECT_FALSE(camera->isOpen());

  auto subscriber = subscribe(*camera, {8, 6});
  const std::string colorSpaceMessage =
      "cam: putImage(): Colorspace \"Y_8\" not supported. Please use Depth or Infrared ColorSpace.";
  const std::string sizeMessage = "cam: putImage(): Resolution unsupported!";
  for (const auto& [image, message] :
       {std::make_pair(makeFilled({8, 6}, ColorSpace::Y_8, 1), colorSpaceMessage),
        std::make_pair(makeFilled({8, 6}, ColorSpace::RAW_DEPTH_16, 1),
                       std::string("cam: putImage(): Colorspace \"RAW_DEPTH_16\" not supported. "
                                   "Please use Depth or Infrared ColorSpace.")),
        std::make_pair(makeFilled({16, 12}, ColorSpace::DEPTH_16, 1), sizeMessage),
        std::make_pair(makeFilled({6, 6}, ColorSpace::DEPTH_16, 1), sizeMessage)}) {
    try {
      camera->putImage(image);
      ADD_FAILURE() << "accepted: " << message;
    } catch (const std::invalid_argument& error) {
      EXPECT_EQ(std::string(error.what()), message);
    }
    EXPECT_TRUE(capture.contains(2, kCategory, "_putImage", message)) << message;
  }
  // Nothing refused reached the held images.
  EXPECT_EQ(get(*camera, at(71), {8, 6}, ColorSpace::DEPTH_16).pixels, expected({8, 6}, zero));
  camera->removePreferences(subscriber);
}

TEST(CameraSimulator3D, ReprojectionTableFollowsTheFieldOfView) {
  auto square = makeCamera({{2, 2}});
  square->setFieldOfView(FieldOfView{1.0f, 1.0f});
  EXPECT_TRUE(square->_lut.empty());
  test::LogCapture capture;
  square->_buildLUT();
  EXPECT_TRUE(capture.contains(5, kCategory, "_buildLUT", "cam Build reprojection LUT (2x2)."));
  ASSERT_EQ(square->_lut.type(), CV_32FC1);
  ASSERT_EQ(square->_lut.rows, 2);
  ASSERT_EQ(square->_lut.cols, 2);
  // Every pixel centre sits a quarter radian off both axes.
  const float corner = 1.0f / (std::cos(0.25f) * std::cos(0.25f));
  for (int r = 0; r < 2; ++r)
    for (int c = 0; c < 2; ++c) EXPECT_FLOAT_EQ(square->_lut.at<float>(r, c), corner);

  // Built on the first conversion, at the largest supported size, whatever
  // the size converted; the table serves the conversion it was built for.
  auto camera = makeCamera({{4, 3}, {8, 6}});
  auto subscriber = subscribe(*camera, {4, 3});
  push(*camera, {4, 3}, ColorSpace::DEPTH_16, pattern, at(80));
  EXPECT_TRUE(camera->_lut.empty());
  const auto grey = camera->getImageBuffer(at(80), CameraPreferences({4, 3}, ColorSpace::Y_8, 30));
  EXPECT_EQ(camera->_lut.rows, 6);
  EXPECT_EQ(camera->_lut.cols, 8);
  for (std::uint64_t y = 0; y < 3; ++y)
    for (std::uint64_t x = 0; x < 4; ++x) {
      const int d = pattern(x, y);
      EXPECT_EQ(grey->getData()[y * 4 + x], d <= 400 ? 0 : ((d - 400) / 16) % 256);
    }
  camera->releaseImageBuffer(grey);
  camera->removePreferences(subscriber);
}

TEST(CameraSimulator3D, ColorSpacesAndExpectedParameters) {
  auto camera = makeCamera({{4, 3}, {8, 6}});
  EXPECT_TRUE(camera->isSimulated());
  for (int value = 0; value <= 24; ++value) {
    const auto colorSpace = static_cast<ColorSpace>(value);
    const bool extra = colorSpace == ColorSpace::INFRARED_16 || colorSpace == ColorSpace::RAW_DEPTH_16;
    EXPECT_EQ(camera->isExtraColorSpace(colorSpace), extra) << value;
    EXPECT_EQ(camera->isColorSpaceValid(colorSpace), Camera3D::isColorSpaceValid(colorSpace))
        << value;
    EXPECT_EQ(camera->_getCorrespondentRawColorSpace(colorSpace),
              extra ? colorSpace : ColorSpace::DEPTH_16)
        << value;
  }

  try {
    camera->getExpectedImageParameters();
    ADD_FAILURE() << "a closed camera answered";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(std::string(error.what()), "Open camera first");
  }
  auto subscriber = subscribe(*camera, {8, 6});
  const CameraPreferences expectedParameters = camera->getExpectedImageParameters();
  EXPECT_EQ(expectedParameters.getResolution(), Resolution(8, 6));
  EXPECT_EQ(expectedParameters.getColorSpace(), ColorSpace::DEPTH_16);
  EXPECT_EQ(expectedParameters.getRefreshRate(), 30);
  camera->removePreferences(subscriber);
}

TEST(CameraSimulator3D, DestructionClosesTheCamera) {
  auto camera = makeCamera({{4, 3}, {8, 6}});
  camera->open();
  ASSERT_TRUE(camera->isOpen());
  test::LogCapture capture;
  camera.reset();
  EXPECT_TRUE(capture.hasMessage(5, "cam: Closing"));
}

}  // namespace
}  // namespace videoDevice
