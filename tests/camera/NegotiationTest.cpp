// How subscribers' requests are validated and decide the native mode.
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
  return ScriptedCamera::make("cam",
                              {Resolution(160, 120), Resolution(320, 240), Resolution(640, 480)},
                              {ColorSpace::YUV_422, ColorSpace::RGB_888}, {5, 10, 15, 30});
}

TEST(CameraNegotiation, RequestsAreValidUpToTheLargestSizeWithItsAspect) {
  auto camera =
      ScriptedCamera::make("cam", {Resolution(640, 480)}, {ColorSpace::YUV_422}, {15, 30});
  for (Resolution valid : {Resolution(640, 480), Resolution(320, 240), Resolution(80, 60)})
    EXPECT_TRUE(camera->isResolutionValid(valid)) << valid.width << "x" << valid.height;
  for (Resolution invalid : {Resolution(1280, 960), Resolution(320, 200), Resolution(640, 481)})
    EXPECT_FALSE(camera->isResolutionValid(invalid)) << invalid.width << "x" << invalid.height;
  EXPECT_TRUE(camera->isFrameRateValid(7));  // between the supported rates
  EXPECT_FALSE(camera->isFrameRateValid(0) || camera->isFrameRateValid(31));

  LogCapture capture;
  EXPECT_FALSE(
      camera->isValidRequest(CameraPreferences(Resolution(320, 200), ColorSpace::RGB_888, 0)));
  EXPECT_FALSE(
      camera->isValidRequest(CameraPreferences(Resolution(320, 240), ColorSpace::YUV_422, 0)));
  // One message per refusal: the first failing check.
  EXPECT_EQ(capture.messages(2),
            (std::vector<std::string>{"cam: resolution 320x200 not supported by device.",
                                      "cam: frame rate 0 not supported by the device."}));
}

TEST(CameraNegotiation, NativeModeFollowsTheLargestRequests) {
  auto camera = makeCamera();
  auto small = attach(*camera, Resolution(320, 240), ColorSpace::RGB_888, 15);
  EXPECT_TRUE(camera->isOpen());
  EXPECT_FALSE(camera->isStarted());  // attaching does not stream yet
  auto large = attach(*camera, Resolution(640, 480), ColorSpace::YUV_422, 30);
  EXPECT_EQ(camera->getNativeResolution(), Resolution(640, 480));
  EXPECT_EQ(camera->getNativeFrameRate(), 30);

  camera->removePreferences(large);
  EXPECT_EQ(camera->getNativeResolution(), Resolution(320, 240));
  EXPECT_EQ(camera->getNativeFrameRate(), 15);
  camera->updateResolutionPreferences(small, Resolution(640, 480));
  EXPECT_EQ(camera->getNativeResolution(), Resolution(640, 480));
  // A rate between supported ones is served by the next faster one.
  camera->removePreferences(small);
  attach(*camera, Resolution(160, 120), ColorSpace::YUV_422, 12);
  EXPECT_EQ(camera->getNativeFrameRate(), 15);
  EXPECT_EQ(camera->getNativeResolution(), Resolution(160, 120));
}

TEST(CameraNegotiation, AttachAndDetach) {
  auto camera = makeCamera();
  auto only = attach(*camera, Resolution(320, 240), ColorSpace::RGB_888, 30);
  EXPECT_EQ(thrownMessage<std::runtime_error>([&] { camera->addPreferences(only); }),
            "cam: Can't insert preferences to camera preferences list.");
  // KEEP_ALIVE 0: the last departure closes and empties the pools.
  camera->releaseImageBuffer(camera->getImageBuffer(at(0), *only));
  camera->removePreferences(only);
  EXPECT_FALSE(camera->isInUse() || camera->isOpen());
  EXPECT_EQ(camera->rawPoolSize() + camera->convertedPoolSize(), 0u);
  EXPECT_EQ(thrownMessage<std::runtime_error>([&] { camera->removePreferences(only); }),
            "cam: Can't remove preferences to camera preferences list.");

  camera->addPreferences(only);
  camera->setParameter(Parameter::KEEP_ALIVE, 1);
  camera->removePreferences(only);
  EXPECT_TRUE(camera->isOpen());
}

TEST(CameraNegotiation, InvalidRequestsAreCorrectedOrRefused) {
  auto camera = makeCamera();
  CameraPreferences slow(Resolution(320, 240), ColorSpace::YUV_422, 0);
  EXPECT_TRUE(camera->updateRequestToValidRequest(slow));
  EXPECT_EQ(slow.getRefreshRate(), 5);

  CameraPreferences wrong(Resolution(1280, 960), ColorSpace::Y_8, 60);
  EXPECT_TRUE(camera->updateRequestToValidRequest(wrong));
  EXPECT_EQ(wrong.getRefreshRate(), 30);
  EXPECT_EQ(wrong.getResolution(), Resolution(160, 120));
  EXPECT_EQ(wrong.getColorSpace(), ColorSpace::YUV_422);

  // Null or foreign preferences leave the camera alone.
  const std::string invalid = "cam: Can't add preferences, invalid camera preferences request.";
  EXPECT_EQ(thrownMessage<std::invalid_argument>([&] { camera->addPreferences(nullptr); }),
            invalid);
  camera->removePreferences(nullptr);
  const auto stranger =
      std::make_shared<CameraPreferences>(Resolution(320, 240), ColorSpace::YUV_422, 30);
  EXPECT_EQ(thrownMessage<std::runtime_error>(
                [&] { camera->updateColorSpacePreferences(stranger, ColorSpace::RGB_888); }),
            "cam doesn't own this preference.");
  EXPECT_EQ(stranger->getColorSpace(), ColorSpace::YUV_422);
  EXPECT_FALSE(camera->isInUse() || camera->isOpen());
}

}  // namespace
}  // namespace test
}  // namespace videoDevice
