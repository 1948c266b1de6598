#pragma once
// Base of the simulated cameras: a CameraBase with no hardware, flagged as
// simulated. Frames arrive from outside through putImage.

#include <memory>
#include <string>

#include "videodevice/CameraBase.h"

namespace videoDevice {

class CameraSimulator : public CameraBase {
 public:
  CameraSimulator(std::weak_ptr<VideoDevice> videoDevice, std::string model, std::string name)
      : CameraBase(std::move(videoDevice), std::move(model), std::move(name), true) {}
  ~CameraSimulator() override = default;
};

}  // namespace videoDevice
