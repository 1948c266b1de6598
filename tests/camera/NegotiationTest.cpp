#include <memory>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "CameraTestSupport.h"
#include "support/LogCapture.h"
#include "support/ScriptedCamera.h"

namespace videoDevice {
namespace test {
namespace {

using Request = std::shared_ptr<CameraPreferences>;

Request request(Resolution resolution, ColorSpace colorSpace, unsigned short rate) {
  return std::make_shared<CameraPreferences>(resolution, colorSpace, rate);
}

std::shared_ptr<ScriptedCamera> makeCamera() {
  return ScriptedCamera::make("cam",
                              {Resolution(160, 120), Resolution(320, 240), Resolution(640, 480)},
                              {ColorSpace::YUV_422, ColorSpace::RGB_888}, {5, 10, 15, 30});
}

TEST(CameraNegotiation, RequestsAreValidUpToTheLargestSizeAndRate) {
  auto camera = ScriptedCamera::make("cam", {Resolution(640, 480)}, {ColorSpace::YUV_422}, {15, 30});
  EXPECT_TRUE(camera->isResolutionValid(Resolution(640, 480)));
  EXPECT_TRUE(camera->isResolutionValid(Resolution(320, 240)));
  EXPECT_TRUE(camera->isResolutionValid(Resolution(80, 60)));
  EXPECT_TRUE(camera->isResolutionValid(Resolution(4, 3)));
  EXPECT_FALSE(camera->isResolutionValid(Resolution(1280, 960)));
  EXPECT_FALSE(camera->isResolutionValid(Resolution(320, 200)));
  EXPECT_FALSE(camera->isResolutionValid(Resolution(640, 481)));
  EXPECT_TRUE(camera->isFrameRateValid(7));  // between the supported rates
  EXPECT_FALSE(camera->isFrameRateValid(0));
  EXPECT_FALSE(camera->isFrameRateValid(31));

  LogCapture capture;
  EXPECT_TRUE(camera->isValidRequest(CameraPreferences(Resolution(80, 60), ColorSpace::YUV_422, 7)));
  EXPECT_FALSE(camera->isValidRequest(CameraPreferences(Resolution(320, 200), ColorSpace::RGB_888, 0)));
  EXPECT_FALSE(camera->isValidRequest(CameraPreferences(Resolution(320, 240), ColorSpace::RGB_888, 0)));
  EXPECT_FALSE(camera->isValidRequest(CameraPreferences(Resolution(320, 240), ColorSpace::YUV_422, 0)));
  // One message per refusal: the first failing check.
  EXPECT_EQ(cameraMessages(capture, 2),
            (std::vector<std::string>{"cam: resolution 320x200 not supported by device.",
                                      "cam: colorspace RGB_888 not supported by device.",
                                      "cam: frame rate 0 not supported by the device."}));
}

TEST(CameraNegotiation, NativeModeFollowsTheLargestRequests) {
  auto camera = makeCamera();
  auto small = request(Resolution(320, 240), ColorSpace::RGB_888, 15);
  auto large = request(Resolution(640, 480), ColorSpace::YUV_422, 30);
  camera->addPreferences(small);
  EXPECT_TRUE(camera->isOpen());
  EXPECT_FALSE(camera->isStarted());  // attaching does not stream yet
  camera->addPreferences(large);
  EXPECT_TRUE(camera->isInUse());
  EXPECT_EQ(camera->getNativeResolution(), Resolution(640, 480));
  EXPECT_EQ(camera->getNativeFrameRate(), 30);
  EXPECT_EQ(camera->getNativeColorSpace(), ColorSpace::YUV_422);  // never follows requests

  LogCapture capture;
  camera->removePreferences(large);
  EXPECT_EQ(camera->getNativeResolution(), Resolution(320, 240));
  EXPECT_EQ(camera->getNativeFrameRate(), 15);
  EXPECT_TRUE(capture.contains(5, kCameraCategory, "_update",
                               "cam update resolution from 640x480 to 320x240"));
  EXPECT_TRUE(capture.contains(5, kCameraCategory, "_update", "cam update frame rate from 30 to 15"));

  // A rate between supported ones is served by the next faster mode.
  camera->removePreferences(small);
  camera->addPreferences(request(Resolution(160, 120), ColorSpace::YUV_422, 12));
  EXPECT_EQ(camera->getNativeFrameRate(), 15);
  EXPECT_EQ(camera->getNativeResolution(), Resolution(160, 120));
}

TEST(CameraNegotiation, SizesAreRoundedUpToASupportedMode) {
  auto camera = makeCamera();
  camera->addPreferences(request(Resolution(200, 150), ColorSpace::YUV_422, 5));
  EXPECT_EQ(camera->getNativeResolution(), Resolution(320, 240));
  EXPECT_EQ(camera->getNativeFrameRate(), 5);
}

TEST(CameraNegotiation, KeepAliveDecidesWhetherTheLastDepartureCloses) {
  auto camera = makeCamera();
  auto only = request(Resolution(320, 240), ColorSpace::RGB_888, 30);
  camera->addPreferences(only);
  // Leaving takes one raw and one matching converted buffer out of the pools.
  camera->releaseImageBuffer(camera->getImageBuffer(at(0), *only));
  ASSERT_EQ(camera->rawPoolSize(), 1u);
  ASSERT_EQ(camera->convertedPoolSize(), 1u);
  camera->removePreferences(only);
  EXPECT_FALSE(camera->isInUse());
  EXPECT_FALSE(camera->isOpen());
  EXPECT_EQ(camera->rawPoolSize(), 0u);
  EXPECT_EQ(camera->convertedPoolSize(), 0u);

  camera->addPreferences(only);
  camera->setParameter(Parameter::KEEP_ALIVE, 1);
  camera->removePreferences(only);
  EXPECT_TRUE(camera->isOpen());
}

TEST(CameraNegotiation, AttachingAndDetachingTwiceFail) {
  auto camera = makeCamera();
  auto once = request(Resolution(320, 240), ColorSpace::RGB_888, 30);
  camera->addPreferences(once);
  LogCapture capture;
  EXPECT_EQ(thrownMessage<std::runtime_error>([&] { camera->addPreferences(once); }),
            "cam: Can't insert preferences to camera preferences list.");
  EXPECT_TRUE(capture.contains(2, kCameraCategory, "addPreferences",
                               "cam: Can't insert preferences to camera preferences list."));
  // An equal request is another subscriber's: accepted.
  auto equal = request(Resolution(320, 240), ColorSpace::RGB_888, 30);
  camera->addPreferences(equal);
  camera->removePreferences(once);
  EXPECT_EQ(thrownMessage<std::runtime_error>([&] { camera->removePreferences(once); }),
            "cam: Can't remove preferences to camera preferences list.");
  EXPECT_TRUE(camera->isInUse());
}

TEST(CameraNegotiation, InvalidRequestsAreCorrectedInPlace) {
  auto camera = makeCamera();
  LogCapture capture;
  CameraPreferences slow(Resolution(320, 240), ColorSpace::YUV_422, 0);
  EXPECT_TRUE(camera->updateRequestToValidRequest(slow));
  EXPECT_EQ(slow.getRefreshRate(), 5);
  EXPECT_TRUE(capture.contains(3, kCameraCategory, "updateRequestToValidRequest",
                               "cam: Invalid Framerate (too low), Framerate set to: 5"));

  CameraPreferences wrong(Resolution(1280, 960), ColorSpace::Y_8, 60);
  EXPECT_TRUE(camera->updateRequestToValidRequest(wrong));
  EXPECT_EQ(wrong.getRefreshRate(), 30);
  EXPECT_EQ(wrong.getResolution(), Resolution(160, 120));
  EXPECT_EQ(wrong.getColorSpace(), ColorSpace::YUV_422);
  EXPECT_TRUE(capture.hasMessage(3, "cam: Invalid Framerate (too high), Framerate set to: 30"));
  EXPECT_TRUE(capture.hasMessage(3, "cam: Invalid Resolution, Resolution set to: 160x120"));
  EXPECT_TRUE(capture.hasMessage(3, "cam: Invalid ColorSpace, ColorSpace set to: YUV_422"));

  CameraPreferences between(Resolution(80, 60), ColorSpace::RGB_888, 12);
  capture.clear();
  EXPECT_TRUE(camera->updateRequestToValidRequest(between));
  EXPECT_EQ(between.getRefreshRate(), 12);
  EXPECT_EQ(between.getResolution(), Resolution(80, 60));
  EXPECT_TRUE(cameraMessages(capture, 3).empty());
}

TEST(CameraNegotiation, NullOrForeignPreferencesLeaveTheCameraAlone) {
  auto camera = makeCamera();
  LogCapture capture;
  const std::string invalid = "cam: Can't add preferences, invalid camera preferences request.";
  EXPECT_EQ(thrownMessage<std::invalid_argument>([&] { camera->addPreferences(nullptr); }),
            invalid);
  EXPECT_EQ(thrownMessage<std::invalid_argument>([&] {
              camera->addPreferences(request(Resolution(1280, 960), ColorSpace::YUV_422, 30));
            }),
            invalid);
  EXPECT_TRUE(capture.contains(2, kCameraCategory, "addPreferences", invalid));

  camera->removePreferences(nullptr);
  EXPECT_TRUE(capture.contains(2, kCameraCategory, "removePreferences",
                               "cam: empty preferences, can't remove it."));
  EXPECT_FALSE(camera->isInUse());
  EXPECT_FALSE(camera->isOpen());

  const std::string foreign = "cam doesn't own this preference.";
  auto stranger = request(Resolution(320, 240), ColorSpace::YUV_422, 30);
  EXPECT_EQ(thrownMessage<std::runtime_error>(
                [&] { camera->updateResolutionPreferences(nullptr, Resolution(320, 240)); }),
            foreign);
  EXPECT_EQ(thrownMessage<std::runtime_error>(
                [&] { camera->updateColorSpacePreferences(stranger, ColorSpace::RGB_888); }),
            foreign);
  EXPECT_EQ(thrownMessage<std::runtime_error>(
                [&] { camera->updateFrameRatePreferences(stranger, 10); }),
            foreign);
  EXPECT_EQ(stranger->getColorSpace(), ColorSpace::YUV_422);
  EXPECT_FALSE(camera->isOpen());
}

TEST(CameraNegotiation, UpdatesChangeAnAttachedRequestAndTheNativeMode) {
  auto camera = makeCamera();
  auto mine = request(Resolution(160, 120), ColorSpace::YUV_422, 5);
  camera->addPreferences(mine);

  EXPECT_EQ(thrownMessage<std::out_of_range>(
                [&] { camera->updateResolutionPreferences(mine, Resolution(1280, 960)); }),
            "cam can't support requested resolution (1280x960).");
  EXPECT_EQ(thrownMessage<std::out_of_range>(
                [&] { camera->updateColorSpacePreferences(mine, ColorSpace::Y_8); }),
            "cam can't support requested colorspace (Y_8).");
  EXPECT_EQ(thrownMessage<std::out_of_range>([&] { camera->updateFrameRatePreferences(mine, 0); }),
            "cam can't support requested frame rate (0).");
  EXPECT_EQ(mine->getResolution(), Resolution(160, 120));

  // The old request's converted buffer is dropped when the request changes.
  camera->releaseImageBuffer(camera->getImageBuffer(at(0), *mine));
  camera->updateResolutionPreferences(mine, Resolution(640, 480));
  EXPECT_EQ(camera->convertedPoolSize(), 0u);
  EXPECT_EQ(camera->getNativeResolution(), Resolution(640, 480));
  camera->updateColorSpacePreferences(mine, ColorSpace::RGB_888);
  EXPECT_EQ(mine->getColorSpace(), ColorSpace::RGB_888);

  camera->releaseImageBuffer(camera->getImageBuffer(at(100), *mine));
  camera->updateFrameRatePreferences(mine, 30);  // the pools keep their buffers
  EXPECT_EQ(camera->convertedPoolSize(), 1u);
  EXPECT_EQ(camera->getNativeFrameRate(), 30);
}

}  // namespace
}  // namespace test
}  // namespace videoDevice
