// The reference rows of the 2D converters, written to be read against the
// fixed-point formulas, not to be fast; the fast rows must match them byte for
// byte. Some behaviours look like slips but are what every user of these
// images has been tuned against, and are kept deliberately:
//  - the colour members step 2 x factor bytes and read 4 bytes wherever they
//    land, so with an odd factor every second pixel reads its U and V swapped;
//  - the RGB_888 luma term truncates the pair's average before scaling, while
//    BGR_888 and the single-channel members keep the half of an odd sum;
//  - U_8 takes its second byte from (x + 1) x 2f - 1 and V_8 from
//    (x + 1) x 2f + 1, which for an even factor is the other chroma byte;
//  - V_8 rows follow each other without gap, so an odd width drifts them.
//
// The hue and saturation family works on 256 x channel differences derived
// from the chroma of a group (R = 298Y + 409V', B = 298Y + 516U',
// G = 298Y - 208U' - 100V'; this family's G has the U and V weights the other
// way round from the colour matrix, and segmentation thresholds were tuned on
// it, so it stays). The hue circle is mapped on 0..255 (85 steps for 120
// degrees); the sector offsets -85 and -1 are where the tuned thresholds
// expect them, not 170 and 256. One hue per input group, one saturation per
// pixel from its own luma.

#include "conversion/PlainRows.h"

namespace videoDevice {
namespace conversion {
namespace plain {

namespace {

std::uint8_t clampByte(int value) {
  return value < 0 ? 0 : (value > 255 ? 255 : static_cast<std::uint8_t>(value));
}

// --- colour -----------------------------------------------------------------
// Integer BT.601 limited range scaled by 256; no rounding before the shift.

struct Rgb {
  std::uint8_t r, g, b;
};

// luma: 298 x (Y - 16) in the x256 scale; u, v: chroma less 128.
Rgb colourMatrix(int luma, int u, int v) {
  return Rgb{clampByte((luma + 409 * v) >> 8), clampByte((luma - 100 * u - 208 * v) >> 8),
             clampByte((luma + 516 * u) >> 8)};
}

// RGB_888: the pair's luma average, truncated before it is scaled.
int averagedLuma(int y0, int y1) { return 298 * ((y0 + y1 - 32) / 2); }

// BGR_888 and R_8, G_8, B_8: 149 x (Y0 + Y1 - 32), keeping the half of an odd sum.
int pairLuma(int y0, int y1) { return ((y0 + y1) * 298 - 9536) >> 1; }

// Full-size single channels: each pixel from its own luma and the shared chroma.
int fullRed(int y, int, int v) { return clampByte((298 * y + 409 * v - 57120) >> 8); }
int fullGreen(int y, int u, int v) { return clampByte((298 * y - 100 * u - 208 * v + 34656) >> 8); }
int fullBlue(int y, int u, int) { return clampByte((298 * y + 516 * u - 70816) >> 8); }

template <int (*channel)(int, int, int)>
void fullChannelRowOf(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t) {
  for (std::size_t k = 0; k < count; ++k) {
    const std::uint8_t* p = in + 4 * k;
    out[2 * k] = static_cast<std::uint8_t>(channel(p[0], p[1], p[3]));
    out[2 * k + 1] = static_cast<std::uint8_t>(channel(p[2], p[1], p[3]));
  }
}

struct ChromaDifferences {
  int rg;  // 256 (R - G)
  int gb;  // 256 (G - B)
  int rb;  // 256 (R - B), also rg + gb
};

ChromaDifferences chromaDifferences(int u, int v) {
  const int du = u - 128;
  const int dv = v - 128;
  return ChromaDifferences{509 * dv + 208 * du, -100 * dv - 724 * du, 409 * dv - 516 * du};
}

// Truncating divisions; the sector tests keep every denominator away from 0.
std::uint8_t hueOfDifferences(const ChromaDifferences& d) {
  int h;
  if (d.rg <= 0) {
    if (d.gb < 0)
      h = (d.rg * 85) / (2 * -d.rb) - 85;
    else if (d.rb > 0)
      h = (-d.rb * 85) / (2 * d.gb) + 85;
    else if (d.rg != 0)
      h = (d.rb * 85) / (2 * d.rg) + 85;
    else
      h = 0;  // grey
  } else if (d.gb <= 0) {
    if (d.rb <= 0)
      h = (d.rg * 85) / (2 * -d.gb) - 85;
    else
      h = (d.gb * 85) / (2 * d.rg) - 1;
  } else {
    h = (d.gb * 85) / (2 * d.rb);
  }
  return static_cast<std::uint8_t>(h);  // modulo 256
}

// (max - min) x 255 / (max + 1) in the x256 scale, max being the channel the
// sector says is greatest. None of the denominators can be 0 for byte
// inputs: 256B + 1 and 256G + 1 are odd, and 298Y + 409V = 57119 has no
// solution with Y and V in 0..255, so 256R + 1 is never 0 either.
std::uint8_t saturationOf(const ChromaDifferences& d, int y, int u, int v) {
  const std::int64_t blue = 298 * y + 516 * u - 70815;
  const std::int64_t green = 298 * y - 208 * u - 100 * v + 34657;
  const std::int64_t red = 298 * y + 409 * v - 57119;
  std::int64_t s;
  if (d.rg <= 0) {
    if (d.gb < 0)
      s = (-d.rb * 255) / blue;
    else if (d.rb <= 0)
      s = d.rg == 0 ? 0 : (-d.rg * 255) / green;
    else
      s = (d.gb * 255) / green;
  } else if (d.gb <= 0) {
    s = d.rb <= 0 ? (-d.gb * 255) / blue : (d.rg * 255) / red;
  } else {
    s = (d.rb * 255) / red;
  }
  return s < 0 ? 0 : (s > 255 ? 255 : static_cast<std::uint8_t>(s));
}

// The fully saturated colour of a hue, bytes b0 b1 b2 (blue, green, red), all
// modulo 256.
void hueColourOf(std::uint8_t h, std::uint8_t* o) {
  const int six = 6 * h;
  int b0, b1, b2;
  if (h <= 42) {
    b0 = 0, b1 = six, b2 = 255;
  } else if (h <= 84) {
    b0 = 0, b1 = 255, b2 = 1 - six;
  } else if (h <= 126) {
    b0 = six + 2, b1 = 255, b2 = 0;
  } else if (h <= 168) {
    b0 = 255, b1 = -six - 7, b2 = 0;
  } else if (h <= 210) {
    b0 = 255, b1 = 0, b2 = six + 10;
  } else if (h <= 253) {
    b0 = -six - 15, b1 = 0, b2 = 255;
  } else {
    b0 = 0, b1 = 0, b2 = 255;
  }
  o[0] = static_cast<std::uint8_t>(b0);
  o[1] = static_cast<std::uint8_t>(b1);
  o[2] = static_cast<std::uint8_t>(b2);
}

}  // namespace

std::uint8_t hue(int u, int v) { return hueOfDifferences(chromaDifferences(u, v)); }

std::uint8_t saturation(int y, int u, int v) {
  return saturationOf(chromaDifferences(u, v), y, u, v);
}

void hueColour(std::uint8_t h, std::uint8_t* bgr) { hueColourOf(h, bgr); }

void rgb888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t x = 0; x < count; ++x) {
    const std::uint8_t* p = in + x * 2 * f;
    const Rgb c = colourMatrix(averagedLuma(p[0], p[2]), p[1] - 128, p[3] - 128);
    out[3 * x] = c.r;
    out[3 * x + 1] = c.g;
    out[3 * x + 2] = c.b;
  }
}

void bgr888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t x = 0; x < count; ++x) {
    const std::uint8_t* p = in + x * 2 * f;
    const Rgb c = colourMatrix(pairLuma(p[0], p[2]), p[1] - 128, p[3] - 128);
    out[3 * x] = c.b;
    out[3 * x + 1] = c.g;
    out[3 * x + 2] = c.r;
  }
}

// The single-channel members use raw U and V with the 128 offsets folded in.
void r8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t x = 0; x < count; ++x) {
    const std::uint8_t* p = in + x * 2 * f;
    out[x] = clampByte((409 * p[3] + pairLuma(p[0], p[2]) - 52352) >> 8);
  }
}

void g8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t x = 0; x < count; ++x) {
    const std::uint8_t* p = in + x * 2 * f;
    out[x] = clampByte((pairLuma(p[0], p[2]) - 100 * p[1] - 208 * p[3] + 39424) >> 8);
  }
}

void b8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t x = 0; x < count; ++x) {
    const std::uint8_t* p = in + x * 2 * f;
    out[x] = clampByte((516 * p[1] + pairLuma(p[0], p[2]) - 66048) >> 8);
  }
}

// --- components -------------------------------------------------------------

void y8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t x = 0; x < count; ++x) out[x] = in[x * 2 * f];
}

void u8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t k = 0; k < count; ++k) {
    const std::uint8_t* p = in + k * 4 * f;  // x = 2k: bytes 2xf + 1 and 2(x + 1)f - 1
    out[2 * k] = p[1];
    out[2 * k + 1] = p[2 * f - 1];
  }
}

void v8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t k = 0; k < count; ++k) {
    const std::uint8_t* p = in + k * 4 * f;  // x = 2k: bytes 2xf + 3 and 2(x + 1)f + 1
    out[2 * k] = p[3];
    out[2 * k + 1] = p[2 * f + 1];
  }
}

// Averages the group at b with the group 2f bytes further on.
void yuv422Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t k = 0; k < count; ++k) {
    const std::uint8_t* a = in + k * 4 * f;
    const std::uint8_t* b = a + 2 * f;
    std::uint8_t* o = out + 4 * k;
    o[0] = static_cast<std::uint8_t>((a[0] + a[2]) >> 1);
    o[1] = static_cast<std::uint8_t>((a[1] + b[1]) >> 1);
    o[2] = static_cast<std::uint8_t>((b[0] + b[2]) >> 1);
    o[3] = static_cast<std::uint8_t>((a[3] + b[3]) >> 1);
  }
}

void yuv888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t k = 0; k < count; ++k) {
    const std::uint8_t* p = in + k * 4 * f;
    std::uint8_t* o = out + 6 * k;
    o[0] = p[0];
    o[1] = p[1];
    o[2] = p[3];
    o[3] = p[2];
    o[4] = p[1];
    o[5] = p[3];
  }
}

void yyCbCrRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t k = 0; k < count; ++k) {
    const std::uint8_t* p = in + k * 4 * f;
    std::uint8_t* o = out + 4 * k;
    o[0] = p[0];
    o[1] = p[2];
    o[2] = p[1];
    o[3] = p[3];
  }
}

void fullRedRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  fullChannelRowOf<fullRed>(in, out, count, f);
}

void fullGreenRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  fullChannelRowOf<fullGreen>(in, out, count, f);
}

void fullBlueRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  fullChannelRowOf<fullBlue>(in, out, count, f);
}

// Rows: one element per group 4k x f, i.e. per output pixel pair.

void h8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t k = 0; k < count; ++k) {
    const std::uint8_t* p = in + k * 4 * f;
    out[2 * k] = out[2 * k + 1] = hue(p[1], p[3]);
  }
}

void s8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t k = 0; k < count; ++k) {
    const std::uint8_t* p = in + k * 4 * f;
    const ChromaDifferences d = chromaDifferences(p[1], p[3]);
    out[2 * k] = saturationOf(d, p[0], p[1], p[3]);
    out[2 * k + 1] = saturationOf(d, p[2], p[1], p[3]);
  }
}

void hsy888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t k = 0; k < count; ++k) {
    const std::uint8_t* p = in + k * 4 * f;
    const ChromaDifferences d = chromaDifferences(p[1], p[3]);
    std::uint8_t* o = out + 6 * k;
    o[0] = o[3] = hueOfDifferences(d);
    o[1] = saturationOf(d, p[0], p[1], p[3]);
    o[2] = p[0];
    o[4] = saturationOf(d, p[2], p[1], p[3]);
    o[5] = p[2];
  }
}

void hsMixed888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t k = 0; k < count; ++k) {
    const std::uint8_t* p = in + k * 4 * f;
    const ChromaDifferences d = chromaDifferences(p[1], p[3]);
    std::uint8_t* o = out + 6 * k;
    o[0] = o[2] = o[3] = o[5] = hueOfDifferences(d);
    o[1] = saturationOf(d, p[0], p[1], p[3]);
    o[4] = saturationOf(d, p[2], p[1], p[3]);
  }
}

void h2RgbRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t k = 0; k < count; ++k) {
    const std::uint8_t* p = in + k * 4 * f;
    std::uint8_t* o = out + 6 * k;
    hueColourOf(hue(p[1], p[3]), o);
    o[3] = o[0];
    o[4] = o[1];
    o[5] = o[2];
  }
}

}  // namespace plain
}  // namespace conversion
}  // namespace videoDevice
