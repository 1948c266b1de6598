// The raw and converted buffer pools. Concurrent use is left to the soak
// (tests/stress), which drives the same pools through the whole device.
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CameraTestSupport.h"

namespace videoDevice {
namespace test {
namespace {

std::shared_ptr<ScriptedCamera> makeCamera() {
  return ScriptedCamera::make(
      "cam", {Resolution(160, 120), Resolution(320, 240), Resolution(640, 480)},
      {ColorSpace::YUV_422, ColorSpace::Y_8, ColorSpace::RGB_888}, {5, 10, 15, 30});
}

// Converted byte i of grab n is ((n + i) mod 256) XOR 0xA5 (frame byte sizes
// here are multiples of 256). Returns n mod 256, or -1 when bytes disagree.
int frameOf(const ImageBuffer& image) {
  const unsigned char* data = image.getData();
  const unsigned frame = data[0] ^ 0xA5;
  for (std::uint64_t i = 0; i < image.getSize(); ++i)
    if (data[i] != static_cast<unsigned char>(((frame + i) & 0xFF) ^ 0xA5)) return -1;
  return static_cast<int>(frame);
}

TEST(CameraBufferPools, OneConversionServesMatchingRequestsWhileFresh) {
  auto camera = makeCamera();
  auto first = attach(*camera, Resolution(320, 240), ColorSpace::RGB_888, 30);
  auto second = attach(*camera, Resolution(320, 240), ColorSpace::RGB_888, 30);
  auto a = camera->getImageBuffer(at(0), *first);
  auto b = camera->getImageBuffer(at(10), *second);
  EXPECT_EQ(a, b);
  EXPECT_EQ(a->useCount.load(), 2);
  EXPECT_EQ(camera->calls("_convertImage"), 1);
  EXPECT_TRUE(a->isPreferencesValid(*first));
  EXPECT_EQ(a->getTimeStamp(), at(0));
  EXPECT_EQ(frameOf(*a), 1);
  camera->releaseImageBuffer(a);
  camera->releaseImageBuffer(b);

  // 1000 / 30 = 33 ms: a frame 33 ms old still serves, 34 ms old does not.
  auto kept = camera->getImageBuffer(at(33), *first);
  EXPECT_EQ(kept->getTimeStamp(), at(0));
  EXPECT_EQ(camera->calls("_getDeviceRawImage"), 1);
  camera->releaseImageBuffer(kept);
  auto renewed = camera->getImageBuffer(at(34), *first);
  EXPECT_EQ(camera->calls("_getDeviceRawImage"), 2);
  EXPECT_EQ(camera->calls("_convertImage"), 2);
  EXPECT_EQ(renewed->getTimeStamp(), at(34));
  EXPECT_EQ(frameOf(*renewed), 2);
  camera->releaseImageBuffer(renewed);
  EXPECT_EQ(camera->useCounts(), (std::vector<std::int32_t>{0, 0}));  // reused, not added
}

TEST(CameraBufferPools, FiveFailedGrabsRestartTheCamera) {
  auto camera = makeCamera();
  auto request = attach(*camera, Resolution(320, 240), ColorSpace::YUV_422, 30);
  camera->grabsFail = true;
  for (int attempt = 1; attempt <= 5; ++attempt) {
    EXPECT_EQ(camera->calls("_releaseDevice"), 0);
    EXPECT_THROW(camera->getImageBuffer(at(attempt * 100), *request), std::runtime_error);
  }
  EXPECT_EQ(camera->calls("_releaseDevice"), 1);
  EXPECT_TRUE(camera->isOpen());

  camera->grabsFail = false;
  camera->releaseImageBuffer(camera->getImageBuffer(at(600), *request));
  EXPECT_EQ(camera->_rawGrabFailures, 0);
  for (std::int32_t count : camera->useCounts()) EXPECT_EQ(count, 0);
}

TEST(CameraBufferPools, ReleasingChecksOwnership) {
  auto camera = makeCamera();
  LogCapture capture;
  camera->releaseImageBuffer(nullptr);
  EXPECT_TRUE(capture.contains(3, kCameraCategory, "_releaseImageBuffer",
                               "cam: try to release empty buffer."));
  auto foreign = std::make_shared<ImageBuffer>("other", Resolution(4, 4), ColorSpace::Y_8, true);
  foreign->useCount = 3;
  const std::string text = "cam: buffer is not owned by camera anymore. Buffer count:3";
  EXPECT_EQ(thrownMessage<std::runtime_error>([&] { camera->releaseImageBuffer(foreign); }), text);
  EXPECT_TRUE(capture.contains(1, kCameraCategory, "_releaseImageBuffer", text));
  EXPECT_EQ(foreign->useCount.load(), 3);

  // A buffer of the pool given back once more than it was taken is refused
  // the same way, and stays free instead of going below zero.
  auto request = attach(*camera, Resolution(320, 240), ColorSpace::RGB_888, 30);
  auto image = camera->getImageBuffer(at(0), *request);
  camera->releaseImageBuffer(image);
  EXPECT_EQ(thrownMessage<std::runtime_error>([&] { camera->releaseImageBuffer(image); }),
            "cam: buffer is not owned by camera anymore. Buffer count:0");
  EXPECT_EQ(image->useCount.load(), 0);
  EXPECT_EQ(camera->getImageBuffer(at(10), *request), image);  // still free, served again
  camera->releaseImageBuffer(image);
}

// Request times and time stamps at the ends of the clock's range: the age of
// a frame saturates instead of overflowing, so the newest frame still wins
// and a frame from the far past is never fresh.
TEST(CameraBufferPools, AgesAtTheEndsOfTheClockRange) {
  using Time = lumo::Clock::time_point;
  auto camera = makeCamera();
  auto request = attach(*camera, Resolution(320, 240), ColorSpace::RGB_888, 30);
  auto past = camera->getImageBuffer(Time::min(), *request);
  EXPECT_EQ(past->getTimeStamp(), Time::min());
  camera->releaseImageBuffer(past);
  auto future = camera->getImageBuffer(Time::max(), *request);  // min is too old for max
  EXPECT_EQ(camera->calls("_getDeviceRawImage"), 2);
  EXPECT_EQ(future->getTimeStamp(), Time::max());
  camera->releaseImageBuffer(future);
  auto again = camera->getImageBuffer(Time::min(), *request);  // stamped after: fresh
  EXPECT_EQ(camera->calls("_getDeviceRawImage"), 2);
  EXPECT_EQ(again->getTimeStamp(), Time::max());
  camera->releaseImageBuffer(again);
}

TEST(CameraBufferPools, ANewRawBufferIsSizedForTheGreatestMode) {
  auto camera = makeCamera();
  auto request = attach(*camera, Resolution(320, 240), ColorSpace::YUV_422, 30);
  ASSERT_EQ(camera->getNativeResolution(), Resolution(320, 240));
  auto first = camera->getDirectRawImageBuffer(at(0), *request);
  auto second = camera->getDirectRawImageBuffer(at(100), *request);  // first is held
  EXPECT_NE(first, second);
  EXPECT_EQ(camera->rawPoolSize(), 2u);
  EXPECT_EQ(camera->rawBuffersSeenByGrabs(),
            (std::vector<Resolution>{Resolution(640, 480), Resolution(640, 480)}));
}

TEST(CameraBufferPools, PoolsStayBoundedWithASteadyAudience) {
  auto camera = makeCamera();
  const std::vector<Request> requests = {
      attach(*camera, Resolution(320, 240), ColorSpace::RGB_888, 30),
      attach(*camera, Resolution(320, 240), ColorSpace::RGB_888, 15),
      attach(*camera, Resolution(640, 480), ColorSpace::Y_8, 15)};
  std::vector<std::shared_ptr<const ImageBuffer>> held(requests.size());
  for (int cycle = 0; cycle < 200; ++cycle) {
    // Each subscriber holds one image while the others fetch.
    for (std::size_t s = 0; s < requests.size(); ++s) {
      camera->releaseImageBuffer(held[s]);
      held[s] =
          camera->getImageBuffer(at(cycle * 23 + static_cast<std::int64_t>(s) * 7), *requests[s]);
      ASSERT_TRUE(held[s]->isPreferencesValid(*requests[s]));
    }
  }
  for (auto& image : held) camera->releaseImageBuffer(image);
  // Raw frames are held only during a conversion; two RGB holders need at
  // most two buffers, the Y_8 holder one.
  EXPECT_EQ(camera->rawPoolSize(), 1u);
  EXPECT_LE(camera->convertedPoolSize(), 3u);
  for (std::int32_t count : camera->useCounts()) EXPECT_EQ(count, 0);
}

}  // namespace
}  // namespace test
}  // namespace videoDevice
