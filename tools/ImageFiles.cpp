#include "ImageFiles.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

#include <unistd.h>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <videodevice/Camera3D.h>

#include "Catalogue.h"
#include "ToolError.h"

namespace videoDeviceTool {

using videoDevice::ColorSpace;
using videoDevice::ImageBuffer;
using videoDevice::Resolution;

namespace fs = std::filesystem;

namespace {

// Whether the file starts like a PNG or a JPEG picture. OpenCV tries every
// decoder it was built with on whatever it is given, and some of the
// third-party ones (medical and geographic formats) abort the process on a
// forged header; only the two formats the tool documents reach a decoder.
bool looksLikePngOrJpeg(const std::string& path) {
  static const unsigned char png[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  static const unsigned char jpeg[] = {0xFF, 0xD8, 0xFF};
  unsigned char head[sizeof png] = {};
  std::ifstream file(path, std::ios::binary);
  file.read(reinterpret_cast<char*>(head), sizeof head);
  const auto got = static_cast<std::size_t>(file.gcount());
  return (got >= sizeof png && std::memcmp(head, png, sizeof png) == 0) ||
         (got >= sizeof jpeg && std::memcmp(head, jpeg, sizeof jpeg) == 0);
}

}  // namespace

InputPicture readInputPicture(const std::string& path, bool sixteenBitAsInfrared) {
  std::error_code error;
  if (!fs::is_regular_file(path, error)) {
    throw ToolError("cannot read \"" + path + "\": no such file");
  }
  cv::Mat picture;
  if (!looksLikePngOrJpeg(path)) {
    throw ToolError("cannot read \"" + path + "\": not a picture this tool can decode");
  }
  try {
    picture = cv::imread(path, cv::IMREAD_UNCHANGED);
  } catch (const cv::Exception&) {
    // OpenCV throws instead of returning nothing for a header whose size it
    // refuses to decode (wider than it allows, or too many pixels).
    picture.release();
  }
  if (picture.empty()) {
    throw ToolError("cannot read \"" + path + "\": not a picture this tool can decode");
  }
  if (picture.depth() == CV_16U && picture.channels() == 1) {
    return {picture, sixteenBitAsInfrared ? ColorSpace::INFRARED_16 : ColorSpace::DEPTH_16};
  }
  if (picture.depth() == CV_16U) {
    // 16-bit colour: keep the high byte of each sample.
    picture.convertTo(picture, CV_8U, 1.0 / 256.0);
  }
  if (picture.depth() != CV_8U) {
    throw ToolError("cannot use \"" + path + "\": only 8-bit pictures and 16-bit single-channel "
                    "depth pictures are supported");
  }
  cv::Mat rgb;
  switch (picture.channels()) {
    case 1: cv::cvtColor(picture, rgb, cv::COLOR_GRAY2RGB); break;
    case 3: cv::cvtColor(picture, rgb, cv::COLOR_BGR2RGB); break;
    case 4: cv::cvtColor(picture, rgb, cv::COLOR_BGRA2RGB); break;
    default:
      throw ToolError("cannot use \"" + path + "\": " + std::to_string(picture.channels()) +
                      " channels per pixel are not supported");
  }
  return {rgb, ColorSpace::RGB_888};
}

std::shared_ptr<ImageBuffer> toImageBuffer(const cv::Mat& pixels, ColorSpace colorSpace,
                                           const std::string& cameraName) {
  auto buffer = std::make_shared<ImageBuffer>(
      cameraName, Resolution(static_cast<std::uint64_t>(pixels.cols),
                             static_cast<std::uint64_t>(pixels.rows)),
      colorSpace, true);
  const std::size_t rowBytes = static_cast<std::size_t>(pixels.cols) * pixels.elemSize();
  if (rowBytes * static_cast<std::size_t>(pixels.rows) != buffer->getSize()) {
    throw ToolError("internal error: picture and " + toString(colorSpace) +
                    " buffer sizes differ");
  }
  unsigned char* out = buffer->getData();
  for (int row = 0; row < pixels.rows; ++row) {
    std::memcpy(out + rowBytes * static_cast<std::size_t>(row), pixels.ptr(row), rowBytes);
  }
  return buffer;
}

cv::Mat depthToColour(const cv::Mat& depth16) {
  const Resolution size(static_cast<std::uint64_t>(depth16.cols),
                        static_cast<std::uint64_t>(depth16.rows));
  auto output = std::make_shared<ImageBuffer>("picture", size, ColorSpace::RGB_888, true);
  videoDevice::Camera3D::convertDepth16toRGB888(
      toImageBuffer(depth16, ColorSpace::DEPTH_16, "picture"), output);
  cv::Mat bgr;
  cv::cvtColor(cv::Mat(depth16.rows, depth16.cols, CV_8UC3, output->getData()), bgr,
               cv::COLOR_RGB2BGR);
  return bgr;
}

namespace {

// A header over the buffer's bytes, with the given element type.
cv::Mat view(const ImageBuffer& buffer, int type) {
  const auto& resolution = buffer.getResolution();
  return cv::Mat(static_cast<int>(resolution.height), static_cast<int>(resolution.width), type,
                 const_cast<unsigned char*>(buffer.getData()));
}

cv::Mat convert(const cv::Mat& input, int code) {
  cv::Mat output;
  cv::cvtColor(input, output, code);
  return output;
}

// 16-bit values stretched so that the largest becomes white.
cv::Mat stretchToGrey(const cv::Mat& values16) {
  double maximum = 0.0;
  cv::minMaxLoc(values16, nullptr, &maximum);
  cv::Mat grey;
  values16.convertTo(grey, CV_8U, maximum > 0.0 ? 255.0 / maximum : 0.0);
  return grey;
}

}  // namespace

cv::Mat visualise(const ImageBuffer& buffer) {
  const auto resolution = buffer.getResolution();
  if (resolution.width == 0 || resolution.height == 0 || buffer.getData() == nullptr) {
    throw ToolError("the camera delivered an empty image");
  }
  const int width = static_cast<int>(resolution.width);
  const int height = static_cast<int>(resolution.height);
  switch (buffer.getColorSpace()) {
    case ColorSpace::Y_8:
    case ColorSpace::U_8:
    case ColorSpace::V_8:
    case ColorSpace::H_8:
    case ColorSpace::S_8:
    case ColorSpace::R_8:
    case ColorSpace::G_8:
    case ColorSpace::B_8:
    case ColorSpace::NV12_420:  // the luma plane
      return view(buffer, CV_8UC1).clone();
    case ColorSpace::RGB_888:
      return convert(view(buffer, CV_8UC3), cv::COLOR_RGB2BGR);
    case ColorSpace::BGR_888:
    case ColorSpace::H2RGB_888:  // its bytes are blue, green, red
      return view(buffer, CV_8UC3).clone();
    case ColorSpace::YUV_422:
      return convert(view(buffer, CV_8UC2), cv::COLOR_YUV2BGR_YUY2);
    case ColorSpace::YYCBCR_8888: {
      // Groups Y0 Y1 Cb Cr, one per pixel pair, packed from the start of the
      // buffer: put them back in Y0 Cb Y1 Cr order and convert as YUV 4:2:2.
      // An odd last column has no group and is left out.
      const int evenWidth = width - width % 2;
      if (evenWidth == 0) return cv::Mat(height, width, CV_8UC3, cv::Scalar::all(0));
      cv::Mat yuyv(height, evenWidth, CV_8UC2);
      const unsigned char* in = buffer.getData();
      unsigned char* out = yuyv.data;
      const std::size_t groups =
          static_cast<std::size_t>(evenWidth / 2) * static_cast<std::size_t>(height);
      for (std::size_t g = 0; g < groups; ++g, in += 4, out += 4) {
        out[0] = in[0];
        out[1] = in[2];
        out[2] = in[1];
        out[3] = in[3];
      }
      return convert(yuyv, cv::COLOR_YUV2BGR_YUY2);
    }
    case ColorSpace::YUV_888:
      return convert(view(buffer, CV_8UC3), cv::COLOR_YUV2BGR);
    case ColorSpace::HSY_888:
      // Hue on the full 0..255 circle, saturation, and luma as the value.
      return convert(view(buffer, CV_8UC3), cv::COLOR_HSV2BGR_FULL);
    case ColorSpace::HSMIXED_888: {
      // Hue, saturation, hue: shown as hue and saturation at full value.
      cv::Mat hsv = view(buffer, CV_8UC3).clone();
      std::vector<cv::Mat> channels;
      cv::split(hsv, channels);
      channels[2].setTo(255);
      cv::merge(channels, hsv);
      return convert(hsv, cv::COLOR_HSV2BGR_FULL);
    }
    case ColorSpace::LAB_888:
      return convert(view(buffer, CV_8UC3), cv::COLOR_Lab2BGR);
    case ColorSpace::ARGB_8888: {
      cv::Mat bgr(height, width, CV_8UC3);
      const int fromTo[] = {3, 0, 2, 1, 1, 2};  // A R G B -> B G R
      cv::Mat argb = view(buffer, CV_8UC4);
      cv::mixChannels(&argb, 1, &bgr, 1, fromTo, 3);
      return bgr;
    }
    case ColorSpace::DEPTH_16:
    case ColorSpace::RAW_DEPTH_16:
      return depthToColour(view(buffer, CV_16UC1));
    case ColorSpace::INFRARED_16:
      return stretchToGrey(view(buffer, CV_16UC1));
    case ColorSpace::DISTANCE_32:
      // 16-bit distances packed from the start of the buffer.
      return depthToColour(view(buffer, CV_16UC1));
    case ColorSpace::XYZ_323232: {
      // The first coordinate of each point is its depth along the optical axis.
      std::vector<cv::Mat> xyz;
      cv::split(view(buffer, CV_32FC3), xyz);
      cv::Mat depth;
      xyz[0].convertTo(depth, CV_16U);
      return depthToColour(depth);
    }
    case ColorSpace::UNKNOWN:
      break;
  }
  throw ToolError("cannot show an image in colour space " + toString(buffer.getColorSpace()));
}

std::string visualisationHelp() {
  return "How each colour space is shown in a picture (use --raw for the exact bytes):\n"
         "  Y_8 U_8 V_8 H_8 S_8 R_8 G_8 B_8   grey, one byte per pixel as it is\n"
         "  RGB_888 BGR_888 YUV_422 YUV_888  converted to colour\n"
         "  YYCBCR_8888                      converted to colour (as YUV 4:2:2)\n"
         "  HSY_888                          converted to colour: hue, saturation, luma as value\n"
         "  HSMIXED_888                      converted to colour: hue and saturation at full value\n"
         "  H2RGB_888                        its bytes as they are (blue, green, red)\n"
         "  DEPTH_16 RAW_DEPTH_16            the library's depth colour ramp (red near, blue far)\n"
         "  DISTANCE_32                      the 16-bit distances in the same ramp\n"
         "  XYZ_323232                       the depth coordinate of each point in the same ramp\n"
         "  INFRARED_16                      grey, stretched so that the brightest pixel is white";
}

void writeFileAtomically(const std::string& path, const std::string& bytes) {
  const fs::path target(path);
  if (target.filename().empty()) throw ToolError("invalid output name \"" + path + "\"");
  const fs::path temporary =
      target.parent_path() / ("." + target.filename().string() + ".part" + std::to_string(getpid()));
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out) {
      std::error_code ignored;
      fs::remove(temporary, ignored);
      throw ToolError("cannot write \"" + path + "\"");
    }
  }
  std::error_code error;
  fs::rename(temporary, target, error);
  if (error) {
    std::error_code ignored;
    fs::remove(temporary, ignored);
    throw ToolError("cannot write \"" + path + "\": " + error.message());
  }
}

void writePicture(const std::string& path, const cv::Mat& picture) {
  std::string extension = fs::path(path).extension().string();
  if (extension.empty()) extension = ".png";
  std::vector<unsigned char> encoded;
  bool ok = false;
  try {
    ok = cv::imencode(extension, picture, encoded);
  } catch (const cv::Exception&) {
    ok = false;
  }
  if (!ok) throw ToolError("cannot write \"" + path + "\": unsupported picture type " + extension);
  writeFileAtomically(path, std::string(encoded.begin(), encoded.end()));
}

}  // namespace videoDeviceTool
