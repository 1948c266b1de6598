#pragma once
// Creates cameras from a CameraInfo, configures them and registers them with a
// device. The static set-up operations fill a CameraInfo with the fixed
// description of each known model; the caller then sets the name and builds.

#include <memory>

#include <videodevice/Camera.h>
#include <videodevice/CameraInfo.h>

namespace videoDevice {

class VideoDevice;

class CameraBuilder {
 public:
  // Builds the camera and adds it to the device. Throws std::runtime_error
  // ("Can't lock VideoDevice") when the device is gone.
  CameraBuilder(const std::weak_ptr<VideoDevice>& device, CameraInfo info);

  // Builds and configures without registering. Throws std::invalid_argument
  // ("Camera not supported") for a backend this library does not implement.
  static std::shared_ptr<Camera> createCamera(std::weak_ptr<VideoDevice> device, CameraInfo info);

  static void setupSimulatorMT9M114(CameraInfo& info);
  static void setupSimulatorVelaStereo(CameraInfo& info);
  static void setupSimulatorOV5640(CameraInfo& info);
  static void setupSimulatorLIOV5640(CameraInfo& info);
  static void setupSimulatorLIOV4689(CameraInfo& info);
  static void setupSimulatorXTION(CameraInfo& info);
  static void setupSimulatorQuillStereo(CameraInfo& info);
  static void setupVelaStereo(CameraInfo& info);
  static void setupQuillStereo(CameraInfo& info);
};

}  // namespace videoDevice
