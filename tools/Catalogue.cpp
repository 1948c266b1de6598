#include "Catalogue.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <sstream>

#include <videodevice/CameraBuilder.h>

#include "ToolError.h"

namespace videoDeviceTool {

using videoDevice::CameraBuilder;
using videoDevice::CameraInfo;
using videoDevice::ColorSpace;
using videoDevice::Resolution;

namespace {

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

template <typename Item, typename Name>
std::string joinNames(const std::vector<Item>& items, Name name) {
  std::string out;
  for (const auto& item : items) {
    if (!out.empty()) out += ", ";
    out += name(item);
  }
  return out;
}

}  // namespace

const std::vector<Model>& models() {
  // The simulator set-ups keep the sensor's name; the two simulated stereo
  // cameras carry "Sim" so that they are not mistaken for the real ones.
  static const std::vector<Model> list = {
      {"MT9M114", "setupSimulatorMT9M114", &CameraBuilder::setupSimulatorMT9M114, true},
      {"VelaStereoSim", "setupSimulatorVelaStereo", &CameraBuilder::setupSimulatorVelaStereo, true},
      {"OV5640", "setupSimulatorOV5640", &CameraBuilder::setupSimulatorOV5640, true},
      {"LIOV5640", "setupSimulatorLIOV5640", &CameraBuilder::setupSimulatorLIOV5640, true},
      {"LIOV4689", "setupSimulatorLIOV4689", &CameraBuilder::setupSimulatorLIOV4689, true},
      {"XTION", "setupSimulatorXTION", &CameraBuilder::setupSimulatorXTION, true},
      {"QuillStereoSim", "setupSimulatorQuillStereo", &CameraBuilder::setupSimulatorQuillStereo,
       true},
      {"VelaStereo", "setupVelaStereo", &CameraBuilder::setupVelaStereo, false},
      {"QuillStereo", "setupQuillStereo", &CameraBuilder::setupQuillStereo, false},
  };
  return list;
}

const Model& findModel(const std::string& name) {
  for (const Model& model : models()) {
    if (lower(model.name) == lower(name)) return model;
  }
  throw ToolError("unknown model \"" + name + "\"; known models: " +
                  joinNames(models(), [](const Model& m) { return m.name; }));
}

CameraInfo describe(const Model& model, const std::string& cameraName) {
  CameraInfo info;
  info.name = cameraName;
  model.fill(info);
  return info;
}

bool isDepthBackend(const CameraInfo& info) {
  return info.backend == "Simulator3D" ||
         (info.colorSpaces.size() == 1 && *info.colorSpaces.begin() == ColorSpace::DEPTH_16);
}

std::vector<ColorSpace> allColorSpaces() {
  std::vector<ColorSpace> list;
  for (int value = 0; value < static_cast<int>(ColorSpace::UNKNOWN); ++value) {
    list.push_back(static_cast<ColorSpace>(value));
  }
  return list;
}

std::string toString(ColorSpace colorSpace) {
  std::ostringstream out;
  out << colorSpace;
  return out.str();
}

ColorSpace parseColorSpace(const std::string& text) {
  for (ColorSpace colorSpace : allColorSpaces()) {
    if (lower(toString(colorSpace)) == lower(text)) return colorSpace;
  }
  throw ToolError("unknown colour space \"" + text + "\"; known colour spaces: " +
                  joinNames(allColorSpaces(), [](ColorSpace c) { return toString(c); }));
}

std::string toString(const Resolution& resolution) {
  return std::to_string(resolution.width) + "x" + std::to_string(resolution.height);
}

Resolution parseResolution(const std::string& text) {
  const auto cross = text.find_first_of("xX");
  const auto isNumber = [](const std::string& s) {
    return !s.empty() && s.size() <= 9 &&
           std::all_of(s.begin(), s.end(), [](unsigned char c) { return std::isdigit(c); });
  };
  if (cross != std::string::npos) {
    const std::string width = text.substr(0, cross);
    const std::string height = text.substr(cross + 1);
    if (isNumber(width) && isNumber(height)) {
      return Resolution(std::stoull(width), std::stoull(height));
    }
  }
  throw ToolError("invalid resolution \"" + text + "\"; write it as WIDTHxHEIGHT, e.g. 320x240");
}

std::string describeFrameRates(const std::set<unsigned short>& rates) {
  if (rates.empty()) return "-";
  const unsigned first = *rates.begin();
  const unsigned last = *rates.rbegin();
  if (rates.size() > 2 && last - first + 1 == rates.size()) {
    return std::to_string(first) + "-" + std::to_string(last);
  }
  std::string out;
  for (unsigned short rate : rates) {
    if (!out.empty()) out += ", ";
    out += std::to_string(rate);
  }
  return out;
}

double toDegrees(float radians) {
  constexpr double pi = 3.14159265358979323846;
  return static_cast<double>(radians) * 180.0 / pi;
}

}  // namespace videoDeviceTool
