#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CameraTestSupport.h"
#include "support/LogCapture.h"
#include "support/ScriptedCamera.h"

namespace videoDevice {
namespace test {
namespace {

std::shared_ptr<ScriptedCamera> makeCamera() {
  return ScriptedCamera::make("cam", {Resolution(320, 240)}, {ColorSpace::YUV_422}, {30});
}

void addControl(ScriptedCamera& camera, Parameter parameter, ParameterInfo info,
                bool skipReset = false) {
  camera._controls[parameter] = std::make_shared<CameraBase::ControlSoftware>(info, skipReset);
}

TEST(CameraControls, SoftwareControlAcceptsOnlyValuesOnItsGrid) {
  LogCapture capture;
  CameraBase::ControlSoftware control(ParameterInfo{-10, 10, 5, 0}, false);
  EXPECT_EQ(control.getValue(), 0);
  control.setValue(5);
  control.setValue(-10);
  EXPECT_EQ(control.getValue(), -10);

  for (int rejected : {3, 11, -15}) {
    EXPECT_EQ(thrownMessage<std::out_of_range>([&] { control.setValue(rejected); }),
              "New value not in the allowed range.");
  }
  EXPECT_EQ(control.getValue(), -10);
  EXPECT_TRUE(capture.contains(2, kCameraCategory, "setValue",
                               "3 is not in the range [-10, 10] (step: 5)."));
  EXPECT_TRUE(capture.hasMessage(2, "11 is not in the range [-10, 10] (step: 5)."));

  // Far-apart bounds: the distance to min does not overflow.
  CameraBase::ControlSoftware wide(ParameterInfo{-2147483647 - 1, 2147483647, 2, 0}, false);
  EXPECT_THROW(wide.setValue(2147483647), std::out_of_range);
  wide.setValue(2147483646);
  EXPECT_EQ(wide.getValue(), 2147483646);
}

TEST(CameraControls, KeepAliveOutOfRangeIsRefusedWithBothMessages) {
  auto camera = makeCamera();
  LogCapture capture;
  EXPECT_EQ(thrownMessage<std::out_of_range>(
                [&] { camera->setParameter(Parameter::KEEP_ALIVE, 2); }),
            "New value not in the allowed range.");
  EXPECT_EQ(cameraMessages(capture, 2),
            (std::vector<std::string>{"2 is not in the range [0, 1] (step: 1).",
                                      "cam: Can't set value for parameter KEEP_ALIVE"}));
  EXPECT_TRUE(capture.contains(2, kCameraCategory, "_setParameter",
                               "cam: Can't set value for parameter KEEP_ALIVE"));
  EXPECT_EQ(camera->getParameter(Parameter::KEEP_ALIVE), 0);
}

TEST(CameraControls, MissingControlIsUnsupported) {
  auto camera = makeCamera();
  LogCapture capture;
  const std::string text = "cam: parameter BRIGHTNESS unsupported.";
  EXPECT_EQ(thrownMessage<std::runtime_error>([&] { camera->getParameter(Parameter::BRIGHTNESS); }),
            text);
  EXPECT_TRUE(capture.contains(2, kCameraCategory, "_getParameter", text));
  EXPECT_EQ(thrownMessage<std::runtime_error>(
                [&] { camera->getParameterInfo(Parameter::BRIGHTNESS); }),
            text);
  EXPECT_EQ(thrownMessage<std::runtime_error>(
                [&] { camera->setParameter(Parameter::BRIGHTNESS, 1); }),
            text);
  EXPECT_EQ(thrownMessage<std::runtime_error>(
                [&] { camera->resetParameter(Parameter::BRIGHTNESS); }),
            text);
  EXPECT_TRUE(capture.contains(2, kCameraCategory, "_resetParameter", text));
}

TEST(CameraControls, FlipsAreStoredRelativeToTheMountingFlip) {
  auto camera = makeCamera();
  // A backend's flip range does not matter: flips are on/off switches.
  addControl(*camera, Parameter::HORIZONTAL_FLIP, ParameterInfo{0, 1, 1, 0});
  addControl(*camera, Parameter::VERTICAL_FLIP, ParameterInfo{0, 1, 1, 0});
  addControl(*camera, Parameter::AUTO_FOCUS, ParameterInfo{0, 7, 1, 3});
  camera->setDefaultFlip(true, false);

  camera->setParameter(Parameter::HORIZONTAL_FLIP, 1);
  EXPECT_EQ(camera->_controls.at(Parameter::HORIZONTAL_FLIP)->getValue(), 0);
  EXPECT_EQ(camera->getParameter(Parameter::HORIZONTAL_FLIP), 1);
  camera->setParameter(Parameter::HORIZONTAL_FLIP, 0);
  EXPECT_EQ(camera->_controls.at(Parameter::HORIZONTAL_FLIP)->getValue(), 1);
  EXPECT_EQ(camera->getParameter(Parameter::HORIZONTAL_FLIP), 0);

  camera->setParameter(Parameter::VERTICAL_FLIP, 5);  // any non-zero value means flipped
  EXPECT_EQ(camera->_controls.at(Parameter::VERTICAL_FLIP)->getValue(), 1);
  EXPECT_EQ(camera->getParameter(Parameter::VERTICAL_FLIP), 1);

  const ParameterInfo focus = camera->getParameterInfo(Parameter::AUTO_FOCUS);
  EXPECT_EQ(focus.max, 1);
  EXPECT_EQ(focus.defaultValue, 0);
  EXPECT_EQ(camera->getParameterList(),
            (std::vector<Parameter>{Parameter::HORIZONTAL_FLIP, Parameter::VERTICAL_FLIP,
                                    Parameter::AUTO_FOCUS, Parameter::KEEP_ALIVE}));
}

TEST(CameraControls, DroppingKeepAliveClosesOnlyAnIdleCamera) {
  auto camera = makeCamera();
  camera->open();
  camera->setParameter(Parameter::KEEP_ALIVE, 1);
  camera->setParameter(Parameter::KEEP_ALIVE, 0);
  EXPECT_FALSE(camera->isOpen());

  auto request = std::make_shared<CameraPreferences>(Resolution(320, 240), ColorSpace::YUV_422, 30);
  camera->addPreferences(request);
  camera->setParameter(Parameter::KEEP_ALIVE, 1);
  camera->setParameter(Parameter::KEEP_ALIVE, 0);
  EXPECT_TRUE(camera->isOpen());
  EXPECT_EQ(camera->getParameter(Parameter::KEEP_ALIVE), 0);
  camera->removePreferences(request);

  // Re-opening an idle camera with KEEP_ALIVE 1: initialising the device sets
  // it back to 0, which closes the camera inside the opening.
  camera->open();
  camera->setParameter(Parameter::KEEP_ALIVE, 1);
  camera->reset();
  EXPECT_FALSE(camera->isOpen());
  EXPECT_EQ(camera->getParameter(Parameter::KEEP_ALIVE), 0);
}

TEST(CameraControls, ResetRestoresDefaultsUnlessTheControlSkipsReset) {
  auto camera = makeCamera();
  addControl(*camera, Parameter::BRIGHTNESS, ParameterInfo{0, 255, 1, 128});
  addControl(*camera, Parameter::CONTRAST, ParameterInfo{0, 100, 1, 50}, true);
  camera->setParameter(Parameter::BRIGHTNESS, 10);
  camera->setParameter(Parameter::CONTRAST, 10);
  camera->resetParameter(Parameter::BRIGHTNESS);
  camera->resetParameter(Parameter::CONTRAST);
  EXPECT_EQ(camera->getParameter(Parameter::BRIGHTNESS), 128);
  EXPECT_EQ(camera->getParameter(Parameter::CONTRAST), 10);

  // resetParameters re-opens the device and keeps it streaming.
  camera->start();
  camera->resetParameters();
  EXPECT_TRUE(camera->isStarted());
  EXPECT_EQ(camera->calls("_closeDevice"), 1);
  EXPECT_EQ(camera->calls("_initDevice"), 2);
}

}  // namespace
}  // namespace test
}  // namespace videoDevice
