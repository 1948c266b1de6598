#pragma once
// Description of one camera for CameraBuilder: identity, backend, supported
// modes, field of view, flips and calibration files.

#include <set>
#include <string>
#include <vector>

#include <videodevice/Types.h>

namespace videoDevice {

struct CameraInfo {
  std::string name;     // registered and logged under this name
  std::string backend;  // "Simulator2D", "Simulator3D", or a real backend's name
  std::string model;    // sensor model, e.g. "OV5640"
  std::string extra;    // free text, never read by the library
  FieldOfView fieldOfView{0.0f, 0.0f};
  bool horizontalFlip = false;
  bool verticalFlip = false;
  std::vector<std::string> calibrationFiles;
  std::set<Resolution> resolutions;
  std::set<ColorSpace> colorSpaces;
  std::set<unsigned short> frameRates;
  std::string devicePath{};  // the capture node of a real camera, e.g. "/dev/video0"
};

}  // namespace videoDevice
