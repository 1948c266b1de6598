#include "videodevice/CameraBuilder.h"

#include <lumo/Log.h>

#include <algorithm>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <utility>

#include "backends/CameraSimulator2D.h"
#include "backends/CameraSimulator3D.h"
#include "backends/V4l2Setup.h"
#include "videodevice/VideoDevice.h"

LUMO_LOG_CATEGORY("vision.videodevice.camerabuilder")

namespace videoDevice {

namespace {

// Field-of-view pairs shared by several models (radians, as 32-bit floats).
constexpr FieldOfView kFov609x476{1.0629055500030518f, 0.8307767510414124f};
constexpr FieldOfView kFov572x443{0.9983283877372742f, 0.7731809020042419f};
constexpr FieldOfView kFov88x72{1.5358898639678955f, 1.2566370964050293f};
constexpr FieldOfView kFovXtion{1.0226058959960938f, 0.7966206669807434f};

// The set-ups only add to a record: values the caller (or an earlier set-up)
// put there stay, and applying a set-up twice changes nothing.
void addResolutions(CameraInfo& info, std::initializer_list<Resolution> resolutions) {
  info.resolutions.insert(resolutions.begin(), resolutions.end());
}

void addFrameRates(CameraInfo& info, unsigned short first, unsigned short last) {
  for (unsigned int rate = first; rate <= last; ++rate)
    info.frameRates.insert(static_cast<unsigned short>(rate));
}

void addCalibrationFiles(CameraInfo& info, std::initializer_list<const char*> files) {
  for (const char* file : files) {
    if (std::find(info.calibrationFiles.begin(), info.calibrationFiles.end(), file) ==
        info.calibrationFiles.end())
      info.calibrationFiles.emplace_back(file);
  }
}

}  // namespace

CameraBuilder::CameraBuilder(const std::weak_ptr<VideoDevice>& device, CameraInfo info) {
  std::shared_ptr<Camera> camera = createCamera(device, std::move(info));
  if (std::shared_ptr<VideoDevice> owner = device.lock()) {
    owner->addCamera(camera);
    return;
  }
  LUMO_LOG_AS(1, "CameraBuilder") << "Can't create new camera: can't lock VideoDevice";
  throw std::runtime_error("Can't lock VideoDevice");
}

std::shared_ptr<Camera> CameraBuilder::createCamera(std::weak_ptr<VideoDevice> device,
                                                    CameraInfo info) {
  LUMO_LOG(4) << "Building " << info.name << " (backend: " << info.backend << ")";

  std::shared_ptr<Camera> camera;
  if (info.backend == "Simulator2D") {
    camera = std::make_shared<CameraSimulator2D>(std::move(device), info.model, info.name);
  } else if (info.backend == "Simulator3D") {
    camera = std::make_shared<CameraSimulator3D>(std::move(device), info.model, info.name);
  } else {
    // The logged text and the thrown one differ on purpose: the log names the
    // backend, callers match on the short text.
    LUMO_LOG(2) << "Can't create camera backend,  model \"" << info.backend << "\" unsupported.";
    throw std::invalid_argument("Camera not supported");
  }

  // A camera that fails part of its configuration is still handed back, so
  // that the device knows it and its owner can inspect or fix it.
  try {
    camera->init();
    camera->setFieldOfView(info.fieldOfView);
    camera->setDefaultFlip(info.horizontalFlip, info.verticalFlip);
    camera->setNativelySupportedResolutions(std::move(info.resolutions));
    camera->setNativelySupportedColorSpaces(std::move(info.colorSpaces));
    camera->setNativelySupportedFrameRates(std::move(info.frameRates));
    if (!info.calibrationFiles.empty()) camera->setCalibration(std::move(info.calibrationFiles));
  } catch (const std::exception& error) {
    LUMO_LOG(3) << camera->getName() << ": Error at construction: " << error.what();
  }
  return camera;
}

void CameraBuilder::setupV4L2(CameraInfo& info, const std::string& devicePath) {
  backends::setupV4l2Camera(*backends::systemV4l2Io(), info, devicePath);
}

void CameraBuilder::setupSimulatorMT9M114(CameraInfo& info) {
  info.backend = "Simulator2D";
  info.model = "MT9M114";
  info.fieldOfView = kFov609x476;
  addResolutions(info, {{320, 240}, {640, 480}, {1280, 960}});
  info.colorSpaces.insert(ColorSpace::YUV_422);
  addFrameRates(info, 5, 30);
}

void CameraBuilder::setupSimulatorVelaStereo(CameraInfo& info) {
  info.backend = "Simulator3D";
  info.model = "Stereo";
  info.fieldOfView = kFov609x476;
  addResolutions(info, {{160, 120}, {320, 240}, {640, 480}, {1280, 960}});
  info.colorSpaces.insert(ColorSpace::DEPTH_16);
  addFrameRates(info, 1, 30);
}

void CameraBuilder::setupSimulatorOV5640(CameraInfo& info) {
  info.backend = "Simulator2D";
  info.model = "OV5640";
  info.fieldOfView = kFov572x443;
  addResolutions(info, {{320, 240}, {640, 480}, {2560, 1920}});
  info.colorSpaces.insert(ColorSpace::YUV_422);
  addFrameRates(info, 5, 30);
}

void CameraBuilder::setupSimulatorLIOV5640(CameraInfo& info) {
  info.backend = "Simulator2D";
  info.model = "OV5640";
  info.fieldOfView = kFov572x443;
  addResolutions(info, {{640, 480}, {1280, 960}, {2560, 1920}});
  info.colorSpaces.insert(ColorSpace::YUV_422);
  info.frameRates.insert({15, 30});
}

void CameraBuilder::setupSimulatorLIOV4689(CameraInfo& info) {
  info.backend = "Simulator2D";
  info.model = "OV4689";
  info.fieldOfView = kFov88x72;
  addResolutions(info, {{1344, 376}, {2560, 720}});
  info.colorSpaces.insert(ColorSpace::YUV_422);
  info.frameRates.insert({10, 15});
}

void CameraBuilder::setupSimulatorXTION(CameraInfo& info) {
  info.backend = "Simulator3D";
  info.model = "XTION";
  info.fieldOfView = kFovXtion;
  addResolutions(info, {{160, 120}, {320, 240}, {640, 480}});
  info.colorSpaces.insert(ColorSpace::DEPTH_16);
  addFrameRates(info, 1, 30);
}

void CameraBuilder::setupSimulatorQuillStereo(CameraInfo& info) {
  info.backend = "Simulator3D";
  info.model = "Stereo";
  info.fieldOfView = kFov88x72;
  addResolutions(info, {{80, 45}, {160, 90}, {320, 180}, {640, 360}, {1280, 720}});
  info.colorSpaces.insert(ColorSpace::DEPTH_16);
  addFrameRates(info, 1, 15);
}

// The real stereo cameras: their backends live outside this library, which
// only describes them.
void CameraBuilder::setupVelaStereo(CameraInfo& info) {
  info.backend = "VelaStereo";
  info.extra.clear();
  info.fieldOfView = kFov609x476;
  addResolutions(info, {{80, 60}, {160, 120}, {320, 240}, {640, 480}});
  info.colorSpaces.insert(ColorSpace::DEPTH_16);
  addFrameRates(info, 5, 30);
  addCalibrationFiles(info, {"calibration_stereo_left.yml", "calibration_stereo_right.yml"});
}

void CameraBuilder::setupQuillStereo(CameraInfo& info) {
  info.backend = "QuillStereo";
  info.extra.clear();
  info.fieldOfView = kFov88x72;
  addResolutions(info, {{160, 90}, {320, 180}, {640, 360}, {1280, 720}});
  info.colorSpaces.insert(ColorSpace::DEPTH_16);
  addFrameRates(info, 1, 15);
  addCalibrationFiles(info, {"calibration_liov4689_left.yml", "calibration_liov4689_right.yml"});
}

}  // namespace videoDevice
