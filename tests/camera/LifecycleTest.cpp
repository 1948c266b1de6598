// Lifecycle, native mode, controls and geometry of the camera core.
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
  EXPECT_EQ(thrownMessage<std::runtime_error>([&] { camera->putImage(image); }),
            "cam: putImage() not supported with this camera.");
  EXPECT_EQ(thrownMessage<std::runtime_error>([&] { camera->getExpectedImageParameters(); }),
            "cam: getExpectedImageParameters() not supported with this camera.");
  EXPECT_EQ(thrownMessage<std::runtime_error>(
                [&] { camera->getDirectRawExtraColorSpaceImageBuffer(at(0), request); }),
            "cam: ColorSpace unsupported.");
  // The raw buffer taken for the refused grab went back to the pool.
  EXPECT_EQ(camera->useCounts(), std::vector<std::int32_t>{0});
}

// start() on a closed camera opens it in its first supported mode; close() on
// a streaming one stops it first and forgets the mode; reset() of an open,
// stopped camera re-opens it without starting it.
TEST(CameraLifecycle, StartCloseAndResetWalkTheStateMachine) {
  auto camera = makeCamera();
  camera->start();
  EXPECT_TRUE(camera->isOpen() && camera->isStarted());
  EXPECT_EQ(camera->getNativeResolution(), Resolution(320, 240));
  EXPECT_EQ(camera->getNativeColorSpace(), ColorSpace::YUV_422);
  EXPECT_EQ(camera->getNativeFrameRate(), 15);
  for (const char* hook : {"_openDevice", "_initDevice", "_startStreaming"})
    EXPECT_EQ(camera->calls(hook), 1) << hook;

  camera->close();
  EXPECT_FALSE(camera->isOpen() || camera->isStarted());
  for (const char* hook : {"_stopStreaming", "_releaseDevice", "_closeDevice"})
    EXPECT_EQ(camera->calls(hook), 1) << hook;
  EXPECT_EQ(camera->getNativeColorSpace(), ColorSpace::UNKNOWN);
  EXPECT_EQ(camera->getNativeResolution(), Resolution(0, 0));
  EXPECT_EQ(camera->getNativeFrameRate(), 0);

  camera->open();
  camera->reset();
  EXPECT_TRUE(camera->isOpen());
  EXPECT_FALSE(camera->isStarted());
  EXPECT_EQ(camera->calls("_closeDevice"), 2);
  EXPECT_EQ(camera->calls("_openDevice"), 3);
  EXPECT_EQ(camera->calls("_startStreaming"), 1);
}

TEST(CameraLifecycle, NativeModeAndFieldOfViewSettersValidate) {
  auto camera = makeCamera();
  camera->open();
  camera->setNativeResolution(Resolution(320, 240));  // unchanged: no device call
  EXPECT_EQ(camera->calls("_setDeviceResolution"), 1);
  camera->setNativeResolution(Resolution(640, 480));
  EXPECT_EQ(camera->calls("_setDeviceResolution"), 2);
  EXPECT_EQ(thrownMessage<std::invalid_argument>(
                [&] { camera->setNativeResolution(Resolution(1280, 960)); }),
            "cam: Invalid native resolution: 1280x960");
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
  EXPECT_EQ(
      thrownMessage<std::out_of_range>([&] { camera->setParameter(Parameter::KEEP_ALIVE, 2); }),
      "New value not in the allowed range.");
  EXPECT_EQ(camera->getParameter(Parameter::KEEP_ALIVE), 0);
  const std::string text = "cam: parameter BRIGHTNESS unsupported.";
  EXPECT_EQ(thrownMessage<std::runtime_error>([&] { camera->getParameter(Parameter::BRIGHTNESS); }),
            text);
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
  auto camera = makeCamera();
  camera->setFieldOfView(FieldOfView{1.0f, 0.75f});
  EXPECT_EQ(camera->getAngularPositionFromImagePosition({0.5f, 0.5f}), (Floats{0.0f, 0.0f}));
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
  // Out-of-range sizes, wrong arity and a resolution of another aspect give nothing.
  EXPECT_TRUE(camera->getAngularSizeFromImageSize({1.5f, 0.5f}).empty());
  EXPECT_TRUE(camera->getImagePositionFromAngularPosition({0.1f, 0.2f, 0.3f}).empty());
  EXPECT_TRUE(camera
                  ->getImageInfoFromAngularInfoWithResolution({0.0f, 0.0f, 1.0f, 0.75f},
                                                              Resolution(320, 200))
                  .empty());
}

}  // namespace
}  // namespace test
}  // namespace videoDevice
