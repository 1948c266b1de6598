// `videodevice convert`: push one picture into a simulated camera built from
// the catalogue, fetch one image the way a client module would, and write it.

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include <lumo/Clock.h>
#include <lumo/Log.h>
#include <opencv2/imgproc.hpp>
#include <videodevice/CameraBuilder.h>
#include <videodevice/VideoDevice.h>

#include "Catalogue.h"
#include "Commands.h"
#include "ImageFiles.h"
#include "ToolError.h"

namespace videoDeviceTool {

using videoDevice::CameraInfo;
using videoDevice::ColorSpace;
using videoDevice::ImageBuffer;
using videoDevice::Resolution;
using videoDevice::VideoDevice;

namespace {

struct ConvertOptions {
  std::string model;
  std::string input;
  std::string resolution;
  std::string colorSpace;
  unsigned short fps = 15;
  std::string output;
  bool raw = false;
};

// Collects the failures the library logs (level 2 and graver) while it lives,
// and still shows the records the user's verbosity asks for. The library
// corrects an unsupported subscription request instead of refusing it; its
// log says what was wrong, and that is what the user should read.
class LibraryFailures {
 public:
  LibraryFailures() : _userVerbosity(lumo::log::verbosity()) {
    _previous = lumo::log::setHandler([this](const lumo::log::Record& record) {
      if (record.level <= 2) {
        std::lock_guard<std::mutex> lock(_mutex);
        _messages.push_back(record.message);
      }
      if (record.level <= _userVerbosity && _previous) _previous(record);
    });
    lumo::log::setVerbosity(std::max(_userVerbosity, 2));
  }
  ~LibraryFailures() {
    lumo::log::setVerbosity(_userVerbosity);
    lumo::log::setHandler(_previous);
  }
  LibraryFailures(const LibraryFailures&) = delete;
  LibraryFailures& operator=(const LibraryFailures&) = delete;

  std::string text() const {
    std::lock_guard<std::mutex> lock(_mutex);
    std::string out;
    for (const auto& message : _messages) out += (out.empty() ? "" : "\n") + message;
    return out;
  }

 private:
  int _userVerbosity;
  lumo::log::Handler _previous;
  mutable std::mutex _mutex;
  std::vector<std::string> _messages;
};

std::string joinResolutions(const std::set<Resolution>& resolutions) {
  std::string out;
  for (const auto& r : resolutions) out += (out.empty() ? "" : ", ") + toString(r);
  return out;
}

// A picture at a size the camera does not list is resized to the largest listed
// size of the same aspect ratio that is not larger than the picture (or, for a
// picture smaller than all of them, the smallest one). The library then scales
// the listed size to the camera's native mode by a whole factor.
cv::Mat fitToCamera(const cv::Mat& picture, const CameraInfo& info, const std::string& modelName) {
  const Resolution size(static_cast<std::uint64_t>(picture.cols),
                        static_cast<std::uint64_t>(picture.rows));
  // Compared field by field: the sets' own order treats sizes of other aspect
  // ratios as equivalent.
  if (std::any_of(info.resolutions.begin(), info.resolutions.end(),
                  [&](const Resolution& r) { return r == size; })) {
    return picture;
  }
  std::vector<Resolution> sameAspect;
  for (const auto& r : info.resolutions) {
    if (r.width * size.height == size.width * r.height) sameAspect.push_back(r);
  }
  if (sameAspect.empty()) {
    throw ToolError("the picture is " + toString(size) + ", and " + modelName +
                    " has no resolution of that aspect ratio (it supports " +
                    joinResolutions(info.resolutions) + "); crop the picture first");
  }
  Resolution target = sameAspect.front();
  for (const auto& r : sameAspect) {
    if (r.width <= size.width && r.height <= size.height) target = r;
  }
  std::cout << "Resizing the picture from " << toString(size) << " to " << toString(target)
            << ", a resolution " << modelName << " supports.\n";
  cv::Mat resized;
  const bool shrinking = target.width < size.width;
  const bool depth = picture.depth() == CV_16U;
  cv::resize(picture, resized,
             cv::Size(static_cast<int>(target.width), static_cast<int>(target.height)), 0, 0,
             depth ? cv::INTER_NEAREST : (shrinking ? cv::INTER_AREA : cv::INTER_LINEAR));
  return resized;
}

std::string jsonString(const std::string& text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + "\"";
}

std::string sidecar(const ImageBuffer& image, const std::string& modelName) {
  const auto resolution = image.getResolution();
  const auto fieldOfView = image.getFieldOfView();
  std::ostringstream out;
  out.precision(9);
  out << "{\n"
      << "  \"camera\": " << jsonString(image.getCameraName()) << ",\n"
      << "  \"model\": " << jsonString(modelName) << ",\n"
      << "  \"width\": " << resolution.width << ",\n"
      << "  \"height\": " << resolution.height << ",\n"
      << "  \"colorSpace\": " << jsonString(toString(image.getColorSpace())) << ",\n"
      << "  \"bytes\": " << image.getSize() << ",\n"
      << "  \"timeStamp\": " << image.getTimeStamp().time_since_epoch().count() << ",\n"
      << "  \"fieldOfView\": {\"horizontal\": " << fieldOfView.horizontal
      << ", \"vertical\": " << fieldOfView.vertical << "}\n"
      << "}\n";
  return out.str();
}

int runConvert(const ConvertOptions& options) {
  const Model& model = findModel(options.model);
  const Resolution resolution = parseResolution(options.resolution);
  const ColorSpace colorSpace = parseColorSpace(options.colorSpace);
  const CameraInfo info = describe(model, model.name);
  InputPicture picture = readInputPicture(options.input, colorSpace == ColorSpace::INFRARED_16);

  auto device = std::make_shared<VideoDevice>();
  videoDevice::CameraBuilder(device, info);  // throws "Camera not supported" for real cameras

  std::string subscriber;
  {
    LibraryFailures failures;
    try {
      subscriber = device->subscribeCamera("convert", info.name, resolution, colorSpace,
                                           options.fps);
    } catch (const std::exception& error) {
      const std::string logged = failures.text();
      throw ToolError(logged.empty() ? error.what() : logged + "\n" + error.what());
    }
    // An unsupported request is corrected rather than refused; the tool does
    // not silently hand back something else than was asked for.
    if (device->getResolution(subscriber) != resolution ||
        device->getColorSpace(subscriber) != colorSpace ||
        device->getFrameRate(subscriber) != options.fps) {
      const std::string logged = failures.text();
      device->unsubscribe(subscriber);
      throw ToolError(logged.empty() ? "the camera cannot serve this request" : logged);
    }
  }

  const cv::Mat pixels = fitToCamera(picture.pixels, info, model.name);
  auto frame = toImageBuffer(pixels, picture.colorSpace, info.name);
  frame->setTimeStamp(lumo::Clock::now());

  cv::Mat shown;
  std::string rawBytes;
  std::string json;
  try {
    device->putImage(frame);
    const auto image = device->getImage(lumo::Clock::now(), subscriber);
    try {
      if (options.raw) {
        rawBytes.assign(reinterpret_cast<const char*>(image->getData()), image->getSize());
        json = sidecar(*image, model.name);
      } else {
        shown = visualise(*image);
      }
    } catch (...) {
      device->releaseImage(subscriber);
      throw;
    }
    device->releaseImage(subscriber);
  } catch (...) {
    device->unsubscribe(subscriber);
    throw;
  }
  device->unsubscribe(subscriber);

  if (options.raw) {
    const std::string jsonPath = options.output + ".json";
    writeFileAtomically(options.output, rawBytes);
    try {
      writeFileAtomically(jsonPath, json);
    } catch (...) {
      std::remove(options.output.c_str());
      throw;
    }
    std::cout << "Wrote " << options.output << " (" << rawBytes.size() << " bytes, "
              << toString(resolution) << " " << toString(colorSpace) << ") and " << jsonPath
              << "\n";
  } else {
    writePicture(options.output, shown);
    std::cout << "Wrote " << options.output << " (" << toString(resolution) << " "
              << toString(colorSpace) << " from " << model.name << ")\n";
  }
  return 0;
}

}  // namespace

Command addConvertCommand(CLI::App& parent) {
  auto options = std::make_shared<ConvertOptions>();
  CLI::App* app = parent.add_subcommand(
      "convert", "Push a picture into a simulated camera and write the image a client gets");
  app->footer(
      "The picture is pushed the way a robot simulator would push a frame: 8-bit pictures\n"
      "as RGB_888 into 2D cameras, 16-bit single-channel pictures as DEPTH_16 into depth\n"
      "cameras (as INFRARED_16 when that colour space is asked for). A picture at a size\n"
      "the camera does not list is resized to the largest listed size of the same aspect\n"
      "ratio that fits in it (the smallest one for a smaller picture); the library then\n"
      "scales that to the camera's native mode. Nothing is written when anything fails.\n\n" +
      visualisationHelp() +
      "\n\nExample:\n  videodevice convert --model MT9M114 --input photo.png --resolution 320x240 "
      "\\\n      --colorspace HSY_888 --output hsy.png");
  app->add_option("-m,--model", options->model, "Camera model, see `videodevice models`")
      ->required();
  app->add_option("-i,--input", options->input, "Picture to push (PNG, JPEG, ...)")->required();
  app->add_option("-r,--resolution", options->resolution, "Requested size, WIDTHxHEIGHT")
      ->required();
  app->add_option("-c,--colorspace", options->colorSpace,
                  "Requested colour space, e.g. RGB_888, HSY_888, Y_8, DEPTH_16")
      ->required();
  app->add_option("-f,--fps", options->fps, "Requested frame rate")->capture_default_str();
  app->add_option("-o,--output", options->output,
                  "Picture to write (its extension picks the format), or raw bytes with --raw")
      ->required();
  app->add_flag("--raw", options->raw,
                "Write the exact bytes of the fetched image, and OUTPUT.json describing them");
  return {app, [options] { return runConvert(*options); }};
}

}  // namespace videoDeviceTool
