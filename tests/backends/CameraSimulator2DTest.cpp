// The simulated 2D camera end to end through the Camera interface: frames are
// pushed with putImage and read back with getImageBuffer as YUV_422 at the
// native size (a plain copy), so every byte seen is the held frame.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "backends/CameraSimulator2D.h"
#include "support/LogCapture.h"

using namespace videoDevice;

namespace {

const char* kCategory = "vision.videodevice.camerasimulator2d";
using Bytes = std::vector<unsigned char>;
Bytes quad(int y0, int u, int y1, int v) {
  return Bytes{static_cast<unsigned char>(y0), static_cast<unsigned char>(u),
               static_cast<unsigned char>(y1), static_cast<unsigned char>(v)};
}

// Explicit request times, far enough in the past that the clock's "now" is
// always newer than every one of them.
const lumo::Clock::time_point kEpoch =
    lumo::Clock::now() - lumo::Clock::duration(100000000000000LL);
lumo::Clock::time_point at(int seconds) {
  return kEpoch + lumo::Clock::duration(seconds * 1000000000LL);
}

// Configured as the builder configures an MT9M114 simulator, then subscribed.
struct Simulator {
  explicit Simulator(Resolution native,
                     std::set<Resolution> supported = {{320, 240}, {640, 480}, {1280, 960}})
      : camera(std::make_shared<CameraSimulator2D>(std::weak_ptr<VideoDevice>(), "MT9M114", "top")),
        request(std::make_shared<CameraPreferences>(native, ColorSpace::YUV_422, 10)) {
    camera->init();
    camera->setFieldOfView({1.0f, 0.75f});
    camera->setNativelySupportedResolutions(std::move(supported));
    camera->setNativelySupportedColorSpaces({ColorSpace::YUV_422});
    camera->setNativelySupportedFrameRates({5, 10, 15});
  }
  void subscribe() { camera->addPreferences(request); }
  void push(Resolution r, ColorSpace cs, int second,
            const std::function<int(std::uint64_t)>& byte) {
    auto frame = std::make_shared<ImageBuffer>("sim", r, cs, true);
    for (std::uint64_t i = 0; i < frame->getSize(); ++i) frame->getData()[i] = byte(i) & 0xff;
    frame->setTimeStamp(second == 0 ? lumo::Clock::time_point() : at(second));
    camera->putImage(frame);
  }
  // The held frame as seen by a subscriber at `second`.
  Bytes fetch(int second, lumo::Clock::time_point* stamp = nullptr) {
    auto image = camera->getImageBuffer(at(second), *request);
    EXPECT_EQ(image->getResolution(), request->getResolution());
    if (stamp != nullptr) *stamp = image->getTimeStamp();
    Bytes bytes(image->getData(), image->getData() + image->getSize());
    camera->releaseImageBuffer(image);
    return bytes;
  }
  std::shared_ptr<Camera> camera;
  std::shared_ptr<CameraPreferences> request;
};

int clampByte(double v) { return std::min(255, std::max(0, static_cast<int>(v))); }
// Reference colour formula (floor division by 256).
std::array<int, 3> yuv(int r, int g, int b) {
  return {clampByte(std::floor((66 * r + 129 * g + 25 * b + 128) / 256.0) + 16),
          clampByte(std::floor((-38 * r - 74 * g + 112 * b + 128) / 256.0) + 128),
          clampByte(std::floor((112 * r - 94 * g - 18 * b + 128) / 256.0) + 128)};
}
// Expected macropixel of two RGB pixels.
Bytes pair(std::array<int, 3> a, std::array<int, 3> b) {
  auto p = yuv(a[0], a[1], a[2]), q = yuv(b[0], b[1], b[2]);
  return quad(p[0], (p[1] + q[1]) >> 1, q[0], (p[2] + q[2]) >> 1);
}
Bytes macropixel(const Bytes& image, std::uint64_t offset) {
  return Bytes(image.begin() + offset, image.begin() + offset + 4);
}
int pattern(std::uint64_t i) { return static_cast<int>((i * 7 + i / 1000) % 251); }
// The RGB pixel of a pattern frame starting at this byte.
std::array<int, 3> rgbAt(std::uint64_t byte) {
  return {pattern(byte), pattern(byte + 1), pattern(byte + 2)};
}
std::function<int(std::uint64_t)> solid(int value) {
  return [value](std::uint64_t) { return value; };
}

}  // namespace

TEST(CameraSimulator2D, DeliversDefaultThenPushedFramesWithTheirTimeStamps) {
  Simulator sim({640, 480});
  sim.subscribe();
  videoDevice::test::LogCapture capture;
  lumo::Clock::time_point stamp;
  Bytes frame = sim.fetch(10, &stamp);
  EXPECT_EQ(stamp, at(10));
  EXPECT_EQ(frame.size(), 640u * 480 * 2);
  EXPECT_TRUE(std::all_of(frame.begin(), frame.end(), [](unsigned char b) { return b == 0; }));
  const auto messages = capture.messages();
  auto warning = std::find(messages.begin(), messages.end(),
                           "top: Could not get new raw image for subscriber.\nPlease check that "
                           "the simulator is running.");
  auto info = std::find(messages.begin(), messages.end(), "top: generate default image.");
  ASSERT_NE(warning, messages.end());
  EXPECT_LT(warning, info);
  EXPECT_TRUE(capture.contains(4, kCategory, "_getDeviceRawImage", "top: generate default image."));

  // White and black RGB at the native size; a frame is handed out again with its push time.
  sim.push({640, 480}, ColorSpace::RGB_888, 20, solid(255));
  EXPECT_EQ(macropixel(sim.fetch(20), 0), (Bytes{235, 128, 235, 128}));
  const Bytes first = sim.fetch(30, &stamp);
  EXPECT_EQ(stamp, at(20));
  EXPECT_EQ(sim.fetch(40, &stamp), first);
  EXPECT_EQ(stamp, at(20));
  sim.push({640, 480}, ColorSpace::RGB_888, 50, solid(0));
  frame = sim.fetch(50);
  for (std::uint64_t i = 0; i < frame.size(); i += 4)
    ASSERT_EQ(macropixel(frame, i), (Bytes{16, 128, 16, 128}));

  // A push without time stamp is stamped with the clock.
  const auto before = lumo::Clock::now();
  sim.push({640, 480}, ColorSpace::RGB_888, 0, solid(0));
  auto image = sim.camera->getImageBuffer(lumo::Clock::now(), *sim.request);
  EXPECT_GE(image->getTimeStamp(), before);
  EXPECT_LE(image->getTimeStamp(), lumo::Clock::now());
  sim.camera->releaseImageBuffer(image);
}

TEST(CameraSimulator2D, ConvertsRgbAndBgrPixelPairs) {
  Simulator sim({640, 480});
  sim.subscribe();
  // Red, yellow and a varied pattern, checked against the formula pixel by pixel.
  sim.push({640, 480}, ColorSpace::BGR_888, 10,
           [](std::uint64_t i) { return i % 3 == 2 ? 255 : 0; });
  const Bytes bgrRed = sim.fetch(10);
  sim.push({640, 480}, ColorSpace::RGB_888, 20,
           [](std::uint64_t i) { return i % 3 == 0 ? 255 : 0; });
  EXPECT_EQ(sim.fetch(20), bgrRed);
  EXPECT_EQ(macropixel(bgrRed, 0), (Bytes{82, 90, 82, 240}));
  sim.push({640, 480}, ColorSpace::RGB_888, 30,
           [](std::uint64_t i) { return i % 3 == 2 ? 0 : 255; });
  EXPECT_EQ(macropixel(sim.fetch(30), 0), (Bytes{210, 16, 210, 146}));

  sim.push({640, 480}, ColorSpace::RGB_888, 40, pattern);
  const Bytes frame = sim.fetch(40);
  for (std::uint64_t p = 0; p < 640 * 480; p += 2)
    ASSERT_EQ(macropixel(frame, 2 * p), pair(rgbAt(3 * p), rgbAt(3 * p + 3))) << "pixel " << p;
}

TEST(CameraSimulator2D, ResamplesToTheNativeSize) {
  // YUV_422 at half the width: every pixel doubled in both directions.
  Simulator sim({640, 480});
  sim.subscribe();
  sim.push({320, 240}, ColorSpace::YUV_422, 10, pattern);
  Bytes frame = sim.fetch(10);
  for (std::uint64_t y = 0; y < 480; ++y)
    for (std::uint64_t x = 0; x < 640; ++x) {
      const std::uint64_t src = (y / 2) * 640 + (x / 2) * 2;  // byte of the source pixel's luma
      const std::uint64_t chroma = (y / 2) * 640 + (x / 4) * 4;
      ASSERT_EQ(frame[(y * 640 + x) * 2], pattern(src));
      ASSERT_EQ(frame[(y * 640 + x) * 2 + 1], pattern(chroma + 1 + (x % 2) * 2));
    }

  // RGB four times wider: every fourth pixel of every fourth row.
  Simulator small({320, 240});
  small.subscribe();
  small.push({1280, 960}, ColorSpace::RGB_888, 10, pattern);
  frame = small.fetch(10);
  for (std::uint64_t y = 0; y < 240; ++y)
    for (std::uint64_t x = 0; x < 320; x += 2) {
      const std::uint64_t source = (4 * y * 1280 + 4 * x) * 3;
      ASSERT_EQ(macropixel(frame, (y * 320 + x) * 2), pair(rgbAt(source), rgbAt(source + 12)));
    }
}

TEST(CameraSimulator2D, RefusesBadFramesAndKeepsTheHeldOne) {
  Simulator sim({960, 720}, {{320, 240}, {960, 720}});
  videoDevice::test::LogCapture capture;
  // Nobody listens: dropped, and the camera stays closed.
  sim.push({960, 720}, ColorSpace::RGB_888, 5, pattern);
  EXPECT_TRUE(capture.contains(5, kCategory, "_putImage",
                               "top: putImage(): No subscribers use the camera. Drop image."));
  EXPECT_FALSE(sim.camera->isOpen());
  EXPECT_THROW(sim.camera->getExpectedImageParameters(), std::runtime_error);

  sim.subscribe();
  const CameraPreferences expected = sim.camera->getExpectedImageParameters();
  EXPECT_EQ(expected.getResolution(), Resolution(960, 720));
  EXPECT_EQ(expected.getColorSpace(), ColorSpace::YUV_422);
  EXPECT_EQ(expected.getRefreshRate(), 10);

  sim.push({960, 720}, ColorSpace::RGB_888, 10, solid(255));
  const Bytes white = sim.fetch(10);
  auto pushing = [&](Resolution r, ColorSpace cs, int second) {
    return [&sim, r, cs, second] { sim.push(r, cs, second, pattern); };
  };
  auto expectFailure = [&](const std::function<void()>& push, const std::string& message) {
    try {
      push();
      ADD_FAILURE() << "no exception for " << message;
    } catch (const std::exception& error) {
      EXPECT_EQ(error.what(), message);
      EXPECT_TRUE(capture.hasMessage(2, message));
    }
  };
  expectFailure(
      pushing({960, 720}, ColorSpace::Y_8, 20),
      "top: putImage(): Colorspace \"Y_8\" not supported. Please use YUV_422, RGB_888 or BGR_888 "
      "ColorSpace.");
  expectFailure(pushing({1280, 960}, ColorSpace::YUV_422, 20),
                "top: putImage(): Resolution unsupported!");
  expectFailure([&] { sim.camera->putImage(nullptr); },
                "top: Cannot grab image since output buffer is invalid.");
  expectFailure(
      [&] {
        sim.camera->putImage(
            std::make_shared<ImageBuffer>("sim", Resolution(960, 720), ColorSpace::RGB_888, false));
      },
      "top: putImage(): Image data unavailable.");
  lumo::Clock::time_point stamp;
  EXPECT_EQ(sim.fetch(30, &stamp), white);
  EXPECT_EQ(stamp, at(10));

  // Width factor 3: refused, but the held frame already carries the new time stamp.
  const std::string factor = "top: over sampling factor unsupported. Please check resolution.";
  expectFailure(pushing({320, 240}, ColorSpace::YUV_422, 40), factor);
  EXPECT_TRUE(capture.contains(2, kCategory, "_overSampleYUV422toYUV422", factor));
  expectFailure(pushing({320, 240}, ColorSpace::RGB_888, 50), factor);
  EXPECT_EQ(sim.fetch(50, &stamp), white);
  EXPECT_EQ(stamp, at(50));
}

TEST(CameraSimulator2D, StaysInsideBuffersWhenHeightsDoNotScaleWithWidths) {
  // The OV4689 sizes: widths 1344 and 2560 are not whole multiples, and
  // down-scaled sizes of the same aspect ratio are valid pushes too.
  Simulator sim({1344, 376}, {{1344, 376}, {2560, 720}});
  sim.subscribe();
  sim.push({1344, 376}, ColorSpace::RGB_888, 10, solid(255));
  // 670 x 188 YUV doubled: the last source row runs out four pixels early.
  sim.push({670, 188}, ColorSpace::YUV_422, 20, pattern);
  Bytes frame = sim.fetch(20);
  const std::uint64_t row = 1344 * 2, sourceRow = 670 * 2;
  EXPECT_EQ(macropixel(frame, 4), quad(pattern(2), pattern(1), pattern(2), pattern(3)));
  // Row 373 reads its last source macropixel from the start of source row 187.
  EXPECT_EQ(frame[373 * row + row - 4], pattern(187 * sourceRow + 2));
  EXPECT_EQ(macropixel(frame, 374 * row + row - 8), (Bytes{235, 128, 235, 128}));
  EXPECT_EQ(macropixel(frame, 375 * row), (Bytes{235, 128, 235, 128}));

  // 672 x 189 RGB doubled: rows past the native height are dropped.
  sim.push({672, 189}, ColorSpace::RGB_888, 30, pattern);
  frame = sim.fetch(30);
  const std::array<int, 3> last = rgbAt((187 * 672 + 671) * 3);
  EXPECT_EQ(macropixel(frame, frame.size() - 4), pair(last, last));
  // Larger pushes are decimated (factor 1 from the widths) or copied down.
  sim.push({2560, 720}, ColorSpace::RGB_888, 40, pattern);
  EXPECT_EQ(macropixel(sim.fetch(40), 375 * row), pair(rgbAt(375 * 7680), rgbAt(375 * 7680 + 3)));
  sim.push({2560, 720}, ColorSpace::YUV_422, 50, pattern);
  EXPECT_EQ(sim.fetch(50).size(), 1344u * 376 * 2);
}
