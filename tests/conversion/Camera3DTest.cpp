#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <videodevice/Camera3D.h>

#include "conversion/Camera3DTestImages.h"
#include "support/LogCapture.h"

namespace videoDevice {
namespace {

using namespace test::depth;

const char* const kCategory = "vision.videodevice.camera3d";
const FieldOfView kFieldOfView{1.0f, 0.75f};

// Every distance table in this program has this many columns: the converter
// keeps the width of the first table it ever sees, and these tests may run in
// any order inside one process.
constexpr int kTableWidth = 64;

// A depth pattern that mixes the interesting values with arbitrary ones.
std::uint16_t patternDepth(std::uint64_t x, std::uint64_t y) {
  static const std::uint16_t pins[] = {0,    300,  400,  416,  491,  492,  1000,
                                       2000, 4095, 4495, 4496, 5000, 65535};
  if ((x + y) % 3 == 0) return pins[(x * 7 + y * 3) % 13];
  return static_cast<std::uint16_t>((x * 131 + y * 977) % 7000);
}

unsigned char referenceGrey(std::uint16_t d) {
  if (d <= 400) return 0;
  return static_cast<unsigned char>(((d - 400) / 16) % 256);
}

std::array<unsigned char, 3> referenceRgb(std::uint16_t d) {
  if (d == 0) return {0, 0, 0};
  const float t = std::min(d / 4095.0f, 1.0f) - 0.12f;
  if (t < 0.0f) return {85, 85, 85};
  const float s = t * 1.1363636f;
  const float a = (1.0f - s) * (1.0f - s) * (1.0f - s);
  const auto byte = [](float v) { return static_cast<unsigned char>(static_cast<int>(v)); };
  return {byte(a * 255.0f), byte((1.0f - (s * s + a)) * 255.0f), byte(s * s * 255.0f)};
}

float tableEntry(int row, int column) { return 1.0f + 0.001f * row + 0.01f * column; }

cv::Mat makeTable(int rows) {
  cv::Mat table(rows, kTableWidth, CV_32FC1);
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < kTableWidth; ++c) table.at<float>(r, c) = tableEntry(r, c);
  return table;
}

std::uint16_t referenceDistance(std::uint16_t d, float factor) {
  return static_cast<std::uint16_t>(static_cast<std::int64_t>(d * factor + 0.5f));
}

void expectSameFrame(const ImageBuffer& output, const ImageBuffer& input, Resolution size,
                     ColorSpace colorSpace) {
  EXPECT_EQ(output.getResolution().width, size.width);
  EXPECT_EQ(output.getResolution().height, size.height);
  EXPECT_EQ(output.getColorSpace(), colorSpace);
  EXPECT_EQ(output.getTimeStamp(), input.getTimeStamp());
  EXPECT_EQ(output.getFieldOfView().horizontal, input.getFieldOfView().horizontal);
  EXPECT_EQ(output.getFieldOfView().vertical, input.getFieldOfView().vertical);
}

TEST(Camera3D, ValidColorSpacesAreTheDepthOutputs) {
  const std::vector<int> valid = {1, 2, 3, 14, 15, 16, 20, 21, 22, 23};
  for (int value = 0; value <= 24; ++value) {
    const bool expected = std::find(valid.begin(), valid.end(), value) != valid.end();
    EXPECT_EQ(Camera3D::isColorSpaceValid(static_cast<ColorSpace>(value)), expected) << value;
  }
}

TEST(Camera3D, EveryOutputMatchesItsPerPixelReference) {
  struct Case {
    Resolution input;
    Resolution output;
  };
  const Case cases[] = {{{64, 48}, {64, 48}}, {{64, 48}, {32, 24}}, {{64, 48}, {16, 12}},
                        {{16, 12}, {16, 12}}, {{16, 12}, {8, 6}},   {{16, 12}, {4, 3}},
                        {{6, 2}, {6, 2}},     {{6, 2}, {3, 1}}};
  const cv::Mat table = makeTable(48);
  for (const Case& c : cases) {
    const auto input =
        makeImage(c.input, ColorSpace::DEPTH_16, patternDepth, kFieldOfView, "depth");
    const std::uint64_t f = c.input.width / c.output.width;
    const auto depthAt = [&](std::uint64_t x, std::uint64_t y) {
      return read16(*input, y * f * c.input.width + x * f);
    };
    const std::uint64_t w = c.output.width;
    const std::uint64_t h = c.output.height;
    SCOPED_TRACE(testing::Message() << c.input.width << "x" << c.input.height << " -> " << w
                                    << "x" << h);

    for (ColorSpace cs : {ColorSpace::DEPTH_16, ColorSpace::Y_8, ColorSpace::R_8, ColorSpace::G_8,
                          ColorSpace::B_8, ColorSpace::RGB_888, ColorSpace::XYZ_323232,
                          ColorSpace::DISTANCE_32}) {
      SCOPED_TRACE(testing::Message() << cs);
      const auto output = makeFilled(c.output, cs, 0xAB);
      Camera3D::convert3DImage(CameraPreferences(c.output, cs, 30), input, output, table);
      expectSameFrame(*output, *input, c.output, cs);
      const unsigned char* bytes = output->getData();
      for (std::uint64_t y = 0; y < h; ++y) {
        for (std::uint64_t x = 0; x < w; ++x) {
          const std::uint64_t i = y * w + x;
          const std::uint16_t d = depthAt(x, y);
          switch (cs) {
            case ColorSpace::DEPTH_16:
              ASSERT_EQ(read16(*output, i), d) << x << "," << y;
              break;
            case ColorSpace::RGB_888: {
              const auto rgb = referenceRgb(d);
              ASSERT_EQ(bytes[i * 3], rgb[0]) << d;
              ASSERT_EQ(bytes[i * 3 + 1], rgb[1]) << d;
              ASSERT_EQ(bytes[i * 3 + 2], rgb[2]) << d;
              break;
            }
            case ColorSpace::XYZ_323232: {
              const float z = d;
              const float th = std::tan(kFieldOfView.horizontal / 2);
              const float tv = std::tan(kFieldOfView.vertical / 2);
              const float tolerance = 1e-5f * z + 1e-6f;
              ASSERT_NEAR(readFloat(*output, i * 3), z, tolerance);
              ASSERT_NEAR(readFloat(*output, i * 3 + 1),
                          -(static_cast<float>(x) / w - 0.5f) * z * 2 * th, tolerance);
              ASSERT_NEAR(readFloat(*output, i * 3 + 2),
                          (0.5f - static_cast<float>(y) / h) * z * 2 * tv, tolerance);
              break;
            }
            case ColorSpace::DISTANCE_32: {
              const float factor =
                  tableEntry(static_cast<int>(y), static_cast<int>(x * (kTableWidth / w)));
              ASSERT_EQ(read16(*output, i), referenceDistance(d, factor)) << x << "," << y;
              break;
            }
            default:  // the four 8-bit outputs share the grey ramp
              ASSERT_EQ(bytes[i], referenceGrey(d)) << d;
          }
        }
      }
      if (cs == ColorSpace::DISTANCE_32) {
        // 16-bit distances are packed at the start; the rest of the block is untouched.
        for (std::uint64_t b = w * h * 2; b < w * h * 4; ++b) ASSERT_EQ(bytes[b], 0xAB) << b;
      }
    }

    // Infrared and raw depth are only ever copied, whatever their source.
    for (ColorSpace source : {ColorSpace::INFRARED_16, ColorSpace::RAW_DEPTH_16}) {
      const auto raw = makeImage(c.input, source, patternDepth, kFieldOfView, "depth");
      for (ColorSpace cs : {ColorSpace::INFRARED_16, ColorSpace::RAW_DEPTH_16}) {
        const auto output = makeFilled(c.output, cs, 0xAB);
        Camera3D::convert3DImage(CameraPreferences(c.output, cs, 30), raw, output, table);
        expectSameFrame(*output, *raw, c.output, cs);
        for (std::uint64_t y = 0; y < h; ++y)
          for (std::uint64_t x = 0; x < w; ++x)
            ASSERT_EQ(read16(*output, y * w + x), depthAt(x, y)) << x << "," << y;
      }
    }
  }
}

TEST(Camera3D, PinnedDepthValues) {
  const std::vector<std::uint16_t> depths = {0, 300, 400, 416, 4095, 4495, 4496, 4512, 65535};
  const Resolution size(depths.size(), 1);
  const auto input = makeImage(
      size, ColorSpace::DEPTH_16, [&](std::uint64_t x, std::uint64_t) { return depths[x]; },
      kFieldOfView, "depth");
  const cv::Mat table = makeTable(1);

  const auto grey = makeFilled(size, ColorSpace::Y_8, 0xAB);
  Camera3D::convert3DImage(CameraPreferences(size, ColorSpace::Y_8, 30), input, grey, table);
  const std::vector<int> expectedGrey = {0, 0, 0, 1, 230, 255, 0, 1, 230};
  for (std::size_t x = 0; x < depths.size(); ++x)
    EXPECT_EQ(grey->getData()[x], expectedGrey[x]) << depths[x];

  const auto rgb = makeFilled(size, ColorSpace::RGB_888, 0xAB);
  Camera3D::convert3DImage(CameraPreferences(size, ColorSpace::RGB_888, 30), input, rgb, table);
  const auto pixel = [&](std::size_t x) {
    const unsigned char* p = rgb->getData() + 3 * x;
    return std::vector<int>{p[0], p[1], p[2]};
  };
  EXPECT_EQ(pixel(0), (std::vector<int>{0, 0, 0}));        // no measurement: black
  EXPECT_EQ(pixel(1), (std::vector<int>{85, 85, 85}));     // nearer than the ramp: grey
  EXPECT_EQ(pixel(4), (std::vector<int>{0, 0, 255}));      // far end: pure blue
  EXPECT_EQ(pixel(8), (std::vector<int>{0, 0, 255}));      // beyond it: still blue

  const auto points = makeFilled(size, ColorSpace::XYZ_323232, 0xAB);
  Camera3D::convert3DImage(CameraPreferences(size, ColorSpace::XYZ_323232, 30), input, points,
                           table);
  for (int k = 0; k < 3; ++k) EXPECT_EQ(readFloat(*points, k), 0.0f);
}

TEST(Camera3D, PixelAtTheImageCentreLiesOnTheOpticalAxis) {
  const Resolution size(8, 6);
  const auto input = makeImage(
      size, ColorSpace::DEPTH_16, [](std::uint64_t, std::uint64_t) { return std::uint16_t{1500}; },
      kFieldOfView, "depth");
  const auto points = makeFilled(size, ColorSpace::XYZ_323232, 0);
  Camera3D::convert3DImage(CameraPreferences(size, ColorSpace::XYZ_323232, 30), input, points,
                           makeTable(6));
  const std::uint64_t centre = 3 * 8 + 4;
  EXPECT_FLOAT_EQ(readFloat(*points, centre * 3), 1500.0f);
  EXPECT_FLOAT_EQ(readFloat(*points, centre * 3 + 1), 0.0f);
  EXPECT_FLOAT_EQ(readFloat(*points, centre * 3 + 2), 0.0f);
  // The top-left pixel is left of and above the axis.
  EXPECT_GT(readFloat(*points, 1), 0.0f);
  EXPECT_GT(readFloat(*points, 2), 0.0f);
}

template <typename Exception>
void expectFailure(const std::function<void()>& call, const std::string& message) {
  test::LogCapture capture;
  try {
    call();
    ADD_FAILURE() << "no exception, expected: " << message;
  } catch (const Exception& e) {
    EXPECT_EQ(std::string(e.what()), message);
  }
  EXPECT_TRUE(capture.contains(2, kCategory, "convert3DImage", message)) << message;
}

TEST(Camera3D, RefusesBadRequestsInOrderWithItsOwnWording) {
  const Resolution size(8, 6);
  const cv::Mat table = makeTable(6);
  const auto depth = makeImage(size, ColorSpace::DEPTH_16, patternDepth, kFieldOfView, "depth");
  const auto out = makeFilled(size, ColorSpace::DEPTH_16, 0);
  const auto convert = [&](Resolution r, ColorSpace cs, std::shared_ptr<const ImageBuffer> in,
                           std::shared_ptr<ImageBuffer> o) {
    return [=, &table] { Camera3D::convert3DImage(CameraPreferences(r, cs, 30), in, o, table); };
  };
  const auto noData = std::make_shared<ImageBuffer>("depth", size, ColorSpace::DEPTH_16, false);

  expectFailure<std::domain_error>(convert({0, 6}, ColorSpace::DEPTH_16, depth, out),
                                   "Can't convert image whose width will be zero.");
  expectFailure<std::domain_error>(convert({8, 0}, ColorSpace::DEPTH_16, depth, out),
                                   "Can't convert image whose height will be zero.");
  expectFailure<std::runtime_error>(convert(size, ColorSpace::YUV_422, depth, out),
                                    "Can't convert image to the requested colorspace.");
  expectFailure<std::invalid_argument>(convert(size, ColorSpace::DEPTH_16, nullptr, out),
                                       "Can't convert image if input pointer is empty.");
  expectFailure<std::invalid_argument>(convert(size, ColorSpace::DEPTH_16, noData, out),
                                       "Can't convert image if data is unavailable.");
  expectFailure<std::domain_error>(
      convert(size, ColorSpace::DEPTH_16, makeFilled({0, 6}, ColorSpace::DEPTH_16, 0), out),
      "Can't convert input image whose width is zero.");
  expectFailure<std::domain_error>(
      convert(size, ColorSpace::DEPTH_16, makeFilled({8, 0}, ColorSpace::DEPTH_16, 0), out),
      "Can't convert input image whose height is zero.");
  expectFailure<std::invalid_argument>(convert(size, ColorSpace::DEPTH_16, depth, nullptr),
                                       "Can't convert image if output pointer is empty.");
  expectFailure<std::invalid_argument>(convert(size, ColorSpace::DEPTH_16, depth, noData),
                                       "Can't convert image if output data is unavailable.");
  expectFailure<std::invalid_argument>(convert(size, ColorSpace::DEPTH_16, out, out),
                                       "Inplace conversion is not supported.");
  expectFailure<std::domain_error>(convert({4, 4}, ColorSpace::DEPTH_16, depth, out),
                                   "Input and Requested aspect ratio are different.");
  expectFailure<std::domain_error>(convert({16, 12}, ColorSpace::DEPTH_16, depth, out),
                                   "Upscale conversion is not supported.");
  expectFailure<std::runtime_error>(
      convert(size, ColorSpace::DEPTH_16, makeFilled(size, ColorSpace::Y_8, 0), out),
      "depth: convert3DImage() request a Depth or Infrared ColorSpace as input.");
  expectFailure<std::runtime_error>(convert(size, ColorSpace::INFRARED_16, depth, out),
                                    "depth: Conversion to INFRARED_16 currently not supported.");

  // Infrared asked for grey: refused, but only after the output was prepared.
  const auto infrared =
      makeImage(size, ColorSpace::INFRARED_16, patternDepth, kFieldOfView, "depth");
  const auto grey = makeFilled({16, 12}, ColorSpace::DEPTH_16, 0);
  expectFailure<std::runtime_error>(convert({4, 3}, ColorSpace::Y_8, infrared, grey),
                                    "depth: Conversion to Y_8 currently not supported.");
  expectSameFrame(*grey, *infrared, {4, 3}, ColorSpace::Y_8);
}

TEST(Camera3D, ConvertersCalledDirectlyStayInsideTheirBuffers) {
  test::LogCapture quiet;
  // An output taller than the input's aspect allows repeats the last input row.
  const auto input = makeImage({4, 2}, ColorSpace::DEPTH_16, patternDepth, kFieldOfView, "depth");
  const auto tall = makeFilled({4, 4}, ColorSpace::Y_8, 0xAB);
  Camera3D::convertDepth16toYuv(input, tall);
  for (std::uint64_t y = 0; y < 4; ++y)
    for (std::uint64_t x = 0; x < 4; ++x)
      EXPECT_EQ(tall->getData()[y * 4 + x], referenceGrey(patternDepth(x, std::min<std::uint64_t>(y, 1))));

  // Outputs too small for what a converter writes are refused untouched.
  const auto small = makeFilled({4, 2}, ColorSpace::Y_8, 0xAB);
  EXPECT_THROW(Camera3D::convertDepth16toRGB888(input, small), std::invalid_argument);
  EXPECT_THROW(Camera3D::convertDepth16toIJZ(input, small), std::invalid_argument);
  EXPECT_THROW(Camera3D::convertDepth16toDepth16(input, small), std::invalid_argument);
  EXPECT_THROW(Camera3D::convertProjectiveToRealWorld(small), std::invalid_argument);
  for (std::uint64_t b = 0; b < 8; ++b) EXPECT_EQ(small->getData()[b], 0xAB);
  // So are 8-bit inputs, and tables that are not float matrices.
  EXPECT_THROW(Camera3D::convertDepth16toYuv(small, tall), std::invalid_argument);
  const auto distance = makeFilled({4, 2}, ColorSpace::DISTANCE_32, 0xAB);
  EXPECT_THROW(Camera3D::convertDepth16toDistance(input, distance, cv::Mat()),
               std::invalid_argument);
  EXPECT_THROW(Camera3D::convertDepth16toDistance(input, distance, cv::Mat(2, 4, CV_8UC1)),
               std::invalid_argument);
}

TEST(Camera3D, DistanceRowsPastTheTableRepeatItsLastRow) {
  const Resolution size(16, 12);
  const auto input = makeImage(size, ColorSpace::DEPTH_16, patternDepth, kFieldOfView, "depth");
  const auto output = makeFilled(size, ColorSpace::DISTANCE_32, 0xAB);
  Camera3D::convert3DImage(CameraPreferences(size, ColorSpace::DISTANCE_32, 30), input, output,
                           makeTable(2));
  const std::uint64_t step = kTableWidth / size.width;
  for (std::uint64_t y = 0; y < size.height; ++y)
    for (std::uint64_t x = 0; x < size.width; ++x) {
      const float factor = tableEntry(std::min<int>(static_cast<int>(y), 1),
                                      static_cast<int>(x * step));
      ASSERT_EQ(read16(*output, y * size.width + x),
                referenceDistance(patternDepth(x, y), factor))
          << x << "," << y;
    }
}

}  // namespace
}  // namespace videoDevice
