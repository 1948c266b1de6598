// The depth conversions against per-pixel references and hand-computed pins,
// and the converters' own buffer checks.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <videodevice/Camera3D.h>

#include "conversion/Camera3DTestImages.h"
#include "support/LogCapture.h"

namespace videoDevice {
namespace {

using namespace test::depth;
const FieldOfView kFieldOfView{1.0f, 0.75f};

// Mixes the interesting depths with arbitrary ones.
std::uint16_t patternDepth(std::uint64_t x, std::uint64_t y) {
  static const std::uint16_t pins[] = {0, 300, 400, 416, 491, 492, 1000, 2000, 4095, 4495, 4496, 5000, 65535};
  if ((x + y) % 3 == 0) return pins[(x * 7 + y * 3) % 13];
  return static_cast<std::uint16_t>((x * 131 + y * 977) % 7000);
}

// The converter keeps the width of the first distance table it ever sees and
// these tests may run in any order, so every table here has 64 columns.
constexpr int kTableWidth = 64;
float tableEntry(int row, int column) { return 1.0f + 0.001f * row + 0.01f * column; }

cv::Mat makeTable(int rows) {
  cv::Mat table(rows, kTableWidth, CV_32FC1);
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < kTableWidth; ++c) table.at<float>(r, c) = tableEntry(r, c);
  return table;
}

std::shared_ptr<ImageBuffer> convert(Resolution size, ColorSpace colorSpace,
                                     std::shared_ptr<const ImageBuffer> input, const cv::Mat& table = makeTable(1)) {
  const auto output = makeFilled(size, colorSpace, 0xAB);
  Camera3D::convert3DImage(CameraPreferences(size, colorSpace, 30), input, output, table);
  return output;
}

std::vector<int> bytesOf(const ImageBuffer& image, std::uint64_t from, std::uint64_t count) {
  return std::vector<int>(image.getData() + from, image.getData() + from + count);
}
std::vector<float> floatsOf(const ImageBuffer& image, std::uint64_t from) {
  return {readFloat(image, from), readFloat(image, from + 1), readFloat(image, from + 2)};
}

// What output pixel (x, y) of a w x h frame of this colour space holds for depth d.
std::vector<double> referencePixel(ColorSpace colorSpace, std::uint16_t d, std::uint64_t x, std::uint64_t y,
                                   std::uint64_t w, std::uint64_t h) {
  const float z = d, t = std::min(z / 4095.0f, 1.0f) - 0.12f, s = t * 1.1363636f, a = (1 - s) * (1 - s) * (1 - s);
  const float twiceH = 2 * std::tan(kFieldOfView.horizontal / 2), twiceV = 2 * std::tan(kFieldOfView.vertical / 2);
  const auto byte = [](float v) { return double(static_cast<unsigned char>(static_cast<int>(v))); };
  switch (colorSpace) {
    case ColorSpace::RGB_888:  // no measurement: black; nearer than the ramp: grey 85
      if (d == 0 || t < 0) return std::vector<double>(3, d == 0 ? 0 : 85);
      return {byte(a * 255.0f), byte((1.0f - (s * s + a)) * 255.0f), byte(s * s * 255.0f)};
    case ColorSpace::XYZ_323232:
      return {z, -(float(x) / w - 0.5f) * z * twiceH, (0.5f - float(y) / h) * z * twiceV};
    case ColorSpace::DISTANCE_32:  // tables are 8 rows high: taller frames repeat the last row
      return {double(std::uint16_t(std::int64_t(d * tableEntry(std::min<int>(y, 7), x * (kTableWidth / w)) + 0.5f)))};
    case ColorSpace::Y_8:
    case ColorSpace::R_8:
    case ColorSpace::G_8:
    case ColorSpace::B_8:  // one grey ramp
      return {d <= 400 ? 0.0 : double((d - 400) / 16 % 256)};
    default:  // the 16-bit outputs are copies
      return {z};
  }
}

// The whole block read as the values its colour space stores: bytes, 16-bit words or floats.
std::vector<double> storedValues(const ImageBuffer& image) {
  const std::uint64_t depth = getColorSpaceDepth(image.getColorSpace()), width = depth == 12 ? 4 : 2 - depth % 2;
  std::vector<double> values;
  for (std::uint64_t at = 0; at < image.getSize(); at += width)
    values.push_back(width == 4 ? readFloat(image, at / 4) : width == 2 ? read16(image, at / 2) : image.getData()[at]);
  return values;
}

TEST(Camera3D, EveryOutputMatchesItsPerPixelReference) {
  const cv::Mat table = makeTable(8);
  const std::vector<ColorSpace> fromDepth = {ColorSpace::DEPTH_16, ColorSpace::Y_8, ColorSpace::R_8,
                                             ColorSpace::G_8, ColorSpace::B_8, ColorSpace::RGB_888,
                                             ColorSpace::XYZ_323232, ColorSpace::DISTANCE_32};
  const std::vector<ColorSpace> copies = {ColorSpace::INFRARED_16, ColorSpace::RAW_DEPTH_16};
  for (auto [in, out] : {std::pair<Resolution, Resolution>{{64, 48}, {64, 48}}, {{64, 48}, {32, 24}},
                         {{64, 48}, {16, 12}}, {{16, 12}, {8, 6}}, {{16, 12}, {4, 3}}, {{6, 2}, {3, 1}}})
    for (ColorSpace source : {ColorSpace::DEPTH_16, ColorSpace::INFRARED_16, ColorSpace::RAW_DEPTH_16})
      for (ColorSpace cs : source == ColorSpace::DEPTH_16 ? fromDepth : copies) {  // others are only copied
        SCOPED_TRACE(testing::Message() << in.width << "x" << in.height << " " << source << " -> " << out.width
                                        << "x" << out.height << " " << cs);
        const auto input = makeImage(in, source, patternDepth, kFieldOfView);
        const auto output = convert(out, cs, input, table);
        expectPrepared(*output, *input, out, cs);
        const std::uint64_t f = in.width / out.width, w = out.width, h = out.height;
        std::vector<double> expected;
        for (std::uint64_t y = 0; y < h; ++y)
          for (std::uint64_t x = 0; x < w; ++x) {
            const auto pixel = referencePixel(cs, read16(*input, y * f * in.width + x * f), x, y, w, h);
            expected.insert(expected.end(), pixel.begin(), pixel.end());
          }
        // 16-bit distances are packed at the start; the other half of the block is untouched.
        if (cs == ColorSpace::DISTANCE_32) expected.resize(2 * w * h, 0xABAB);
        const std::vector<double> stored = storedValues(*output);
        ASSERT_EQ(stored.size(), expected.size());
        const double rounding = cs == ColorSpace::XYZ_323232 ? 1e-5 : 0;  // points: relative to their depth
        std::size_t k = 0;
        while (k < stored.size() && std::abs(stored[k] - expected[k]) <= rounding * (expected[k - k % 3] + 0.1)) ++k;
        EXPECT_EQ(k, stored.size()) << "value " << k << " is " << stored[k] << ", not " << expected[k];
      }
}

TEST(Camera3D, PinnedDepthValues) {
  const std::uint16_t depths[] = {0, 300, 400, 416, 4095, 4495, 4496, 4512, 65535};
  const auto input = makeImage({9, 1}, ColorSpace::DEPTH_16, [&](std::uint64_t x, auto) { return depths[x]; });
  // Grey ramp from 400 in steps of 16, wrapping around above 4495.
  EXPECT_EQ(bytesOf(*convert({9, 1}, ColorSpace::Y_8, input), 0, 9),
            (std::vector<int>{0, 0, 0, 1, 230, 255, 0, 1, 230}));
  // No measurement: black; nearer than the ramp: grey 85; at and beyond its far end: pure blue.
  const auto rgb = convert({9, 1}, ColorSpace::RGB_888, input);
  EXPECT_EQ(bytesOf(*rgb, 0, 6), (std::vector<int>{0, 0, 0, 85, 85, 85}));
  EXPECT_EQ(bytesOf(*rgb, 12, 3), (std::vector<int>{0, 0, 255}));
  EXPECT_EQ(bytesOf(*rgb, 24, 3), (std::vector<int>{0, 0, 255}));

  // A pixel at the image centre lies on the optical axis; the top-left one left of and above it.
  const auto cloud = convert({8, 6}, ColorSpace::XYZ_323232,
                             makeImage({8, 6}, ColorSpace::DEPTH_16, [](auto, auto) { return std::uint16_t{1500}; },
                                       kFieldOfView));
  EXPECT_EQ(floatsOf(*cloud, (3 * 8 + 4) * 3), (std::vector<float>{1500, 0, 0}));
  EXPECT_GT(readFloat(*cloud, 1), 0.0f);
  EXPECT_GT(readFloat(*cloud, 2), 0.0f);
}

TEST(Camera3D, ConvertersCalledDirectlyStayInsideTheirBuffers) {
  test::LogCapture quiet;
  // An output taller than the input's aspect allows repeats the last input row.
  const auto input = makeImage({4, 2}, ColorSpace::DEPTH_16, patternDepth);
  const auto tall = makeFilled({4, 4}, ColorSpace::Y_8, 0xAB);
  Camera3D::convertDepth16toYuv(input, tall);
  for (std::uint64_t i = 0; i < 16; ++i)  // output rows 1 to 3 all read input row 1
    EXPECT_EQ(tall->getData()[i], referencePixel(ColorSpace::Y_8, patternDepth(i % 4, i < 4 ? 0 : 1), 0, 0, 1, 1)[0]);
  // Outputs too small for what a converter writes, 8-bit inputs and tables
  // that are not float matrices are refused, leaving the output untouched.
  const auto small = makeFilled({4, 2}, ColorSpace::Y_8, 0xAB), out = makeFilled({4, 2}, ColorSpace::DISTANCE_32, 0);
  using C = Camera3D;
  for (const auto& call : std::vector<std::function<void()>>{
           [&] { C::convertDepth16toRGB888(input, small); }, [&] { C::convertDepth16toIJZ(input, small); },
           [&] { C::convertDepth16toDepth16(input, small); }, [&] { C::convertProjectiveToRealWorld(small); },
           [&] { C::convertDepth16toYuv(small, tall); }, [&] { C::convertDepth16toDistance(input, out, cv::Mat()); },
           [&] { C::convertDepth16toDistance(input, out, cv::Mat(2, 4, CV_8UC1)); }})
    EXPECT_THROW(call(), std::invalid_argument);
  EXPECT_EQ(bytesOf(*small, 0, 8), std::vector<int>(8, 0xAB));
}

}  // namespace
}  // namespace videoDevice
