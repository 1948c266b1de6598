#pragma once
// The camera models the tool knows, and the parsing and printing of the names
// a user types: model names, colour spaces, resolutions, frame rates.

#include <set>
#include <string>
#include <vector>

#include <videodevice/CameraInfo.h>
#include <videodevice/Types.h>

namespace videoDeviceTool {

// One entry of the library's catalogue, under the name the tool accepts.
struct Model {
  std::string name;   // what the user types, e.g. "MT9M114", "XTION", "VelaStereoSim"
  std::string setup;  // the CameraBuilder set-up that fills its CameraInfo
  void (*fill)(videoDevice::CameraInfo&);
  bool simulated;     // false for the real stereo set-ups, which this library cannot build
};

const std::vector<Model>& models();
// Case-insensitive look-up; throws ToolError listing the known names.
const Model& findModel(const std::string& name);
// The CameraInfo the set-up fills, with the given camera name.
videoDevice::CameraInfo describe(const Model& model, const std::string& cameraName);
bool isDepthBackend(const videoDevice::CameraInfo& info);

// Every colour space but UNKNOWN, in enumeration order.
std::vector<videoDevice::ColorSpace> allColorSpaces();
std::string toString(videoDevice::ColorSpace colorSpace);
// Exact name, case-insensitive ("hsy_888" works); throws ToolError.
videoDevice::ColorSpace parseColorSpace(const std::string& text);

std::string toString(const videoDevice::Resolution& resolution);
// "320x240"; throws ToolError.
videoDevice::Resolution parseResolution(const std::string& text);

// "5-30" for a run of consecutive rates, "15, 30" otherwise.
std::string describeFrameRates(const std::set<unsigned short>& rates);
double toDegrees(float radians);

}  // namespace videoDeviceTool
