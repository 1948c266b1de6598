// The YUV 4:2:2 converters against per-pixel references written from the
// fixed-point formulas, on random images at factors 1 to 4 and odd widths,
// plus values worked out by hand.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <opencv2/imgproc.hpp>
#include <videodevice/Camera2D.h>

namespace videoDevice {
namespace {

constexpr std::uint8_t kUntouched = 0xA5;
using Converter = void (*)(const Camera2D::Input&, const Camera2D::Output&);
using Bytes = std::vector<std::uint8_t>;

std::shared_ptr<ImageBuffer> image(std::uint64_t w, std::uint64_t h, ColorSpace colorSpace,
                                   const Bytes& pattern = {kUntouched}) {
  auto buffer = std::make_shared<ImageBuffer>("front", Resolution(w, h), colorSpace, true);
  for (std::uint64_t i = 0; i < buffer->getSize(); ++i) buffer->getData()[i] = pattern[i % pattern.size()];
  return buffer;
}

std::shared_ptr<ImageBuffer> randomYuv(std::uint64_t w, std::uint64_t h, unsigned seed) {
  std::mt19937 random(seed);
  auto buffer = image(w, h, ColorSpace::YUV_422);
  std::generate_n(buffer->getData(), buffer->getSize(), [&] { return static_cast<std::uint8_t>(random()); });
  return buffer;
}

int clamp8(int v) { return std::min(255, std::max(0, v)); }

// What a converter must leave in the output: the bytes its formula writes, in
// formula order, kept only inside the output (-1: untouched). A formula
// element that would read past the input stops everything.
struct Expected {
  const std::uint8_t* in;
  std::uint64_t inSize, inW, outW, outH, f;
  std::vector<int> bytes;
  Expected(const ImageBuffer& input, const ImageBuffer& output)
      : in(input.getData()), inSize(input.getSize()), inW(input.getResolution().width),
        outW(output.getResolution().width), outH(output.getResolution().height), f(inW / outW),
        bytes(output.getSize(), -1) {}
  void check(const ImageBuffer& output, const std::string& what) const {
    for (std::size_t i = 0; i < bytes.size(); ++i)
      if (output.getData()[i] != (bytes[i] < 0 ? kUntouched : bytes[i]))
        return ADD_FAILURE() << what << ": byte " << i << " is " << int(output.getData()[i]) << " not " << bytes[i];
  }
};

// Unit k of output row r is made from the input bytes from row r x f, byte
// k x stride on; it reads `reads` of them and fills `size` output bytes from
// r x rowBytes + k x size on.
using Writer = std::function<std::vector<int>(const std::uint8_t*)>;
void units(Expected& e, std::uint64_t stride, std::uint64_t count, std::uint64_t size, std::uint64_t rowBytes,
           std::uint64_t reads, const Writer& write) {
  for (std::uint64_t r = 0; r < e.outH; ++r)
    for (std::uint64_t k = 0; k < count; ++k) {
      const std::uint64_t b = r * e.f * e.inW * 2 + k * stride, o = r * rowBytes + k * size;
      if (b + reads > e.inSize) return;
      const std::vector<int> values = write(e.in + b);
      for (std::uint64_t i = 0; i < size; ++i)
        if (o + i < e.bytes.size()) e.bytes[o + i] = values[i] & 0xff;
    }
}

using Reference = std::function<void(Expected&)>;
Reference pairs(std::uint64_t size, const Writer& write) {  // one unit per 2 output pixels
  return [=](Expected& e) { units(e, 4 * e.f, (e.outW + 1) / 2, size, e.outW * size / 2, 4, write); };
}

// Scaled colour takes one pixel per 2f bytes from Y0 + Y1; full-size single
// channels give each pixel of a pair its own luma.
enum class Colour { RGB, BGR, R, G, B };
Reference colour(Colour kind) {
  return [kind](Expected& e) {
    const bool single = kind >= Colour::R, full = single && e.f == 1;
    const int n = full ? 2 : 1;
    units(e, full ? 4 : 2 * e.f, full ? (e.outW + 1) / 2 : e.outW, single ? n : 3, e.outW * (single ? 1 : 3), 4,
          [=](const std::uint8_t* g) {
            std::vector<int> out;
            const int u = g[1] - 128, v = g[3] - 128, sum = g[0] + g[2] - 32;
            for (int i = 0; i < n; ++i) {
              const int c = full ? 298 * (g[2 * i] - 16) : kind == Colour::RGB ? 298 * (sum / 2) : 149 * sum;
              const int red = clamp8((c + 409 * v) >> 8), green = clamp8((c - 100 * u - 208 * v) >> 8),
                        blue = clamp8((c + 516 * u) >> 8);
              if (single) out.push_back(kind == Colour::R ? red : kind == Colour::G ? green : blue);
              else out = kind == Colour::RGB ? std::vector<int>{red, green, blue} : std::vector<int>{blue, green, red};
            }
            return out;
          });
  };
}

// R - G, G - B and R - B with the hue family's G (-208 U' - 100 V').
std::array<int, 3> differences(const std::uint8_t* g) {
  const int u = g[1] - 128, v = g[3] - 128, red = 409 * v, green = -208 * u - 100 * v, blue = 516 * u;
  return {red - green, green - blue, red - blue};
}

int hueOf(const std::uint8_t* g) {
  const auto [rg, gb, rb] = differences(g);
  int h = 0;
  if (rg <= 0 && gb < 0) h = rg * 85 / (-2 * rb) - 85;
  else if (rg <= 0) h = rb > 0 ? -rb * 85 / (2 * gb) + 85 : rg != 0 ? rb * 85 / (2 * rg) + 85 : 0;
  else if (gb > 0) h = gb * 85 / (2 * rb);
  else h = rb <= 0 ? rg * 85 / (-2 * gb) - 85 : gb * 85 / (2 * rg) - 1;
  return (h % 256 + 256) % 256;
}

int saturationOf(const std::uint8_t* g, int y) {
  const auto [rg, gb, rb] = differences(g);
  const int u = g[1], v = g[3];
  const std::int64_t bden = 298 * y + 516 * u - 70815, gden = 298 * y - 208 * u - 100 * v + 34657,
                     rden = 298 * y + 409 * v - 57119;
  const std::int64_t s = rg <= 0 && gb < 0    ? -rb * 255 / bden
                         : rg <= 0 && rb <= 0 ? (rg == 0 ? 0 : -rg * 255 / gden)
                         : rg <= 0            ? gb * 255 / gden
                         : gb <= 0 && rb <= 0 ? -gb * 255 / bden
                         : gb <= 0            ? rg * 255 / rden
                                              : rb * 255 / rden;
  return static_cast<int>(std::min<std::int64_t>(255, std::max<std::int64_t>(0, s)));
}

std::vector<int> wheel(int h) {
  if (h <= 42) return {0, 6 * h, 255, 0, 6 * h, 255};
  if (h <= 84) return {0, 255, 1 - 6 * h, 0, 255, 1 - 6 * h};
  if (h <= 126) return {6 * h + 2, 255, 0, 6 * h + 2, 255, 0};
  if (h <= 168) return {255, -6 * h - 7, 0, 255, -6 * h - 7, 0};
  if (h <= 210) return {255, 0, 6 * h + 10, 255, 0, 6 * h + 10};
  if (h <= 253) return {-6 * h - 15, 0, 255, -6 * h - 15, 0, 255};
  return {0, 0, 255, 0, 0, 255};
}

struct Case {
  ColorSpace colorSpace;
  Converter convert;
  Reference reference;
};

const std::vector<Case>& cases() {
  using C = Camera2D;
  using P = const std::uint8_t*;
  using V = std::vector<int>;
  static const std::vector<Case> all = {
      {ColorSpace::RGB_888, C::convertYUV422toRGB888, colour(Colour::RGB)},
      {ColorSpace::BGR_888, C::convertYUV422toBGR888, colour(Colour::BGR)},
      {ColorSpace::R_8, C::convertYUV422toR8, colour(Colour::R)},
      {ColorSpace::G_8, C::convertYUV422toG8, colour(Colour::G)},
      {ColorSpace::B_8, C::convertYUV422toB8, colour(Colour::B)},
      {ColorSpace::Y_8, C::convertYUV422toY8,
       [](Expected& e) { units(e, 2 * e.f, e.outW, 1, e.outW, 1, [](P g) { return V{g[0]}; }); }},
      // U_8 and V_8 take bytes x 2f + 1 and (x + 1) 2f - 1 (U) or x 2f + 3 and
      // (x + 1) 2f + 1 (V); V_8 rows start right after the last pair written.
      {ColorSpace::U_8, C::convertYUV422toU8,
       [](Expected& e) {
         units(e, 4 * e.f, (e.outW + 1) / 2, 2, e.outW, 2 * e.f, [f = e.f](P g) { return V{g[1], g[2 * f - 1]}; });
       }},
      {ColorSpace::V_8, C::convertYUV422toV8,
       [](Expected& e) {
         units(e, 4 * e.f, (e.outW + 1) / 2, 2, (e.outW + 1) / 2 * 2, std::max<std::uint64_t>(4, 2 * e.f + 2),
               [f = e.f](P g) { return V{g[3], g[2 * f + 1]}; });
       }},
      // Same width: a copy of what fits; otherwise pairs averaged 2f bytes apart, rows drifting.
      {ColorSpace::YUV_422, C::convertYUV422toYUV422,
       [](Expected& e) {
         if (e.inW == e.outW) {
           for (std::uint64_t i = 0; i < std::min<std::uint64_t>(e.inSize, e.bytes.size()); ++i) e.bytes[i] = e.in[i];
           return;
         }
         const std::uint64_t count = (e.inW + 2 * e.f - 1) / (2 * e.f);
         units(e, 4 * e.f, count, 4, count * 4, 2 * e.f + 4, [f = e.f](P a) {
           const P c = a + 2 * f;
           return V{(a[0] + a[2]) / 2, (a[1] + c[1]) / 2, (c[0] + c[2]) / 2, (a[3] + c[3]) / 2};
         });
       }},
      {ColorSpace::YUV_888, C::convertYUV422toYUV888,
       pairs(6, [](P g) { return V{g[0], g[1], g[3], g[2], g[1], g[3]}; })},
      {ColorSpace::YYCBCR_8888, C::convertYUV422toYYCbCr,
       [](Expected& e) {
         units(e, 4 * e.f, e.outW / 2, 4, e.outW / 2 * 4, 4, [](P g) { return V{g[0], g[2], g[1], g[3]}; });
       }},
      {ColorSpace::H_8, C::convertYUV422toH8, pairs(2, [](P g) { return V{hueOf(g), hueOf(g)}; })},
      {ColorSpace::S_8, C::convertYUV422toS8,
       pairs(2, [](P g) { return V{saturationOf(g, g[0]), saturationOf(g, g[2])}; })},
      {ColorSpace::HSY_888, C::convertYUV422toHSY888, pairs(6, [](P g) {
         return V{hueOf(g), saturationOf(g, g[0]), g[0], hueOf(g), saturationOf(g, g[2]), g[2]};
       })},
      {ColorSpace::HSMIXED_888, C::convertYUV422toHSMixed888, pairs(6, [](P g) {
         return V{hueOf(g), saturationOf(g, g[0]), hueOf(g), hueOf(g), saturationOf(g, g[2]), hueOf(g)};
       })},
      {ColorSpace::H2RGB_888, C::convertYUV422toH2RGB, pairs(6, [](P g) { return wheel(hueOf(g)); })},
  };
  return all;
}

const Case& of(ColorSpace colorSpace) {
  return *std::find_if(cases().begin(), cases().end(), [&](const Case& c) { return c.colorSpace == colorSpace; });
}

TEST(Camera2DConverters, MatchTheFormulasAtEveryFactorOddWidthsAndNonWholeRatios) {
  // Outputs w x h from inputs f times as large; last, a subscriber asking a VGA
  // camera for 480x360: the frame lets it through, the converters work at
  // factor 1 and some formulas (YUV_422's 2 x 640-byte rows, V_8's drift)
  // reach past the output, which keeps only what fits.
  std::vector<std::array<std::uint64_t, 3>> sizes;  // output width and height, input width
  for (auto [w, h] : {std::pair<std::uint64_t, std::uint64_t>{8, 6}, {10, 4}, {7, 3}, {1, 1}})
    for (std::uint64_t f : {1, 2, 3, 4}) sizes.push_back({w, h, w * f});
  sizes.push_back({480, 360, 640});
  unsigned seed = 1;
  for (const Case& c : cases())
    for (auto [w, h, inW] : sizes) {
      auto input = randomYuv(inW, inW * h / w, seed++), output = image(w, h, c.colorSpace);
      Camera2D::convert2DImage(CameraPreferences(Resolution(w, h), c.colorSpace, 30), input, output);
      Expected expected(*input, *output);
      // RGB_888 and BGR_888 at factor 1 are OpenCV's own, checked below: given a
      // larger input it writes a matrix of its own and leaves the output untouched.
      const bool rgb = c.colorSpace == ColorSpace::RGB_888 || c.colorSpace == ColorSpace::BGR_888;
      if (rgb && inW == w) continue;
      if (!rgb || inW / w > 1) c.reference(expected);
      expected.check(*output, testing::PrintToString(c.colorSpace) + " " + std::to_string(w) + "x" + std::to_string(h) +
                                  " from " + std::to_string(inW));
    }
  // The simulated camera copies pushed frames of its own width but any height.
  for (auto [inH, outH] : {std::pair{6, 3}, std::pair{2, 6}}) {
    auto in = randomYuv(8, inH, 11), out = image(8, outH, ColorSpace::YUV_422);
    Camera2D::convertYUV422toYUV422(in, out);
    Expected expected(*in, *out);
    of(ColorSpace::YUV_422).reference(expected);
    expected.check(*out, "YUV_422 copy of height " + std::to_string(inH));
  }
}

TEST(Camera2DConverters, FullSizeRgbAndBgrAreOpenCvs) {
  auto input = randomYuv(64, 48, 3);
  for (auto [colorSpace, code] : {std::pair{ColorSpace::RGB_888, int(cv::COLOR_YUV2RGB_YUY2)},
                                  std::pair{ColorSpace::BGR_888, int(cv::COLOR_YUV2BGR_YUY2)}}) {
    cv::Mat reference;
    cv::cvtColor(ImageBuffer::imageBufferToCvMat(*input).clone(), reference, code);
    auto output = image(64, 48, colorSpace);
    of(colorSpace).convert(input, output);
    EXPECT_EQ(0, std::memcmp(reference.data, output->getData(), output->getSize())) << colorSpace;
  }
}

TEST(Camera2DConverters, RefuseMissingBuffersAndForeignInputsWithStandardExceptions) {
  using C = Camera2D;
  std::vector<Converter> all = {C::convertYUV422toRGBnoScale, C::convertYUV422toBGRnoScale,
                                C::convertYUV422toRgbnoScale, C::convertYUV422torGbnoScale,
                                C::convertYUV422torgBnoScale};
  for (const Case& c : cases()) all.push_back(c.convert);
  const auto yuv = randomYuv(8, 6, 5), rgb = image(8, 6, ColorSpace::RGB_888);
  for (Converter convert : all) {
    EXPECT_THROW(convert(nullptr, rgb), std::invalid_argument);
    EXPECT_THROW(convert(yuv, nullptr), std::invalid_argument);
  }
  // OpenCV's own exception for an input that is not YUV 4:2:2 stays inside.
  EXPECT_THROW(C::convertYUV422toRGBnoScale(image(8, 6, ColorSpace::RGB_888), rgb), std::invalid_argument);
}

TEST(Camera2DConverters, HandComputedValues) {
  const auto convert = [](ColorSpace colorSpace, const Bytes& yuv, std::uint64_t inW, std::uint64_t outW) {
    auto output = image(outW, 1, colorSpace);
    of(colorSpace).convert(image(inW, 1, ColorSpace::YUV_422, yuv), output);
    return Bytes(output->getData(), output->getData() + output->getSize());
  };
  // Grey at factor 2: black at Y 16, 254 at 235 (298 x 219 >> 8), 255 clamps.
  for (auto [y, want] : {std::pair{16, 0}, std::pair{235, 254}, std::pair{255, 255}})
    for (ColorSpace c : {ColorSpace::RGB_888, ColorSpace::BGR_888, ColorSpace::R_8, ColorSpace::G_8, ColorSpace::B_8}) {
      const auto l = static_cast<std::uint8_t>(y);
      EXPECT_EQ(Bytes(c < ColorSpace::R_8 ? 6 : 2, static_cast<std::uint8_t>(want)), convert(c, {l, 128, l, 128}, 4, 2))
          << y << c;
    }
  // Y0 + Y1 = 39: RGB_888 scales 298 x 3 = 894 (3), BGR_888 keeps 149 x 7 = 1043 (4).
  EXPECT_EQ(Bytes(6, 3), convert(ColorSpace::RGB_888, {20, 128, 19, 128}, 4, 2));
  EXPECT_EQ(Bytes(6, 4), convert(ColorSpace::BGR_888, {20, 128, 19, 128}, 4, 2));
  // U' = 0, V' = 100: R greatest, G least; hue -9 stored as 247. Saturation
  // 50900 x 255 over 256R + 1 = 65933 (Y 100) and 95733 (Y 200).
  EXPECT_EQ((Bytes{247, 247}), convert(ColorSpace::H_8, {100, 128, 200, 228}, 2, 2));
  EXPECT_EQ((Bytes{196, 135}), convert(ColorSpace::S_8, {100, 128, 200, 228}, 2, 2));
  // Grey, whatever the luma: no hue, no saturation, hue 0's colour.
  const Bytes grey{30, 128, 220, 128};
  EXPECT_EQ((Bytes{0, 0}), convert(ColorSpace::H_8, grey, 2, 2));
  EXPECT_EQ((Bytes{0, 0}), convert(ColorSpace::S_8, grey, 2, 2));
  EXPECT_EQ((Bytes{0, 0, 30, 0, 0, 220}), convert(ColorSpace::HSY_888, grey, 2, 2));
  EXPECT_EQ((Bytes{0, 0, 255, 0, 0, 255}), convert(ColorSpace::H2RGB_888, grey, 2, 2));
}

TEST(Camera2DConverters, SaturationOfEveryLumaAndChroma) {
  // Every (Y, U, V): V along a row, U down the rows, Y0 = y and Y1 = 255 - y.
  // A zero denominator would trap here.
  auto input = image(512, 256, ColorSpace::YUV_422), output = image(512, 256, ColorSpace::S_8);
  std::uint8_t* p = input->getData();
  for (int y = 0; y < 256; ++y) {
    for (std::uint64_t i = 0; i < input->getSize(); i += 4)
      p[i] = static_cast<std::uint8_t>(y), p[i + 1] = static_cast<std::uint8_t>(i >> 10),
      p[i + 2] = static_cast<std::uint8_t>(255 - y), p[i + 3] = static_cast<std::uint8_t>(i >> 2);
    Camera2D::convertYUV422toS8(input, output);
    int mismatches = 0;
    for (std::uint64_t i = 0; i < input->getSize(); i += 4)
      mismatches += (output->getData()[i / 2] != saturationOf(p + i, p[i])) +
                    (output->getData()[i / 2 + 1] != saturationOf(p + i, p[i + 2]));
    EXPECT_EQ(0, mismatches) << "luma " << y;
  }
}

}  // namespace
}  // namespace videoDevice
