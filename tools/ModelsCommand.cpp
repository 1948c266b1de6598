// `videodevice models`: the catalogue of camera set-ups, as the builder fills
// them in.

#include <iostream>
#include <string>

#include "Catalogue.h"
#include "Commands.h"
#include "Table.h"

namespace videoDeviceTool {

namespace {

std::string joinResolutions(const std::set<videoDevice::Resolution>& resolutions) {
  std::string out;
  for (const auto& resolution : resolutions) {
    if (!out.empty()) out += " ";
    out += toString(resolution);
  }
  return out.empty() ? "-" : out;
}

std::string joinColorSpaces(const std::set<videoDevice::ColorSpace>& colorSpaces) {
  std::string out;
  for (const auto colorSpace : colorSpaces) {
    if (!out.empty()) out += " ";
    out += toString(colorSpace);
  }
  return out.empty() ? "-" : out;
}

int runModels() {
  Table table({"name", "set-up", "backend", "model", "resolutions", "colour spaces", "fps",
               "field of view (deg)"});
  for (const Model& model : models()) {
    const videoDevice::CameraInfo info = describe(model, model.name);
    table.addRow({model.name, model.setup, info.backend, info.model.empty() ? "-" : info.model,
                  joinResolutions(info.resolutions), joinColorSpaces(info.colorSpaces),
                  describeFrameRates(info.frameRates),
                  formatFixed(toDegrees(info.fieldOfView.horizontal), 1) + " x " +
                      formatFixed(toDegrees(info.fieldOfView.vertical), 1)});
  }
  table.print(std::cout);
  std::cout << "\nUse the name with `videodevice convert --model NAME`. Simulator2D cameras take "
               "YUV_422, RGB_888 or BGR_888\npictures, Simulator3D cameras DEPTH_16 or "
               "INFRARED_16; VelaStereo and QuillStereo are real\ncameras whose backends are not "
               "part of this library.\n";
  return 0;
}

}  // namespace

Command addModelsCommand(CLI::App& parent) {
  CLI::App* app = parent.add_subcommand(
      "models", "List the camera catalogue: resolutions, colour spaces, frame rates, field of view");
  return {app, runModels};
}

}  // namespace videoDeviceTool
