#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <videodevice/ImageBuffer.h>

#include "CameraTestSupport.h"
#include "support/LogCapture.h"
#include "support/ScriptedCamera.h"

namespace videoDevice {
namespace test {
namespace {

using Request = std::shared_ptr<CameraPreferences>;

std::shared_ptr<ScriptedCamera> makeCamera() {
  return ScriptedCamera::make("cam", {Resolution(320, 240), Resolution(640, 480)},
                              {ColorSpace::YUV_422, ColorSpace::Y_8, ColorSpace::RGB_888},
                              {15, 30});
}

Request attach(ScriptedCamera& camera, Resolution resolution, ColorSpace colorSpace,
               unsigned short rate) {
  auto request = std::make_shared<CameraPreferences>(resolution, colorSpace, rate);
  camera.addPreferences(request);
  return request;
}

// Every byte of a converted image of grab `frame`, as the scripted device and
// conversion define it (frame byte sizes here are multiples of 256).
void expectConvertedFrame(const ImageBuffer& image, std::uint32_t frame) {
  const unsigned char* data = image.getData();
  std::uint64_t wrong = 0;
  for (std::uint64_t i = 0; i < image.getSize(); ++i)
    if (data[i] != static_cast<unsigned char>(((frame + i) & 0xFF) ^ 0xA5)) ++wrong;
  EXPECT_EQ(wrong, 0u) << "of " << image.getSize() << " bytes differ from frame " << frame;
}

TEST(CameraBufferPools, OneConversionServesEveryMatchingRequestWithinAFramePeriod) {
  auto camera = makeCamera();
  camera->setFieldOfView(FieldOfView{1.0f, 0.75f});
  auto first = attach(*camera, Resolution(320, 240), ColorSpace::RGB_888, 30);
  auto second = attach(*camera, Resolution(320, 240), ColorSpace::RGB_888, 30);

  auto a = camera->getImageBuffer(at(0), *first);
  auto b = camera->getImageBuffer(at(10), *second);
  EXPECT_EQ(a, b);
  EXPECT_EQ(a->useCount.load(), 2);
  EXPECT_EQ(camera->calls("_getDeviceRawImage"), 1);
  EXPECT_EQ(camera->calls("_convertImage"), 1);
  EXPECT_TRUE(camera->isStarted());  // the first request starts streaming

  EXPECT_EQ(a->getResolution(), Resolution(320, 240));
  EXPECT_EQ(a->getColorSpace(), ColorSpace::RGB_888);
  EXPECT_EQ(a->getTimeStamp(), at(0));
  EXPECT_EQ(a->getCameraName(), "cam");
  EXPECT_EQ(a->getFieldOfView().vertical, 0.75f);
  expectConvertedFrame(*a, 1);

  camera->releaseImageBuffer(a);
  camera->releaseImageBuffer(b);
  EXPECT_EQ(camera->useCounts(), (std::vector<std::int32_t>{0, 0}));
}

TEST(CameraBufferPools, FreshnessFollowsTheRequestedFrameRate) {
  auto camera = makeCamera();
  auto request = attach(*camera, Resolution(320, 240), ColorSpace::RGB_888, 30);
  camera->releaseImageBuffer(camera->getImageBuffer(at(0), *request));

  // 1000 / 30 = 33 ms: a frame exactly 33 ms old still serves.
  auto kept = camera->getImageBuffer(at(33), *request);
  EXPECT_EQ(kept->getTimeStamp(), at(0));
  EXPECT_EQ(camera->framesGrabbed(), 1u);
  camera->releaseImageBuffer(kept);

  LogCapture capture;
  auto renewed = camera->getImageBuffer(at(33, 1), *request);
  EXPECT_EQ(camera->framesGrabbed(), 2u);
  EXPECT_EQ(camera->calls("_convertImage"), 2);
  EXPECT_EQ(renewed->getTimeStamp(), at(33, 1));
  expectConvertedFrame(*renewed, 2);
  EXPECT_EQ(cameraMessages(capture, 5),
            (std::vector<std::string>{
                "cam: no raw buffer available.",
                "cam: no valid image buffer, ask a new raw buffer and convert it.",
                "cam: no valid raw buffer available.",
                "cam: no valid raw buffer, get a new one from the device.",
                "cam: Already start.",
                "cam: Convert raw buffer from YUV_422, 320x240 to RGB_888, 320x240"}));
  camera->releaseImageBuffer(renewed);

  // A frame stamped 34 ms before the request is refused.
  camera->stampFramesWith(at(66));
  camera->releaseImageBuffer(camera->getImageBuffer(at(100), *request));
  ASSERT_EQ(camera->framesGrabbed(), 3u);
  camera->stampFramesAtRequestTime();
  auto late = camera->getImageBuffer(at(100), *request);
  EXPECT_EQ(camera->framesGrabbed(), 4u);
  EXPECT_EQ(late->getTimeStamp(), at(100));
  camera->releaseImageBuffer(late);
  // The converted buffer and the raw buffer were reused, not added.
  EXPECT_EQ(camera->convertedPoolSize(), 1u);
  EXPECT_EQ(camera->rawPoolSize(), 1u);
}

TEST(CameraBufferPools, FiveFailedGrabsRestartTheCamera) {
  auto camera = makeCamera();
  auto request = attach(*camera, Resolution(320, 240), ColorSpace::YUV_422, 30);
  camera->setGrabsFail(true);
  LogCapture capture;
  const std::string restart = "Can't get image from cam. Restart the camera.";
  for (int attempt = 1; attempt <= 4; ++attempt)
    EXPECT_THROW(camera->getImageBuffer(at(attempt * 100), *request), std::runtime_error);
  EXPECT_FALSE(capture.hasMessage(2, restart));
  EXPECT_EQ(camera->calls("_releaseDevice"), 0);

  EXPECT_THROW(camera->getImageBuffer(at(500), *request), std::runtime_error);
  EXPECT_TRUE(capture.contains(2, kCameraCategory, "_getDirectRawImageBuffer", restart));
  EXPECT_TRUE(capture.hasMessage(3, "cam: Try to reset"));
  EXPECT_EQ(camera->calls("_releaseDevice"), 1);
  EXPECT_EQ(camera->calls("_getDeviceRawImage"), 5);  // the fifth still grabbed

  camera->setGrabsFail(false);
  auto image = camera->getImageBuffer(at(600), *request);
  EXPECT_EQ(camera->_rawGrabFailures, 0);
  camera->releaseImageBuffer(image);
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

  // A buffer the pool dropped while a subscriber held it is foreign too.
  auto request = attach(*camera, Resolution(320, 240), ColorSpace::YUV_422, 30);
  auto image = camera->getImageBuffer(at(0), *request);
  camera->_buffers.clear();
  EXPECT_THROW(camera->releaseImageBuffer(image), std::runtime_error);
}

TEST(CameraBufferPools, ANewRawBufferIsSizedForTheGreatestMode) {
  auto camera = makeCamera();
  auto request = attach(*camera, Resolution(320, 240), ColorSpace::YUV_422, 30);
  ASSERT_EQ(camera->getNativeResolution(), Resolution(320, 240));

  auto first = camera->getDirectRawImageBuffer(at(0), *request);
  auto second = camera->getDirectRawImageBuffer(at(100), *request);  // first is held
  EXPECT_NE(first, second);
  EXPECT_EQ(camera->rawPoolSize(), 2u);
  camera->releaseImageBuffer(first);
  camera->releaseImageBuffer(second);
  camera->releaseImageBuffer(camera->getDirectRawImageBuffer(at(200), *request));
  EXPECT_EQ(camera->rawPoolSize(), 2u);

  const auto seen = camera->rawBuffersSeenByGrabs();
  ASSERT_EQ(seen.size(), 3u);
  // New buffers: greatest resolution, last colour space; a reused one keeps
  // the description of the frame it held.
  EXPECT_EQ(seen[0], std::make_pair(Resolution(640, 480), ColorSpace::RGB_888));
  EXPECT_EQ(seen[1], std::make_pair(Resolution(640, 480), ColorSpace::RGB_888));
  EXPECT_EQ(seen[2], std::make_pair(Resolution(320, 240), ColorSpace::YUV_422));
  EXPECT_EQ(second->getResolution(), Resolution(320, 240));
}

TEST(CameraBufferPools, PoolsStayBoundedWithASteadyAudience) {
  auto camera = makeCamera();
  std::vector<Request> requests = {
      attach(*camera, Resolution(320, 240), ColorSpace::RGB_888, 30),
      attach(*camera, Resolution(320, 240), ColorSpace::RGB_888, 15),
      attach(*camera, Resolution(640, 480), ColorSpace::Y_8, 15)};
  std::vector<std::shared_ptr<const ImageBuffer>> held(requests.size());
  std::size_t rawAfterWarmUp = 0;
  std::size_t convertedAfterWarmUp = 0;
  for (int cycle = 0; cycle < 300; ++cycle) {
    // Each subscriber gives its image back just before asking again, so it
    // holds one image while the others fetch.
    for (std::size_t s = 0; s < requests.size(); ++s) {
      camera->releaseImageBuffer(held[s]);
      held[s] = camera->getImageBuffer(at(cycle * 23 + static_cast<std::int64_t>(s) * 7),
                                       *requests[s]);
      ASSERT_TRUE(held[s]->isPreferencesValid(*requests[s]));
    }
    if (cycle == 10) {
      rawAfterWarmUp = camera->rawPoolSize();
      convertedAfterWarmUp = camera->convertedPoolSize();
    }
  }
  for (auto& image : held) camera->releaseImageBuffer(image);
  // Raw frames are held only during a conversion; two RGB holders at most
  // need two buffers, the Y_8 holder one.
  EXPECT_EQ(rawAfterWarmUp, 1u);
  EXPECT_EQ(camera->rawPoolSize(), rawAfterWarmUp);
  EXPECT_LE(camera->convertedPoolSize(), 3u);
  EXPECT_EQ(camera->convertedPoolSize(), convertedAfterWarmUp);
  for (std::int32_t count : camera->useCounts()) EXPECT_EQ(count, 0);
}

TEST(CameraBufferPools, ExtraColorSpaceFramesComeFromTheSecondStream) {
  auto camera = makeCamera();
  camera->setExtraColorSpace(ColorSpace::INFRARED_16);
  auto request = attach(*camera, Resolution(320, 240), ColorSpace::INFRARED_16, 30);
  auto image = camera->getImageBuffer(at(0), *request);
  EXPECT_EQ(camera->calls("_getDeviceExtraRawImage"), 1);
  EXPECT_EQ(camera->calls("_getDeviceRawImage"), 0);
  EXPECT_EQ(image->getColorSpace(), ColorSpace::INFRARED_16);
  expectConvertedFrame(*image, 1);
  camera->releaseImageBuffer(image);

  // The extra frame stays in the raw pool, marked by its colour space.
  std::lock_guard<std::mutex> lock(camera->_rawBuffersMutex);
  ASSERT_EQ(camera->_rawBuffers.size(), 1u);
  EXPECT_EQ((*camera->_rawBuffers.begin())->getColorSpace(), ColorSpace::INFRARED_16);
}

}  // namespace
}  // namespace test
}  // namespace videoDevice
