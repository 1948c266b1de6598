// Every converter of the library at factors 1 and 2 on 640x480 and 1280x960
// frames, each with the reference it is compared with and its goal.
//
// Bytes count the whole input frame plus the output image the converter
// writes, whatever the factor.

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include <videodevice/Camera2D.h>
#include <videodevice/Camera3D.h>

#include "Catalogue.h"
#include "Frames.h"
#include "Measure.h"
#include "ReferenceNames.h"

namespace bench {

namespace {

using videoDevice::Camera2D;
using videoDevice::Camera3D;
using Convert2D = void (*)(const Camera2D::Input&, const Camera2D::Output&);

// What a converter is compared with, at which sizes a goal applies.
enum class Compare {
  Memcpy,         // memcpy of the input frame
  Rgb24Rows,      // libyuv YUYV to RGB24 row by row, at the output size
  Luma,           // libyuv YUY2ToY, at the output size
  Hsv,            // OpenCV RGB to HSV, at the output size
  Resize,         // OpenCV nearest-neighbour resize, same sizes
};

struct Converter2D {
  ColorSpace colorSpace;
  Convert2D convert;
  Compare compare;
};

const Converter2D kConverters2D[] = {
    {ColorSpace::RGB_888, &Camera2D::convertYUV422toRGB888, Compare::Rgb24Rows},
    {ColorSpace::BGR_888, &Camera2D::convertYUV422toBGR888, Compare::Rgb24Rows},
    {ColorSpace::R_8, &Camera2D::convertYUV422toR8, Compare::Rgb24Rows},
    {ColorSpace::G_8, &Camera2D::convertYUV422toG8, Compare::Rgb24Rows},
    {ColorSpace::B_8, &Camera2D::convertYUV422toB8, Compare::Rgb24Rows},
    {ColorSpace::Y_8, &Camera2D::convertYUV422toY8, Compare::Luma},
    {ColorSpace::U_8, &Camera2D::convertYUV422toU8, Compare::Memcpy},
    {ColorSpace::V_8, &Camera2D::convertYUV422toV8, Compare::Memcpy},
    {ColorSpace::YUV_422, &Camera2D::convertYUV422toYUV422, Compare::Memcpy},
    {ColorSpace::YUV_888, &Camera2D::convertYUV422toYUV888, Compare::Memcpy},
    {ColorSpace::YYCBCR_8888, &Camera2D::convertYUV422toYYCbCr, Compare::Memcpy},
    {ColorSpace::H_8, &Camera2D::convertYUV422toH8, Compare::Hsv},
    {ColorSpace::S_8, &Camera2D::convertYUV422toS8, Compare::Hsv},
    {ColorSpace::HSY_888, &Camera2D::convertYUV422toHSY888, Compare::Hsv},
    {ColorSpace::HSMIXED_888, &Camera2D::convertYUV422toHSMixed888, Compare::Hsv},
    {ColorSpace::H2RGB_888, &Camera2D::convertYUV422toH2RGB, Compare::Hsv},
};

std::string nameOf(ColorSpace colorSpace) {
  std::ostringstream out;
  out << colorSpace;
  return out.str();
}

std::string referenceFor(Compare compare, const Resolution& in, const Resolution& out) {
  switch (compare) {
    case Compare::Memcpy:
      return memcpyReference(in);
    case Compare::Rgb24Rows:
      return rgb24RowsReference(out);
    case Compare::Luma:
      return lumaReference(out);
    case Compare::Hsv:
      return hsvReference(out);
    case Compare::Resize:
      return resizeReference(in, out);
  }
  return {};
}

Goal ratio(double value) { return {Goal::Kind::TimeRatioAtMost, value}; }
Goal throughput(double gigabytes) { return {Goal::Kind::GigabytesPerSecond, gigabytes}; }

// The goals of the 2D converters. `factor` scales `in` down to the output.
Goal goal2D(ColorSpace colorSpace, Compare compare, const Resolution& in, int factor) {
  switch (compare) {
    case Compare::Rgb24Rows:
      if (colorSpace == ColorSpace::R_8 || colorSpace == ColorSpace::G_8 ||
          colorSpace == ColorSpace::B_8)
        return ratio(1.0);
      // RGB_888 and BGR_888: scaled to 320x240 from 640x480.
      return factor == 2 && in == Resolution(640, 480) ? ratio(1.5) : Goal{};
    case Compare::Luma:
      return factor == 1 ? ratio(1.5) : Goal{};
    case Compare::Memcpy:
      return throughput(45.0);
    case Compare::Hsv:
      return ratio(0.5);
    case Compare::Resize:
      break;
  }
  return {};
}

Resolution scaled(const Resolution& in, int factor) {
  return {in.width / static_cast<std::uint64_t>(factor),
          in.height / static_cast<std::uint64_t>(factor)};
}

Entry converterEntry(const std::string& family, const std::string& what, const Resolution& in,
                     int factor, std::uint64_t bytes) {
  Entry entry;
  entry.name = family + "/" + what + "/" + sizeName(in) + "/f" + std::to_string(factor);
  entry.section = Section::Converter;
  entry.what = family + " " + what;
  entry.size = sizeName(in) + " → " + sizeName(scaled(in, factor));
  entry.bytes = bytes;
  return entry;
}

void add2D(Catalogue& catalogue, const Converter2D& converter, const Resolution& in, int factor) {
  const Resolution out = scaled(in, factor);
  const std::uint64_t bytes =
      imageBytes(in, ColorSpace::YUV_422) + imageBytes(out, converter.colorSpace);
  Entry entry = converterEntry("2D", nameOf(converter.colorSpace), in, factor, bytes);
  entry.reference = referenceFor(converter.compare, in, out);
  entry.goal = goal2D(converter.colorSpace, converter.compare, in, factor);
  // Judged on their average over factors 1 and 2 too.
  if (converter.compare == Compare::Memcpy) entry.group = "YUV layouts " + sizeName(in);
  catalogue.add(std::move(entry), [converter, in, out, bytes](benchmark::State& state) {
    const auto input = yuyvFrame(in);
    const auto output = outputImage(out, converter.colorSpace);
    measure(state, bytes, [&] { converter.convert(input, output); });
  });
}

// The depth conversions a depth camera serves, as convert3DImage runs them.
struct ConverterDepth {
  ColorSpace colorSpace;
  const char* what;
  std::uint64_t bytesPerOutputPixel;  // what the converter writes
  void (*convert)(const Camera3D::Input&, const Camera3D::Output&);
};

void depthToRgb(const Camera3D::Input& input, const Camera3D::Output& output) {
  Camera3D::convertDepth16toRGB888(input, output);
}
void depthToGrey(const Camera3D::Input& input, const Camera3D::Output& output) {
  Camera3D::convertDepth16toYuv(input, output);
}
void depthToDistance(const Camera3D::Input& input, const Camera3D::Output& output) {
  Camera3D::convertDepth16toDistance(input, output, distanceTable());
}
// Points as a depth camera serves them: convert3DImage runs one fused row
// rather than the two public steps.
void depthToPoints(const Camera3D::Input& input, const Camera3D::Output& output) {
  const videoDevice::CameraPreferences request(output->getResolution(), ColorSpace::XYZ_323232, 30);
  Camera3D::convert3DImage(request, input, output, distanceTable());
}
void depthToDepth(const Camera3D::Input& input, const Camera3D::Output& output) {
  Camera3D::convertDepth16toDepth16(input, output);
}

const ConverterDepth kConvertersDepth[] = {
    {ColorSpace::RGB_888, "RGB_888 (colour ramp)", 3, &depthToRgb},
    {ColorSpace::Y_8, "Y_8 (grey)", 1, &depthToGrey},
    // 16-bit distances packed from the start of the 32-bit buffer.
    {ColorSpace::DISTANCE_32, "DISTANCE_32", 2, &depthToDistance},
    {ColorSpace::XYZ_323232, "XYZ_323232", 12, &depthToPoints},
    {ColorSpace::DEPTH_16, "DEPTH_16 (copy, resize)", 2, &depthToDepth},
};

void addDepth(Catalogue& catalogue, const ConverterDepth& converter, const Resolution& in,
              int factor) {
  const Resolution out = scaled(in, factor);
  const std::uint64_t bytes =
      imageBytes(in, ColorSpace::DEPTH_16) + out.width * out.height * converter.bytesPerOutputPixel;
  Entry entry = converterEntry("Depth", nameOf(converter.colorSpace), in, factor, bytes);
  entry.what = std::string("Depth ") + converter.what;
  if (converter.colorSpace == ColorSpace::DEPTH_16) {
    entry.reference = referenceFor(Compare::Resize, in, out);
  } else {
    entry.reference = referenceFor(Compare::Memcpy, in, out);
    if (factor == 1 && in == Resolution(640, 480)) entry.goal = throughput(10.0);
  }
  catalogue.add(std::move(entry), [converter, in, out, bytes](benchmark::State& state) {
    const auto input = depthFrame(in);
    const auto output = outputImage(out, converter.colorSpace);
    output->setFielOfView(depthFieldOfView());
    distanceTable();  // built once, before any timing
    measure(state, bytes, [&] { converter.convert(input, output); });
  });
}

}  // namespace

void addConverters(Catalogue& catalogue) {
  const Resolution medium(640, 480), large(1280, 960);
  for (const Converter2D& converter : kConverters2D)
    for (const Resolution& in : {medium, large})
      for (int factor : {1, 2}) add2D(catalogue, converter, in, factor);
  for (const ConverterDepth& converter : kConvertersDepth)
    for (const Resolution& in : {medium, large})
      for (int factor : {1, 2}) addDepth(catalogue, converter, in, factor);
}

}  // namespace bench
