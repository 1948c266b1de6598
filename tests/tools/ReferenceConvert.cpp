// The conversion the tool's --raw output must match, made another way: push the
// picture, take the camera's raw native frame, and convert it with the
// library's converter directly instead of fetching a converted image.
// Usage: videodevice_tool_reference 2D|3D PICTURE WxH COLORSPACE OUTPUT

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

#include <lumo/Clock.h>
#include <lumo/Log.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <videodevice/videodevice.h>

using namespace videoDevice;

namespace {

ColorSpace parseColorSpace(const std::string& name) {
  for (int value = 0; value < static_cast<int>(ColorSpace::UNKNOWN); ++value) {
    std::ostringstream text;
    text << static_cast<ColorSpace>(value);
    if (text.str() == name) return static_cast<ColorSpace>(value);
  }
  throw std::invalid_argument("unknown colour space " + name);
}

std::shared_ptr<ImageBuffer> bufferOf(const cv::Mat& pixels, ColorSpace colorSpace,
                                      const std::string& camera) {
  auto buffer = std::make_shared<ImageBuffer>(
      camera, Resolution(static_cast<std::uint64_t>(pixels.cols), static_cast<std::uint64_t>(pixels.rows)),
      colorSpace, true);
  const cv::Mat continuous = pixels.clone();
  std::copy(continuous.datastart, continuous.dataend, buffer->getData());
  return buffer;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) {
    std::cerr << "usage: " << argv[0] << " 2D|3D PICTURE WxH COLORSPACE OUTPUT\n";
    return 2;
  }
  lumo::log::setVerbosity(1);
  try {
    const bool depth = std::string(argv[1]) == "3D";
    unsigned long width = 0;
    unsigned long height = 0;
    if (std::sscanf(argv[3], "%lux%lu", &width, &height) != 2) throw std::invalid_argument("size");
    const Resolution resolution(width, height);
    const ColorSpace colorSpace = parseColorSpace(argv[4]);

    CameraInfo info;
    info.name = "camera";
    if (depth) {
      CameraBuilder::setupSimulatorXTION(info);
    } else {
      CameraBuilder::setupSimulatorMT9M114(info);
    }
    auto device = std::make_shared<VideoDevice>();
    CameraBuilder(device, info);
    const std::string subscriber =
        device->subscribeCamera("reference", "camera", resolution, colorSpace, 15);

    cv::Mat picture = cv::imread(argv[2], cv::IMREAD_UNCHANGED);
    if (picture.empty()) throw std::runtime_error("cannot read the picture");
    if (!depth) cv::cvtColor(picture, picture, cv::COLOR_BGR2RGB);
    auto frame = bufferOf(picture, depth ? ColorSpace::DEPTH_16 : ColorSpace::RGB_888, "camera");
    frame->setTimeStamp(lumo::Clock::now());
    device->putImage(frame);

    const auto raw = device->getDirectRawImage(lumo::Clock::now(), subscriber);
    auto converted = std::make_shared<ImageBuffer>("camera", resolution, colorSpace, true);
    const CameraPreferences requested(resolution, colorSpace, 15);
    if (depth) {
      Camera3D::convert3DImage(requested, raw, converted, cv::Mat());
    } else {
      Camera2D::convert2DImage(requested, raw, converted);
    }
    device->releaseDirectRawImage(subscriber);
    device->unsubscribe(subscriber);

    std::ofstream out(argv[5], std::ios::binary);
    out.write(reinterpret_cast<const char*>(converted->getData()),
              static_cast<std::streamsize>(converted->getSize()));
    return out ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << "reference: " << error.what() << "\n";
    return 1;
  }
}
