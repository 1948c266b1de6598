// The YUV 4:2:2 converters against per-pixel references written from the
// fixed-point formulas, on random images at factors 1 to 4 and on odd widths,
// plus values worked out by hand.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include <opencv2/imgproc.hpp>
#include <videodevice/Camera2D.h>

namespace videoDevice {
namespace {

constexpr std::uint8_t kUntouched = 0xA5;
using Converter = void (*)(const Camera2D::Input&, const Camera2D::Output&);

std::shared_ptr<ImageBuffer> yuvImage(std::uint64_t w, std::uint64_t h,
                                      const std::vector<std::uint8_t>& groupPattern) {
  auto image = std::make_shared<ImageBuffer>("front", Resolution(w, h), ColorSpace::YUV_422, true);
  for (std::uint64_t i = 0; i < image->getSize(); ++i)
    image->getData()[i] = groupPattern[i % groupPattern.size()];
  return image;
}

std::shared_ptr<ImageBuffer> randomImage(std::uint64_t w, std::uint64_t h, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<std::uint8_t> bytes(w * h * 2);
  for (auto& b : bytes) b = static_cast<std::uint8_t>(random());
  return yuvImage(w, h, bytes);
}

std::shared_ptr<ImageBuffer> blankImage(std::uint64_t w, std::uint64_t h, ColorSpace colorSpace) {
  auto image = std::make_shared<ImageBuffer>("front", Resolution(w, h), colorSpace, true);
  std::memset(image->getData(), kUntouched, image->getSize());
  return image;
}

int clamp8(int v) { return v < 0 ? 0 : v > 255 ? 255 : v; }

// What a converter must leave in the output: the bytes its formula writes,
// in formula order, kept only inside the output; -1 where nothing is written.
// A formula element that would read past the input stops everything.
struct Expected {
  const std::uint8_t* in;
  std::uint64_t inSize, inW, outW, outH, f;
  std::vector<int> bytes;

  Expected(const ImageBuffer& input, const ImageBuffer& output)
      : in(input.getData()), inSize(input.getSize()), inW(input.getResolution().width),
        outW(output.getResolution().width), outH(output.getResolution().height),
        f(inW / outW), bytes(output.getSize(), -1) {}
  bool readable(std::uint64_t lastOffset) const { return lastOffset < inSize; }
  void put(std::uint64_t index, int value) {
    if (index < bytes.size()) bytes[index] = value & 0xff;
  }
  std::uint64_t row(std::uint64_t r) const { return r * f * inW * 2; }
};

void expectOutput(const Expected& expected, const ImageBuffer& output, const std::string& what) {
  const std::uint8_t* out = output.getData();
  for (std::size_t i = 0; i < expected.bytes.size(); ++i) {
    const int want = expected.bytes[i] < 0 ? kUntouched : expected.bytes[i];
    if (out[i] != want) {
      ADD_FAILURE() << what << ": byte " << i << " is " << int(out[i]) << ", expected " << want;
      return;
    }
  }
}

// --- references -------------------------------------------------------------

enum class Colour { RGB, BGR, R, G, B };

// Scaled colour members: one pixel per 2f bytes, 4 bytes read wherever they land.
void scaledColour(Expected& e, Colour kind) {
  for (std::uint64_t r = 0; r < e.outH; ++r)
    for (std::uint64_t x = 0; x < e.outW; ++x) {
      const std::uint64_t b = e.row(r) + x * 2 * e.f;
      if (!e.readable(b + 3)) return;
      const int y0 = e.in[b], u = e.in[b + 1], y1 = e.in[b + 2], v = e.in[b + 3];
      const int c = kind == Colour::RGB ? 298 * ((y0 + y1 - 32) / 2) : 149 * (y0 + y1 - 32);
      const int red = clamp8((c + 409 * (v - 128)) >> 8);
      const int green = clamp8((c - 100 * (u - 128) - 208 * (v - 128)) >> 8);
      const int blue = clamp8((c + 516 * (u - 128)) >> 8);
      const std::uint64_t o = r * e.outW + x;
      switch (kind) {
        case Colour::RGB: e.put(3 * o, red), e.put(3 * o + 1, green), e.put(3 * o + 2, blue); break;
        case Colour::BGR: e.put(3 * o, blue), e.put(3 * o + 1, green), e.put(3 * o + 2, red); break;
        case Colour::R: e.put(o, red); break;
        case Colour::G: e.put(o, green); break;
        case Colour::B: e.put(o, blue); break;
      }
    }
}

// Full-size single channels: each pixel from its own luma.
void fullChannel(Expected& e, Colour kind) {
  for (std::uint64_t r = 0; r < e.outH; ++r)
    for (std::uint64_t x = 0; x < e.outW; x += 2) {
      const std::uint64_t b = r * e.inW * 2 + 2 * x;
      if (!e.readable(b + 3)) return;
      const int u = e.in[b + 1], v = e.in[b + 3];
      for (int i = 0; i < 2; ++i) {
        const int y = e.in[b + 2 * i];
        const int value = kind == Colour::R   ? (298 * y + 409 * v - 57120) >> 8
                          : kind == Colour::G ? (298 * y - 100 * u - 208 * v + 34656) >> 8
                                              : (298 * y + 516 * u - 70816) >> 8;
        e.put(r * e.outW + x + i, clamp8(value));
      }
    }
}

void luma(Expected& e) {
  for (std::uint64_t r = 0; r < e.outH; ++r)
    for (std::uint64_t x = 0; x < e.outW; ++x) {
      if (!e.readable(e.row(r) + 2 * x * e.f)) return;
      e.put(r * e.outW + x, e.in[e.row(r) + 2 * x * e.f]);
    }
}

// U_8 and V_8: bytes x 2f + first and (x + 1) x 2f + second for x = 0, 2 ...;
// U_8 rows start every outW bytes, V_8 rows right after the last byte written.
void chroma(Expected& e, int first, int second, bool drift) {
  std::uint64_t o = 0;
  for (std::uint64_t r = 0; r < e.outH; ++r)
    for (std::uint64_t x = 0; x < e.outW; x += 2) {
      const std::uint64_t a = e.row(r) + x * 2 * e.f + first, b = e.row(r) + (x + 1) * 2 * e.f + second;
      if (!e.readable(std::max(a, b))) return;
      if (!drift) o = r * e.outW + x;
      e.put(o++, e.in[a]);
      e.put(o++, e.in[b]);
    }
}

void yuv422(Expected& e) {
  if (e.inW == e.outW) {
    for (std::uint64_t i = 0; i < std::min<std::uint64_t>(e.inSize, e.bytes.size()); ++i) e.put(i, e.in[i]);
    return;
  }
  std::uint64_t o = 0;
  for (std::uint64_t r = 0; r < e.outH; ++r)
    for (std::uint64_t b = 0; b < e.inW * 2; b += 4 * e.f) {
      const std::uint8_t* a = e.in + e.row(r) + b;
      const std::uint8_t* c = a + 2 * e.f;
      if (!e.readable(e.row(r) + b + 2 * e.f + 3)) return;
      e.put(o++, (a[0] + a[2]) / 2);
      e.put(o++, (a[1] + c[1]) / 2);
      e.put(o++, (c[0] + c[2]) / 2);
      e.put(o++, (a[3] + c[3]) / 2);
    }
}

// Group k x f of each row, one output pair per group; `write` gives the bytes.
void perGroup(Expected& e, std::uint64_t pairs, std::uint64_t pairBytes, std::uint64_t rowBytes,
              const std::function<std::vector<int>(const std::uint8_t*)>& write) {
  for (std::uint64_t r = 0; r < e.outH; ++r)
    for (std::uint64_t k = 0; k < pairs; ++k) {
      const std::uint64_t b = e.row(r) + 4 * k * e.f;
      if (!e.readable(b + 3)) return;
      const std::vector<int> values = write(e.in + b);
      for (std::uint64_t i = 0; i < pairBytes; ++i) e.put(r * rowBytes + k * pairBytes + i, values[i]);
    }
}

// Hue and saturation with the hue family's G (-208 U' - 100 V').
struct Channels {
  int rg, gb, rb;
  explicit Channels(const std::uint8_t* g) {
    const int u = g[1] - 128, v = g[3] - 128;
    const int red = 409 * v, green = -208 * u - 100 * v, blue = 516 * u;
    rg = red - green, gb = green - blue, rb = red - blue;
  }
};

int hueOf(const std::uint8_t* g) {
  const Channels c(g);
  int h = 0;
  if (c.rg <= 0) {
    if (c.gb < 0) h = c.rg * 85 / (-2 * c.rb) - 85;
    else if (c.rb > 0) h = -c.rb * 85 / (2 * c.gb) + 85;
    else if (c.rg != 0) h = c.rb * 85 / (2 * c.rg) + 85;
  } else if (c.gb > 0) {
    h = c.gb * 85 / (2 * c.rb);
  } else {
    h = c.rb <= 0 ? c.rg * 85 / (-2 * c.gb) - 85 : c.gb * 85 / (2 * c.rg) - 1;
  }
  return (h % 256 + 256) % 256;
}

int saturationOf(const std::uint8_t* g, int y) {
  const Channels c(g);
  const int u = g[1], v = g[3];
  const std::int64_t bden = 298 * y + 516 * u - 70815, gden = 298 * y - 208 * u - 100 * v + 34657,
                     rden = 298 * y + 409 * v - 57119;
  std::int64_t s;
  if (c.rg <= 0 && c.gb < 0) s = -c.rb * 255 / bden;
  else if (c.rg <= 0 && c.rb <= 0) s = c.rg == 0 ? 0 : -c.rg * 255 / gden;
  else if (c.rg <= 0) s = c.gb * 255 / gden;
  else if (c.gb <= 0 && c.rb <= 0) s = -c.gb * 255 / bden;
  else if (c.gb <= 0) s = c.rg * 255 / rden;
  else s = c.rb * 255 / rden;
  return static_cast<int>(std::min<std::int64_t>(255, std::max<std::int64_t>(0, s)));
}

std::vector<int> wheel(int h) {
  if (h <= 42) return {0, 6 * h, 255};
  if (h <= 84) return {0, 255, 1 - 6 * h};
  if (h <= 126) return {6 * h + 2, 255, 0};
  if (h <= 168) return {255, -6 * h - 7, 0};
  if (h <= 210) return {255, 0, 6 * h + 10};
  if (h <= 253) return {-6 * h - 15, 0, 255};
  return {0, 0, 255};
}

struct Case {
  const char* name;
  ColorSpace colorSpace;
  Converter convert;
  std::function<void(Expected&)> reference;
};

std::vector<Case> cases() {
  const auto pairs = [](const Expected& e) { return (e.outW + 1) / 2; };
  return {
      {"RGB_888", ColorSpace::RGB_888, Camera2D::convertYUV422toRGB888,
       [](Expected& e) { scaledColour(e, Colour::RGB); }},
      {"BGR_888", ColorSpace::BGR_888, Camera2D::convertYUV422toBGR888,
       [](Expected& e) { scaledColour(e, Colour::BGR); }},
      {"R_8", ColorSpace::R_8, Camera2D::convertYUV422toR8,
       [](Expected& e) { e.f == 1 ? fullChannel(e, Colour::R) : scaledColour(e, Colour::R); }},
      {"G_8", ColorSpace::G_8, Camera2D::convertYUV422toG8,
       [](Expected& e) { e.f == 1 ? fullChannel(e, Colour::G) : scaledColour(e, Colour::G); }},
      {"B_8", ColorSpace::B_8, Camera2D::convertYUV422toB8,
       [](Expected& e) { e.f == 1 ? fullChannel(e, Colour::B) : scaledColour(e, Colour::B); }},
      {"Y_8", ColorSpace::Y_8, Camera2D::convertYUV422toY8, luma},
      {"U_8", ColorSpace::U_8, Camera2D::convertYUV422toU8, [](Expected& e) { chroma(e, 1, -1, false); }},
      {"V_8", ColorSpace::V_8, Camera2D::convertYUV422toV8, [](Expected& e) { chroma(e, 3, 1, true); }},
      {"YUV_422", ColorSpace::YUV_422, Camera2D::convertYUV422toYUV422, yuv422},
      {"YUV_888", ColorSpace::YUV_888, Camera2D::convertYUV422toYUV888,
       [=](Expected& e) {
         perGroup(e, pairs(e), 6, e.outW * 3, [](const std::uint8_t* g) {
           return std::vector<int>{g[0], g[1], g[3], g[2], g[1], g[3]};
         });
       }},
      {"YYCBCR_8888", ColorSpace::YYCBCR_8888, Camera2D::convertYUV422toYYCbCr,
       [](Expected& e) {
         perGroup(e, e.outW / 2, 4, e.outW / 2 * 4, [](const std::uint8_t* g) {
           return std::vector<int>{g[0], g[2], g[1], g[3]};
         });
       }},
      {"H_8", ColorSpace::H_8, Camera2D::convertYUV422toH8,
       [=](Expected& e) {
         perGroup(e, pairs(e), 2, e.outW, [](const std::uint8_t* g) {
           return std::vector<int>{hueOf(g), hueOf(g)};
         });
       }},
      {"S_8", ColorSpace::S_8, Camera2D::convertYUV422toS8,
       [=](Expected& e) {
         perGroup(e, pairs(e), 2, e.outW, [](const std::uint8_t* g) {
           return std::vector<int>{saturationOf(g, g[0]), saturationOf(g, g[2])};
         });
       }},
      {"HSY_888", ColorSpace::HSY_888, Camera2D::convertYUV422toHSY888,
       [=](Expected& e) {
         perGroup(e, pairs(e), 6, e.outW * 3, [](const std::uint8_t* g) {
           return std::vector<int>{hueOf(g), saturationOf(g, g[0]), g[0],
                                   hueOf(g), saturationOf(g, g[2]), g[2]};
         });
       }},
      {"HSMIXED_888", ColorSpace::HSMIXED_888, Camera2D::convertYUV422toHSMixed888,
       [=](Expected& e) {
         perGroup(e, pairs(e), 6, e.outW * 3, [](const std::uint8_t* g) {
           const int h = hueOf(g);
           return std::vector<int>{h, saturationOf(g, g[0]), h, h, saturationOf(g, g[2]), h};
         });
       }},
      {"H2RGB_888", ColorSpace::H2RGB_888, Camera2D::convertYUV422toH2RGB,
       [=](Expected& e) {
         perGroup(e, pairs(e), 6, e.outW * 3, [](const std::uint8_t* g) {
           std::vector<int> w = wheel(hueOf(g));
           w.insert(w.end(), w.begin(), w.end());
           return w;
         });
       }},
  };
}

// --- tests ------------------------------------------------------------------

TEST(Camera2DConverters, MatchTheFormulasAtEveryFactorAndOddWidths) {
  struct Size {
    std::uint64_t w, h;
  };
  unsigned seed = 1;
  for (const Case& c : cases())
    for (const Size out : {Size{8, 6}, Size{10, 4}, Size{7, 3}, Size{1, 1}})
      for (std::uint64_t f : {1, 2, 3, 4}) {
        const bool openCv = f == 1 && (c.colorSpace == ColorSpace::RGB_888 ||
                                       c.colorSpace == ColorSpace::BGR_888);
        if (openCv) continue;  // checked against OpenCV itself below
        auto input = randomImage(out.w * f, out.h * f, seed++);
        auto output = blankImage(out.w, out.h, c.colorSpace);
        c.convert(input, output);
        Expected expected(*input, *output);
        c.reference(expected);
        expectOutput(expected, *output,
                     std::string(c.name) + " " + std::to_string(out.w) + "x" +
                         std::to_string(out.h) + " f" + std::to_string(f));
      }
}

TEST(Camera2DConverters, NonWholeWidthRatioGivesTheTopLeftCornerWithinTheBuffers) {
  // A subscriber asking a VGA camera for 480x360: the frame lets it through,
  // the converters work at factor 1 and some formulas (YUV_422's 2 x 640-byte
  // rows, V_8's drift) reach past the output, which must keep only what fits.
  auto input = randomImage(640, 480, 7);
  for (const Case& c : cases()) {
    auto output = blankImage(480, 360, c.colorSpace);
    Camera2D::convert2DImage(CameraPreferences(Resolution(480, 360), c.colorSpace, 30), input, output);
    Expected expected(*input, *output);
    // OpenCV gets a destination of another size and writes its own matrix.
    if (c.colorSpace != ColorSpace::RGB_888 && c.colorSpace != ColorSpace::BGR_888)
      c.reference(expected);
    expectOutput(expected, *output, std::string(c.name) + " 480x360");
  }
}

TEST(Camera2DConverters, SameWidthYuvCopyStopsAtTheSmallerBuffer) {
  // The simulated camera copies pushed frames of its own width but any height.
  auto tall = randomImage(8, 6, 11);
  auto shortOutput = blankImage(8, 3, ColorSpace::YUV_422);
  Camera2D::convertYUV422toYUV422(tall, shortOutput);
  EXPECT_EQ(0, std::memcmp(tall->getData(), shortOutput->getData(), shortOutput->getSize()));
  auto flat = randomImage(8, 2, 12);
  auto tallOutput = blankImage(8, 6, ColorSpace::YUV_422);
  Camera2D::convertYUV422toYUV422(flat, tallOutput);
  EXPECT_EQ(0, std::memcmp(flat->getData(), tallOutput->getData(), flat->getSize()));
  EXPECT_EQ(kUntouched, tallOutput->getData()[flat->getSize()]);
}

TEST(Camera2DConverters, FullSizeRgbAndBgrAreOpenCvs) {
  auto input = randomImage(64, 48, 3);
  cv::Mat copy = ImageBuffer::imageBufferToCvMat(*input).clone();
  for (auto [colorSpace, code, convert] :
       {std::tuple{ColorSpace::RGB_888, int(cv::COLOR_YUV2RGB_YUY2), &Camera2D::convertYUV422toRGB888},
        std::tuple{ColorSpace::BGR_888, int(cv::COLOR_YUV2BGR_YUY2), &Camera2D::convertYUV422toBGR888}}) {
    cv::Mat reference;
    cv::cvtColor(copy, reference, code);
    auto output = blankImage(64, 48, colorSpace);
    convert(input, output);
    EXPECT_EQ(0, std::memcmp(reference.data, output->getData(), output->getSize()));
  }
  // Black, grey and white survive any sane coefficients.
  auto flat = yuvImage(4, 2, {16, 128, 16, 128, 128, 128, 128, 128, 235, 128, 235, 128, 16, 128, 16, 128});
  auto rgb = blankImage(4, 2, ColorSpace::RGB_888);
  Camera2D::convertYUV422toRGB888(flat, rgb);
  const std::uint8_t* p = rgb->getData();
  EXPECT_EQ(0, p[0]);
  EXPECT_NEAR(130, p[6], 1);
  EXPECT_EQ(255, p[12]);
}

TEST(Camera2DConverters, HandComputedColourValues) {
  const auto scaled = [](std::vector<std::uint8_t> group, ColorSpace colorSpace, Converter convert) {
    auto input = yuvImage(4, 2, group);  // factor 2 towards 2x1
    auto output = blankImage(2, 1, colorSpace);
    convert(input, output);
    return std::vector<int>(output->getData(), output->getData() + output->getSize());
  };
  for (auto [y, want] : {std::pair{16, 0}, std::pair{235, 254}, std::pair{255, 255}}) {
    const std::uint8_t l = static_cast<std::uint8_t>(y);
    const std::vector<std::uint8_t> grey{l, 128, l, 128};
    EXPECT_EQ(std::vector<int>(6, want), scaled(grey, ColorSpace::RGB_888, Camera2D::convertYUV422toRGB888)) << y;
    EXPECT_EQ(std::vector<int>(6, want), scaled(grey, ColorSpace::BGR_888, Camera2D::convertYUV422toBGR888)) << y;
    EXPECT_EQ(std::vector<int>(2, want), scaled(grey, ColorSpace::R_8, Camera2D::convertYUV422toR8)) << y;
    EXPECT_EQ(std::vector<int>(2, want), scaled(grey, ColorSpace::G_8, Camera2D::convertYUV422toG8)) << y;
    EXPECT_EQ(std::vector<int>(2, want), scaled(grey, ColorSpace::B_8, Camera2D::convertYUV422toB8)) << y;
  }
  // Y0 + Y1 = 39: RGB_888 scales 298 x 3 = 894 (3), BGR_888 keeps 149 x 7 = 1043 (4).
  EXPECT_EQ(std::vector<int>(6, 3), scaled({20, 128, 19, 128}, ColorSpace::RGB_888, Camera2D::convertYUV422toRGB888));
  EXPECT_EQ(std::vector<int>(6, 4), scaled({20, 128, 19, 128}, ColorSpace::BGR_888, Camera2D::convertYUV422toBGR888));
}

TEST(Camera2DConverters, HandComputedHueAndSaturation) {
  const auto convert = [](std::vector<std::uint8_t> group, ColorSpace colorSpace, Converter c) {
    auto input = yuvImage(2, 1, group);
    auto output = blankImage(2, 1, colorSpace);
    c(input, output);
    return std::vector<int>(output->getData(), output->getData() + output->getSize());
  };
  // U' = 0, V' = 100: R greatest, G least; hue -9 stored as 247.
  EXPECT_EQ((std::vector<int>{247, 247}), convert({100, 128, 200, 228}, ColorSpace::H_8, Camera2D::convertYUV422toH8));
  // 50900 x 255 over 256R + 1 = 65933 (Y 100) and 95733 (Y 200).
  EXPECT_EQ((std::vector<int>{196, 135}), convert({100, 128, 200, 228}, ColorSpace::S_8, Camera2D::convertYUV422toS8));
  // Grey, whatever the luma: no hue, no saturation, hue 0's colour.
  const std::vector<std::uint8_t> grey{30, 128, 220, 128};
  EXPECT_EQ((std::vector<int>{0, 0}), convert(grey, ColorSpace::H_8, Camera2D::convertYUV422toH8));
  EXPECT_EQ((std::vector<int>{0, 0}), convert(grey, ColorSpace::S_8, Camera2D::convertYUV422toS8));
  EXPECT_EQ((std::vector<int>{0, 0, 30, 0, 0, 220}), convert(grey, ColorSpace::HSY_888, Camera2D::convertYUV422toHSY888));
  EXPECT_EQ(std::vector<int>(6, 0), convert(grey, ColorSpace::HSMIXED_888, Camera2D::convertYUV422toHSMixed888));
  EXPECT_EQ((std::vector<int>{0, 0, 255, 0, 0, 255}), convert(grey, ColorSpace::H2RGB_888, Camera2D::convertYUV422toH2RGB));
}

TEST(Camera2DConverters, SaturationOfEveryLumaAndChroma) {
  // Every (Y, U, V): V along a row, U down the rows, Y0 = y and Y1 = 255 - y.
  // A zero denominator would trap here.
  for (int y = 0; y < 256; ++y) {
    auto input = std::make_shared<ImageBuffer>("front", Resolution(512, 256), ColorSpace::YUV_422, true);
    std::uint8_t* p = input->getData();
    for (int u = 0; u < 256; ++u)
      for (int v = 0; v < 256; ++v, p += 4) {
        p[0] = static_cast<std::uint8_t>(y), p[1] = static_cast<std::uint8_t>(u);
        p[2] = static_cast<std::uint8_t>(255 - y), p[3] = static_cast<std::uint8_t>(v);
      }
    auto output = blankImage(512, 256, ColorSpace::S_8);
    Camera2D::convertYUV422toS8(input, output);
    const std::uint8_t* in = input->getData();
    const std::uint8_t* out = output->getData();
    int mismatches = 0;
    for (std::uint64_t i = 0; i < input->getSize(); i += 4) {
      mismatches += out[i / 2] != saturationOf(in + i, in[i]);
      mismatches += out[i / 2 + 1] != saturationOf(in + i, in[i + 2]);
    }
    EXPECT_EQ(0, mismatches) << "luma " << y;
  }
}

}  // namespace
}  // namespace videoDevice
