#include <cmath>
#include <limits>
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

std::shared_ptr<ScriptedCamera> makeCamera() {
  return ScriptedCamera::make("cam", {Resolution(320, 240), Resolution(640, 480)},
                              {ColorSpace::YUV_422}, {15, 30});
}

TEST(CameraLifecycle, FreshCameraIsIdleUntilInitAddsKeepAlive) {
  ScriptedCamera camera("cam", {Resolution(320, 240)}, {ColorSpace::YUV_422}, {30});
  EXPECT_FALSE(camera.isOpen());
  EXPECT_FALSE(camera.isStarted());
  EXPECT_FALSE(camera.isInUse());
  EXPECT_EQ(camera.getFieldOfView().horizontal, 0.0f);
  EXPECT_EQ(camera.getFieldOfView().vertical, 0.0f);
  EXPECT_EQ(camera.getDefaultFlip(), std::make_pair(false, false));
  EXPECT_EQ(camera.getNativeColorSpace(), ColorSpace::UNKNOWN);
  EXPECT_EQ(camera.getNativeResolution(), Resolution(0, 0));
  EXPECT_EQ(camera.getNativeFrameRate(), 0);
  EXPECT_TRUE(camera.getParameterList().empty());
  EXPECT_EQ(camera.getName(), "cam");
  EXPECT_TRUE(camera.isSimulated());

  camera.init();
  EXPECT_EQ(camera.getParameterList(), std::vector<Parameter>{Parameter::KEEP_ALIVE});
  const ParameterInfo info = camera.getParameterInfo(Parameter::KEEP_ALIVE);
  EXPECT_EQ(info.min, 0);
  EXPECT_EQ(info.max, 1);
  EXPECT_EQ(info.step, 1);
  EXPECT_EQ(info.defaultValue, 0);
  EXPECT_EQ(camera.getParameter(Parameter::KEEP_ALIVE), 0);

  // A second init keeps the control already there, with its value.
  camera.setParameter(Parameter::KEEP_ALIVE, 1);
  const auto first = camera._controls.at(Parameter::KEEP_ALIVE);
  camera.init();
  EXPECT_EQ(camera.getParameterList(), std::vector<Parameter>{Parameter::KEEP_ALIVE});
  EXPECT_EQ(camera._controls.at(Parameter::KEEP_ALIVE), first);
  EXPECT_EQ(camera.getParameter(Parameter::KEEP_ALIVE), 1);
}

TEST(CameraLifecycle, HooksWithoutBackendSupportRefuse) {
  auto camera = makeCamera();
  LogCapture capture;
  auto image = std::make_shared<ImageBuffer>("sim", Resolution(320, 240), ColorSpace::YUV_422, true);

  EXPECT_EQ(thrownMessage<std::runtime_error>([&] { camera->putImage(image); }),
            "cam: putImage() not supported with this camera.");
  EXPECT_TRUE(capture.contains(2, kCameraCategory, "_putImage",
                               "cam: putImage() not supported with this camera."));

  EXPECT_EQ(thrownMessage<std::runtime_error>([&] { camera->getExpectedImageParameters(); }),
            "cam: getExpectedImageParameters() not supported with this camera.");
  EXPECT_TRUE(capture.contains(2, kCameraCategory, "_getExpectedImageParameters",
                               "cam: getExpectedImageParameters() not supported with this camera."));

  CameraPreferences request(Resolution(320, 240), ColorSpace::YUV_422, 30);
  EXPECT_EQ(thrownMessage<std::runtime_error>(
                [&] { camera->getDirectRawExtraColorSpaceImageBuffer(at(0), request); }),
            "cam: ColorSpace unsupported.");
  EXPECT_TRUE(capture.contains(2, kCameraCategory, "_getDeviceExtraRawImage",
                               "cam: ColorSpace unsupported."));
  // The raw buffer taken for the refused grab went back to the pool.
  EXPECT_EQ(camera->useCounts(), std::vector<std::int32_t>{0});

  EXPECT_EQ(thrownMessage<std::invalid_argument>([&] { camera->putImage(nullptr); }),
            "cam: Cannot grab image since output buffer is invalid.");
  EXPECT_TRUE(capture.contains(2, kCameraCategory, "putImage",
                               "cam: Cannot grab image since output buffer is invalid."));
}

TEST(CameraLifecycle, StartOnClosedCameraOpensInitialisesThenStreams) {
  auto camera = makeCamera();
  LogCapture capture;
  camera->start();
  EXPECT_TRUE(camera->isOpen());
  EXPECT_TRUE(camera->isStarted());
  const std::vector<std::string> expected = {
      "cam: Opening",
      "cam: Opening Device",
      "cam: Initializing Device",
      "cam: set parameter KEEP_ALIVE to 0",
      "cam: get value of parameter KEEP_ALIVE",
      "cam: Set Device Resolution from 0x0 to 320x240",
      "cam: Set Device Color Space from UNKNOWN to YUV_422",
      "cam: Set Device Frame Rate from 0 to 15",
      "cam: Starting",
      "cam: Already open.",
      "cam: Start Streaming",
  };
  EXPECT_EQ(cameraMessages(capture, 5), expected);
  EXPECT_TRUE(capture.contains(5, kCameraCategory, "_startStreaming", "cam: Start Streaming"));
  EXPECT_TRUE(capture.contains(5, kCameraCategory, "_open", "cam: Already open."));
}

TEST(CameraLifecycle, CloseOnStreamingCameraStopsReleasesAndForgetsTheMode) {
  auto camera = makeCamera();
  camera->start();
  LogCapture capture;
  camera->close();
  const std::vector<std::string> expected = {"cam: Stoping", "cam: Stop Streaming", "cam: Closing",
                                             "cam: Releasing Device", "cam: Closing Device"};
  EXPECT_EQ(cameraMessages(capture, 5), expected);
  EXPECT_FALSE(camera->isOpen());
  EXPECT_FALSE(camera->isStarted());
  EXPECT_EQ(camera->getNativeColorSpace(), ColorSpace::UNKNOWN);
  EXPECT_EQ(camera->getNativeResolution(), Resolution(0, 0));
  EXPECT_EQ(camera->getNativeFrameRate(), 0);
}

TEST(CameraLifecycle, OperationsFollowTheStateTable) {
  auto camera = makeCamera();
  LogCapture capture;
  camera->close();
  camera->stop();
  EXPECT_EQ(cameraMessages(capture, 5),
            (std::vector<std::string>{"cam: Already close.", "cam: Already stop."}));

  camera->open();
  capture.clear();
  camera->open();
  camera->stop();
  EXPECT_EQ(cameraMessages(capture, 5),
            (std::vector<std::string>{"cam: Already open.", "cam: Already stop."}));

  // Open but not started: reset closes, re-opens, and does not start.
  camera->reset();
  EXPECT_TRUE(capture.contains(3, kCameraCategory, "_reset", "cam: Try to reset"));
  EXPECT_TRUE(camera->isOpen());
  EXPECT_FALSE(camera->isStarted());
  EXPECT_EQ(camera->calls("_closeDevice"), 1);
  EXPECT_EQ(camera->calls("_openDevice"), 2);
  EXPECT_EQ(camera->calls("_startStreaming"), 0);
  EXPECT_EQ(camera->getNativeResolution(), Resolution(320, 240));

  camera->start();
  capture.clear();
  camera->start();
  EXPECT_EQ(cameraMessages(capture, 5), std::vector<std::string>{"cam: Already start."});
  camera->reset();  // streaming: ends streaming again
  EXPECT_TRUE(camera->isStarted());
  EXPECT_EQ(camera->calls("_stopStreaming"), 1);
  EXPECT_EQ(camera->calls("_startStreaming"), 2);

  // Closed: reset opens.
  camera->close();
  camera->reset();
  EXPECT_TRUE(camera->isOpen());
  EXPECT_FALSE(camera->isStarted());
}

TEST(CameraLifecycle, OpeningFailureLeavesTheDeviceClosed) {
  // Without init() there is no KEEP_ALIVE control for _initDevice to set.
  ScriptedCamera camera("cam", {Resolution(320, 240)}, {ColorSpace::YUV_422}, {30});
  EXPECT_EQ(thrownMessage<std::runtime_error>([&] { camera.open(); }),
            "cam: parameter KEEP_ALIVE unsupported.");
  EXPECT_FALSE(camera.isOpen());
  EXPECT_EQ(camera.calls("_closeDevice"), 1);
}

TEST(CameraLifecycle, NativeModeSettersValidateAndSkipUnchangedValues) {
  auto camera = makeCamera();
  camera->open();
  ASSERT_EQ(camera->calls("_setDeviceResolution"), 1);

  camera->setNativeResolution(Resolution(320, 240));
  EXPECT_EQ(camera->calls("_setDeviceResolution"), 1);
  camera->setNativeResolution(Resolution(640, 480));
  EXPECT_EQ(camera->calls("_setDeviceResolution"), 2);
  EXPECT_EQ(camera->getNativeResolution(), Resolution(640, 480));

  LogCapture capture;
  EXPECT_EQ(thrownMessage<std::invalid_argument>(
                [&] { camera->setNativeResolution(Resolution(1280, 960)); }),
            "cam: Invalid native resolution: 1280x960");
  EXPECT_TRUE(capture.contains(2, kCameraCategory, "_setNativeResolution",
                               "cam: Invalid native resolution: 1280x960"));
  EXPECT_EQ(thrownMessage<std::invalid_argument>(
                [&] { camera->setNativeColorSpace(ColorSpace::RGB_888); }),
            "cam: Invalid native color space: RGB_888");
  EXPECT_EQ(thrownMessage<std::invalid_argument>([&] { camera->setNativeFrameRate(25); }),
            "cam: Invalid native frame rate: 25");
  EXPECT_EQ(camera->getNativeResolution(), Resolution(640, 480));
  EXPECT_EQ(camera->getNativeColorSpace(), ColorSpace::YUV_422);
  EXPECT_EQ(camera->getNativeFrameRate(), 15);
  EXPECT_EQ(camera->calls("_setDeviceResolution"), 2);

  camera->setNativeFrameRate(30);
  EXPECT_EQ(camera->getNativeFrameRate(), 30);
  EXPECT_TRUE(capture.hasMessage(5, "cam: Set Device Frame Rate from 15 to 30"));
}

TEST(CameraLifecycle, FieldOfViewMustBeStrictlyPositive) {
  auto camera = makeCamera();
  LogCapture capture;
  camera->setFieldOfView(FieldOfView{1.0f, 0.75f});
  EXPECT_EQ(thrownMessage<std::invalid_argument>(
                [&] { camera->setFieldOfView(FieldOfView{0.0f, 0.5f}); }),
            "Field of View must be strictly positive.");
  EXPECT_TRUE(capture.contains(2, kCameraCategory, "setFieldOfView",
                               "cam: Invalid Field Of View to set."));
  EXPECT_THROW(camera->setFieldOfView(FieldOfView{0.5f, -1.0f}), std::invalid_argument);
  EXPECT_EQ(camera->getFieldOfView().horizontal, 1.0f);
  EXPECT_EQ(camera->getFieldOfView().vertical, 0.75f);

  camera->setFieldOfView(FieldOfView{0.0001f, 0.0001f});
  EXPECT_EQ(camera->getFieldOfView().horizontal, 0.0001f);
  // The test rejects non-positive angles; NaN is not one of them.
  camera->setFieldOfView(FieldOfView{std::numeric_limits<float>::quiet_NaN(), 1.0f});
  EXPECT_TRUE(std::isnan(camera->getFieldOfView().horizontal));

  camera->setDefaultFlip(true, false);
  EXPECT_EQ(camera->getDefaultFlip(), std::make_pair(true, false));
  camera->setCalibration({"left.yml"});
  EXPECT_TRUE(capture.contains(3, kCameraCategory, "setCalibration",
                               "cam: Calibration is not supported."));
}

}  // namespace
}  // namespace test
}  // namespace videoDevice
