// Lifecycle, native mode, controls and geometry of the camera core.
#include <cmath>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "CameraTestSupport.h"

namespace videoDevice {
namespace test {
namespace {

using Floats = std::vector<float>;

std::shared_ptr<ScriptedCamera> makeCamera() {
  return ScriptedCamera::make("cam", {Resolution(320, 240), Resolution(640, 480)},
                              {ColorSpace::YUV_422}, {15, 30});
}

TEST(CameraLifecycle, FreshCameraIsIdleUntilInitAddsKeepAlive) {
  ScriptedCamera camera("cam", {Resolution(320, 240)}, {ColorSpace::YUV_422}, {30});
  EXPECT_FALSE(camera.isOpen() || camera.isStarted() || camera.isInUse());
  EXPECT_EQ(camera.getFieldOfView().horizontal, 0.0f);
  EXPECT_EQ(camera.getFieldOfView().vertical, 0.0f);
  EXPECT_EQ(camera.getDefaultFlip(), std::make_pair(false, false));
  EXPECT_EQ(camera.getNativeColorSpace(), ColorSpace::UNKNOWN);
  EXPECT_EQ(camera.getNativeResolution(), Resolution(0, 0));
  EXPECT_EQ(camera.getNativeFrameRate(), 0);
  EXPECT_TRUE(camera.getParameterList().empty());

  camera.init();
  EXPECT_EQ(camera.getParameterList(), std::vector<Parameter>{Parameter::KEEP_ALIVE});
  const ParameterInfo info = camera.getParameterInfo(Parameter::KEEP_ALIVE);
  EXPECT_EQ(std::vector<int>({info.min, info.max, info.step, info.defaultValue}),
            std::vector<int>({0, 1, 1, 0}));
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
  auto image =
      std::make_shared<ImageBuffer>("sim", Resolution(320, 240), ColorSpace::YUV_422, true);
  const CameraPreferences request(Resolution(320, 240), ColorSpace::YUV_422, 30);
  const auto refuses = [](auto action, const char* function, const std::string& message) {
    LogCapture capture;
    EXPECT_EQ(thrownMessage<std::runtime_error>(action), message);
    EXPECT_TRUE(capture.contains(2, kCameraCategory, function, message)) << message;
  };
  refuses([&] { camera->putImage(image); }, "_putImage",
          "cam: putImage() not supported with this camera.");
  refuses([&] { camera->getExpectedImageParameters(); }, "_getExpectedImageParameters",
          "cam: getExpectedImageParameters() not supported with this camera.");
  refuses([&] { camera->getDirectRawExtraColorSpaceImageBuffer(at(0), request); },
          "_getDeviceExtraRawImage", "cam: ColorSpace unsupported.");
  // The raw buffer taken for the refused grab went back to the pool.
  EXPECT_EQ(camera->useCounts(), std::vector<std::int32_t>{0});
}

TEST(CameraLifecycle, StartOnClosedAndCloseOnStreamingLogEveryStep) {
  auto camera = makeCamera();
  {
    LogCapture capture;
    camera->start();
    EXPECT_TRUE(camera->isOpen() && camera->isStarted());
    EXPECT_EQ(cameraMessages(capture, 5),
              (std::vector<std::string>{
                  "cam: Opening", "cam: Opening Device", "cam: Initializing Device",
                  "cam: set parameter KEEP_ALIVE to 0", "cam: get value of parameter KEEP_ALIVE",
                  "cam: Set Device Resolution from 0x0 to 320x240",
                  "cam: Set Device Color Space from UNKNOWN to YUV_422",
                  "cam: Set Device Frame Rate from 0 to 15", "cam: Starting", "cam: Already open.",
                  "cam: Start Streaming"}));
    EXPECT_TRUE(capture.contains(5, kCameraCategory, "_startStreaming", "cam: Start Streaming"));
  }
  LogCapture capture;
  camera->close();
  EXPECT_EQ(cameraMessages(capture, 5),
            (std::vector<std::string>{"cam: Stoping", "cam: Stop Streaming", "cam: Closing",
                                      "cam: Releasing Device", "cam: Closing Device"}));
  EXPECT_FALSE(camera->isOpen() || camera->isStarted());
  EXPECT_EQ(camera->getNativeColorSpace(), ColorSpace::UNKNOWN);
  EXPECT_EQ(camera->getNativeResolution(), Resolution(0, 0));
  EXPECT_EQ(camera->getNativeFrameRate(), 0);
}

TEST(CameraLifecycle, ResetOfAnOpenCameraDoesNotStartIt) {
  auto camera = makeCamera();
  camera->open();
  LogCapture capture;
  camera->reset();  // open, not started: closes, re-opens, does not start
  EXPECT_TRUE(capture.contains(3, kCameraCategory, "_reset", "cam: Try to reset"));
  EXPECT_TRUE(camera->isOpen());
  EXPECT_FALSE(camera->isStarted());
  EXPECT_EQ(camera->calls("_closeDevice"), 1);
  EXPECT_EQ(camera->calls("_openDevice"), 2);
  EXPECT_EQ(camera->calls("_startStreaming"), 0);
}

TEST(CameraLifecycle, NativeModeAndFieldOfViewSettersValidate) {
  auto camera = makeCamera();
  camera->open();
  camera->setNativeResolution(Resolution(320, 240));  // unchanged: no device call
  EXPECT_EQ(camera->calls("_setDeviceResolution"), 1);
  camera->setNativeResolution(Resolution(640, 480));
  EXPECT_EQ(camera->calls("_setDeviceResolution"), 2);

  LogCapture capture;
  EXPECT_EQ(thrownMessage<std::invalid_argument>(
                [&] { camera->setNativeResolution(Resolution(1280, 960)); }),
            "cam: Invalid native resolution: 1280x960");
  EXPECT_TRUE(capture.contains(2, kCameraCategory, "_setNativeResolution",
                               "cam: Invalid native resolution: 1280x960"));
  EXPECT_EQ(camera->getNativeResolution(), Resolution(640, 480));
  EXPECT_EQ(camera->calls("_setDeviceResolution"), 2);

  camera->setFieldOfView(FieldOfView{1.0f, 0.75f});
  EXPECT_EQ(thrownMessage<std::invalid_argument>([&] {
              camera->setFieldOfView(FieldOfView{0.0f, 0.5f});
            }),
            "Field of View must be strictly positive.");
  EXPECT_THROW(camera->setFieldOfView(FieldOfView{0.5f, -1.0f}), std::invalid_argument);
  EXPECT_EQ(camera->getFieldOfView().horizontal, 1.0f);
  EXPECT_EQ(camera->getFieldOfView().vertical, 0.75f);
}

TEST(CameraControls, RefusedValuesAndParametersAreReported) {
  auto camera = makeCamera();
  LogCapture capture;
  EXPECT_EQ(
      thrownMessage<std::out_of_range>([&] { camera->setParameter(Parameter::KEEP_ALIVE, 2); }),
      "New value not in the allowed range.");
  EXPECT_EQ(cameraMessages(capture, 2),
            (std::vector<std::string>{"2 is not in the range [0, 1] (step: 1).",
                                      "cam: Can't set value for parameter KEEP_ALIVE"}));
  EXPECT_EQ(camera->getParameter(Parameter::KEEP_ALIVE), 0);

  const std::string text = "cam: parameter BRIGHTNESS unsupported.";
  EXPECT_EQ(thrownMessage<std::runtime_error>([&] { camera->getParameter(Parameter::BRIGHTNESS); }),
            text);
  EXPECT_TRUE(capture.contains(2, kCameraCategory, "_getParameter", text));
  EXPECT_EQ(
      thrownMessage<std::runtime_error>([&] { camera->setParameter(Parameter::BRIGHTNESS, 1); }),
      text);
}

TEST(CameraControls, FlipsAreStoredRelativeToTheMountingFlip) {
  auto camera = makeCamera();
  for (Parameter flip : {Parameter::HORIZONTAL_FLIP, Parameter::VERTICAL_FLIP})
    camera->_controls[flip] =
        std::make_shared<CameraBase::ControlSoftware>(ParameterInfo{0, 1, 1, 0}, false);
  camera->setDefaultFlip(true, false);
  // {flip, value set, value stored in the control}
  for (const auto& [flip, value, stored] : {std::tuple{Parameter::HORIZONTAL_FLIP, 1, 0},
                                            {Parameter::HORIZONTAL_FLIP, 0, 1},
                                            {Parameter::VERTICAL_FLIP, 1, 1}}) {
    camera->setParameter(flip, value);
    EXPECT_EQ(camera->_controls.at(flip)->getValue(), stored) << flip << " " << value;
    EXPECT_EQ(camera->getParameter(flip), value) << flip;
  }
}

TEST(CameraControls, DroppingKeepAliveClosesOnlyAnIdleCamera) {
  auto camera = makeCamera();
  camera->open();
  camera->setParameter(Parameter::KEEP_ALIVE, 1);
  camera->setParameter(Parameter::KEEP_ALIVE, 0);
  EXPECT_FALSE(camera->isOpen());

  auto request = attach(*camera, Resolution(320, 240), ColorSpace::YUV_422, 30);
  camera->setParameter(Parameter::KEEP_ALIVE, 1);
  camera->setParameter(Parameter::KEEP_ALIVE, 0);
  EXPECT_TRUE(camera->isOpen());
  camera->removePreferences(request);
  EXPECT_FALSE(camera->isOpen());
}

// H = 1 rad, V = 0.75 rad on a camera whose largest mode is 640 x 480.
TEST(CameraGeometry, ImageAndAngularCoordinatesConvertBothWays) {
  auto camera = ScriptedCamera::make("cam", {Resolution(320, 240), Resolution(640, 480)},
                                     {ColorSpace::YUV_422}, {30});
  camera->setFieldOfView(FieldOfView{1.0f, 0.75f});
  const auto centre = camera->getAngularPositionFromImagePosition({0.5f, 0.5f});
  ASSERT_EQ(centre, (Floats{0.0f, 0.0f}));
  EXPECT_TRUE(std::signbit(centre[0]));  // -(0.5 - 0.5) * H
  EXPECT_FALSE(std::signbit(centre[1]));
  // Left of the image is a positive horizontal angle, the top a negative vertical one.
  EXPECT_EQ(camera->getAngularPositionFromImagePosition({0.0f, 0.0f}), (Floats{0.5f, -0.375f}));
  EXPECT_EQ(camera->getImagePositionFromAngularPosition({0.5f, -0.375f}), (Floats{0.0f, 0.0f}));
  EXPECT_EQ(camera->getAngularSizeFromImageSize({1.0f, 1.0f}), (Floats{1.0f, 0.75f}));
  EXPECT_EQ(camera->getImageSizeFromAngularSize({0.25f, 0.375f}), (Floats{0.25f, 0.5f}));
  EXPECT_EQ(camera->getImageInfoFromAngularInfoWithResolution({0.0f, 0.0f, 1.0f, 0.75f},
                                                              Resolution(320, 240)),
            (Floats{160.0f, 120.0f, 320.0f, 240.0f}));
  // A quarter of H to the left and a quarter of V down, half the field wide.
  EXPECT_EQ(camera->getImageInfoFromAngularInfoWithResolution({0.25f, 0.1875f, 0.5f, 0.375f},
                                                              Resolution(640, 480)),
            (Floats{160.0f, 360.0f, 320.0f, 240.0f}));

  LogCapture capture;
  EXPECT_TRUE(camera->getAngularSizeFromImageSize({1.5f, 0.5f}).empty());
  EXPECT_TRUE(capture.contains(2, kCameraCategory, "getAngularSizeFromImageSize",
                               "getAngularSizeFromImageSize(): Invalid input parameters"));
  EXPECT_TRUE(camera->getImagePositionFromAngularPosition({0.1f, 0.2f, 0.3f}).empty());
  EXPECT_TRUE(capture.contains(
      2, kCameraCategory, "getImagePositionFromAngularPosition",
      "getImagePositionFromAngularPosition(): Invalid parameter size\nPlease provide a 2D Point."));
  EXPECT_TRUE(camera
                  ->getImageInfoFromAngularInfoWithResolution({0.0f, 0.0f, 1.0f, 0.75f},
                                                              Resolution(320, 200))
                  .empty());
  EXPECT_TRUE(capture.contains(
      2, kCameraCategory, "getImageInfoFromAngularInfoWithResolution",
      "getImageInfoFromAngularInfoWithResolution(): Invalid resolution (actual 320x200)."));
}

}  // namespace
}  // namespace test
}  // namespace videoDevice
