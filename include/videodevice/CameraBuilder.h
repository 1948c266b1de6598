#pragma once
// Creates cameras from a CameraInfo, configures them and registers them with a
// device. The static set-up operations fill a CameraInfo with the fixed
// description of each known model; the caller then sets the name and builds.

#include <memory>
#include <string>

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
  // A real camera on a V4L2 capture node: backend "V4L2", the card name as
  // model, and the node's YUYV sizes and frame rates. Throws
  // std::runtime_error naming the path when the node is missing, busy, not a
  // capture device, or offers no YUYV.
  static void setupV4L2(CameraInfo& info, const std::string& devicePath);
};

}  // namespace videoDevice
