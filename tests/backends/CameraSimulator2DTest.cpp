// The simulated 2D camera through the Camera interface: frames pushed with putImage are read
// back as YUV_422 at the native size (a plain copy), so every byte seen is the held frame.

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <tuple>
#include <vector>

#include <hwy/targets.h>

#include "BackendsTestSupport.h"
#include "backends/CameraSimulator2D.h"

using namespace videoDevice;
using videoDevice::test::at;
using videoDevice::test::expectFailure;

namespace {

const char* kCategory = "vision.videodevice.camerasimulator2d";
using Bytes = std::vector<unsigned char>;
using Fill = std::function<int(std::uint64_t)>;

// Configured as the builder configures a simulator.
struct Simulator {
  explicit Simulator(Resolution native, std::set<Resolution> supported = {{320, 240}, {640, 480}, {1280, 960}},
                     bool subscribed = true)
      : camera(std::make_shared<CameraSimulator2D>(std::weak_ptr<VideoDevice>(), "MT9M114", "top")),
        request(std::make_shared<CameraPreferences>(native, ColorSpace::YUV_422, 10)) {
    camera->init();
    camera->setNativelySupportedResolutions(std::move(supported));
    camera->setNativelySupportedColorSpaces({ColorSpace::YUV_422});
    camera->setNativelySupportedFrameRates({5, 10, 15});
    if (subscribed) camera->addPreferences(request);
  }
  void push(Resolution r, ColorSpace cs, int second, const Fill& byte) {
    auto frame = std::make_shared<ImageBuffer>("sim", r, cs, true);
    for (std::uint64_t i = 0; i < frame->getSize(); ++i) frame->getData()[i] = byte(i) & 0xff;
    frame->setTimeStamp(second == 0 ? lumo::Clock::time_point() : at(second));  // 0: none
    camera->putImage(frame);
  }
  Bytes fetch(lumo::Clock::time_point time, lumo::Clock::time_point* stamp = nullptr) {
    auto image = camera->getImageBuffer(time, *request);
    EXPECT_EQ(image->getResolution(), request->getResolution());
    if (stamp != nullptr) *stamp = image->getTimeStamp();
    Bytes bytes(image->getData(), image->getData() + image->getSize());
    camera->releaseImageBuffer(image);
    return bytes;
  }
  std::shared_ptr<Camera> camera;
  std::shared_ptr<CameraPreferences> request;
};

// Reference colour formula (floor division by 256); the macropixel of two RGB pixels.
int yuv(std::array<int, 3> p, std::array<int, 3> k, int offset) {
  return std::min(255, std::max(0, int(std::floor((k[0] * p[0] + k[1] * p[1] + k[2] * p[2] + 128) / 256.0)) + offset));
}
Bytes pair(std::array<int, 3> a, std::array<int, 3> b) {
  const std::array<int, 3> y{66, 129, 25}, u{-38, -74, 112}, v{112, -94, -18};
  const std::vector<int> out{yuv(a, y, 16), (yuv(a, u, 128) + yuv(b, u, 128)) >> 1, yuv(b, y, 16),
                             (yuv(a, v, 128) + yuv(b, v, 128)) >> 1};
  return Bytes(out.begin(), out.end());
}
// One pixel widened: a macropixel of its own luma and chroma.
Bytes widened(std::array<int, 3> p) {
  const std::array<int, 3> y{66, 129, 25}, u{-38, -74, 112}, v{112, -94, -18};
  return Bytes{Bytes::value_type(yuv(p, y, 16)), Bytes::value_type(yuv(p, u, 128)),
               Bytes::value_type(yuv(p, y, 16)), Bytes::value_type(yuv(p, v, 128))};
}
Bytes macropixel(const Bytes& image, std::uint64_t at) { return Bytes(image.begin() + at, image.begin() + at + 4); }
int pattern(std::uint64_t i) { return static_cast<int>((i * 7 + i / 1000) % 251); }
std::array<int, 3> rgbAt(std::uint64_t byte) { return {pattern(byte), pattern(byte + 1), pattern(byte + 2)}; }
Fill solid(int value) { return [value](std::uint64_t) { return value; }; }

}  // namespace

TEST(CameraSimulator2D, DeliversDefaultThenConvertedAndResampledPushes) {
  Simulator sim({640, 480}), small({320, 240});
  videoDevice::test::LogCapture capture;
  lumo::Clock::time_point stamp;
  EXPECT_EQ(sim.fetch(at(10), &stamp), Bytes(640 * 480 * 2, 0));
  EXPECT_EQ(stamp, at(10));
  EXPECT_TRUE(capture.contains(3, kCategory, "_getDeviceRawImage", "top: Could not get new raw image for subscriber."
                                                                   "\nPlease check that the simulator is running."));
  // White; BGR red is RGB red; a varied RGB frame follows the formula.
  sim.push({640, 480}, ColorSpace::RGB_888, 20, solid(255));
  EXPECT_EQ(macropixel(sim.fetch(at(20)), 0), (Bytes{235, 128, 235, 128}));
  sim.push({640, 480}, ColorSpace::BGR_888, 40, [](std::uint64_t i) { return i % 3 == 2 ? 255 : 0; });
  const Bytes bgrRed = sim.fetch(at(40));
  sim.push({640, 480}, ColorSpace::RGB_888, 50, [](std::uint64_t i) { return i % 3 == 0 ? 255 : 0; });
  EXPECT_EQ(sim.fetch(at(50)), bgrRed);
  sim.push({640, 480}, ColorSpace::RGB_888, 60, pattern);
  Bytes frame = sim.fetch(at(60));
  for (std::uint64_t p = 0; p < 640 * 480; p += 2)
    ASSERT_EQ(macropixel(frame, 2 * p), pair(rgbAt(3 * p), rgbAt(3 * p + 3))) << "pixel " << p;
  // YUV_422 at half the width: every pixel doubled in both directions.
  sim.push({320, 240}, ColorSpace::YUV_422, 70, pattern);
  frame = sim.fetch(at(70));
  for (std::uint64_t i = 0; i < 640 * 480; ++i) {
    const std::uint64_t x = i % 640, row = (i / 1280) * 640;
    ASSERT_EQ(frame[2 * i], pattern(row + (x / 2) * 2)) << i;
    ASSERT_EQ(frame[2 * i + 1], pattern(row + (x / 4) * 4 + 1 + (x % 2) * 2)) << i;
  }
  // RGB four times wider: every fourth pixel of every fourth row.
  small.push({1280, 960}, ColorSpace::RGB_888, 10, pattern);
  frame = small.fetch(at(10));
  for (std::uint64_t p = 0; p < 320 * 240; p += 2) {
    const std::uint64_t source = (4 * (p / 320) * 1280 + 4 * (p % 320)) * 3;
    ASSERT_EQ(macropixel(frame, 2 * p), pair(rgbAt(source), rgbAt(source + 12))) << p;
  }
  // A push without time stamp is stamped with the clock. Last: the buffer
  // fetched "now" is fresher than every explicit request time above.
  const auto before = lumo::Clock::now();
  sim.push({640, 480}, ColorSpace::RGB_888, 0, solid(0));
  sim.fetch(lumo::Clock::now(), &stamp);
  EXPECT_GE(stamp, before);
  EXPECT_LE(stamp, lumo::Clock::now());
}

TEST(CameraSimulator2D, RefusesBadFramesAndKeepsTheHeldOne) {
  Simulator sim({960, 720}, {{320, 240}, {960, 720}}, false);
  videoDevice::test::LogCapture capture;
  // Nobody listens: dropped, and the camera stays closed.
  sim.push({960, 720}, ColorSpace::RGB_888, 5, pattern);
  EXPECT_TRUE(
      capture.contains(5, kCategory, "_putImage", "top: putImage(): No subscribers use the camera. Drop image."));
  EXPECT_FALSE(sim.camera->isOpen());
  expectFailure<std::runtime_error>([&] { sim.camera->getExpectedImageParameters(); }, "Open camera first");
  sim.camera->addPreferences(sim.request);
  const CameraPreferences e = sim.camera->getExpectedImageParameters();
  EXPECT_EQ(std::make_tuple(e.getResolution(), e.getColorSpace(), e.getRefreshRate()),
            std::make_tuple(Resolution(960, 720), ColorSpace::YUV_422, 10));
  sim.push({960, 720}, ColorSpace::RGB_888, 10, solid(255));
  const Bytes white = sim.fetch(at(10));
  auto pushing = [&sim](Resolution r, ColorSpace cs) { return [&sim, r, cs] { sim.push(r, cs, 20, pattern); }; };
  expectFailure<std::invalid_argument>(
      pushing({960, 720}, ColorSpace::Y_8),
      "top: putImage(): Colorspace \"Y_8\" not supported. Please use YUV_422, RGB_888 or BGR_888 ColorSpace.");
  expectFailure<std::invalid_argument>(pushing({1280, 960}, ColorSpace::YUV_422),
                                       "top: putImage(): Resolution unsupported!");
  expectFailure<std::invalid_argument>([&] { sim.camera->putImage(nullptr); },
                                       "top: Cannot grab image since output buffer is invalid.");
  // Width factor 3: refused once the held frame took the new time stamp.
  expectFailure<std::runtime_error>(pushing({320, 240}, ColorSpace::YUV_422),
                                    "top: over sampling factor unsupported. Please check resolution.");
  lumo::Clock::time_point stamp;
  EXPECT_EQ(sim.fetch(at(30), &stamp), white);
  EXPECT_EQ(stamp, at(20));
}

TEST(CameraSimulator2D, StaysInsideBuffersWhenHeightsDoNotScaleWithWidths) {
  // The OV4689 sizes: 2560 is no whole multiple of 1344; down-scaled sizes of
  // the same aspect ratio are valid pushes too. The sanitized run checks bounds.
  Simulator sim({1344, 376}, {{1344, 376}, {2560, 720}});
  // 670 x 188 YUV doubled: the last source row runs out four pixels early and
  // reads its last macropixel from the start of source row 187.
  sim.push({670, 188}, ColorSpace::YUV_422, 20, pattern);
  const std::uint64_t row = 1344 * 2;
  EXPECT_EQ(sim.fetch(at(20))[373 * row + row - 4], pattern(187 * 670 * 2 + 2));
  // 672 x 189 RGB doubled drops the rows past the native height; a larger RGB
  // push is decimated (factor 1 from the widths), a larger YUV one resized.
  sim.push({672, 189}, ColorSpace::RGB_888, 30, pattern);
  const std::array<int, 3> last = rgbAt((187 * 672 + 671) * 3);
  EXPECT_EQ(macropixel(sim.fetch(at(30)), row * 376 - 4), pair(last, last));
  sim.push({2560, 720}, ColorSpace::RGB_888, 40, pattern);
  EXPECT_EQ(macropixel(sim.fetch(at(40)), 375 * row), pair(rgbAt(375 * 7680), rgbAt(375 * 7680 + 3)));
  sim.push({2560, 720}, ColorSpace::YUV_422, 50, pattern);
  sim.fetch(at(50));  // at the native size (checked by fetch), inside both blocks
}

TEST(CameraSimulator2D, OddSizedPushesFollowTheFormulaOnEveryInstructionSet) {
  // Random bytes reach every corner of the formula; odd sizes put pixel pairs
  // across row ends and leave lone pixels and cut macropixels at the end.
  std::mt19937 random(7);
  Bytes noise(321 * 241 * 3);  // the largest push below
  for (auto& byte : noise) byte = static_cast<unsigned char>(random());
  const Fill fromNoise = [&noise](std::uint64_t i) { return noise[i]; };
  const auto at3 = [&noise](std::uint64_t pixel, bool bgr) {
    const unsigned char* p = &noise[3 * pixel];
    return bgr ? std::array<int, 3>{p[2], p[1], p[0]} : std::array<int, 3>{p[0], p[1], p[2]};
  };
  for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
    hwy::SetSupportedTargetsForTest(target);
    SCOPED_TRACE(hwy::TargetName(target));
    // Same size: pairs in memory order; the lone last pixel keeps the
    // zeroed default frame.
    Simulator same({321, 241}, {{321, 241}});
    EXPECT_EQ(same.fetch(at(1)), Bytes(321 * 241 * 2, 0));
    same.push({321, 241}, ColorSpace::RGB_888, 2, fromNoise);
    Bytes frame = same.fetch(at(2));
    for (std::uint64_t p = 0; p + 1 < 321 * 241; p += 2)
      ASSERT_EQ(macropixel(frame, 2 * p), pair(at3(p, false), at3(p + 1, false))) << p;
    EXPECT_EQ(Bytes(frame.end() - 2, frame.end()), Bytes(2, 0));

    // Four times the size: every BGR pixel a 4 x 4 block of its own colour.
    Simulator wider({324, 244}, {{324, 244}, {81, 61}});
    wider.push({81, 61}, ColorSpace::BGR_888, 2, fromNoise);
    frame = wider.fetch(at(2));
    for (std::uint64_t y = 0; y < 244; ++y)
      for (std::uint64_t x = 0; x < 324; x += 2)
        ASSERT_EQ(macropixel(frame, (y * 324 + x) * 2), widened(at3((y / 4) * 81 + x / 4, true)))
            << x << "," << y;

    // A third of the size: every third pixel of every third row; 41 pairs a
    // row fill 81 pixels, so rows follow each other two bytes early and the
    // last macropixel is cut.
    Simulator smaller({81, 61}, {{81, 61}, {243, 183}});
    smaller.push({243, 183}, ColorSpace::RGB_888, 2, fromNoise);
    frame = smaller.fetch(at(2));
    for (std::uint64_t j = 0; 4 * j < frame.size(); ++j) {
      const std::uint64_t first = (j / 41) * 3 * 243 + (j % 41) * 6;
      const Bytes expected = pair(at3(first, false), at3(first + 3, false));
      const std::uint64_t bytes = std::min<std::uint64_t>(4, frame.size() - 4 * j);
      ASSERT_EQ(Bytes(frame.begin() + 4 * j, frame.begin() + 4 * j + bytes),
                Bytes(expected.begin(), expected.begin() + bytes)) << j;
    }
  }
  hwy::SetSupportedTargetsForTest(0);
}
