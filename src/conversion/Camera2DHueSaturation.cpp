// Hue and saturation images from YUV 4:2:2, for colour segmentation.
//
// Everything works on 256 x channel differences derived from the chroma of a
// group (R = 298Y + 409V', B = 298Y + 516U', G = 298Y - 208U' - 100V'; this
// family's G has the U and V weights the other way round from the colour
// matrix, and segmentation thresholds were tuned on it, so it stays). The hue
// circle is mapped on 0..255 (85 steps for 120 degrees); the sector offsets
// -85 and -1 are where the tuned thresholds expect them, not 170 and 256.
// One hue per input group, one saturation per pixel from its own luma.

#include <cstdint>

#include <lumo/Log.h>
#include <videodevice/Camera2D.h>

#include "conversion/Camera2DRows.h"

LUMO_LOG_CATEGORY("vision.videodevice.camera2d")

namespace videoDevice {

namespace {

using conversion::clampByte;
using conversion::convertRows;
using conversion::pairLayout;
using conversion::widthFactor;

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
std::uint8_t hue(const ChromaDifferences& d) {
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
std::uint8_t saturation(const ChromaDifferences& d, int y, int u, int v) {
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
void hueColour(std::uint8_t h, std::uint8_t* o) {
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

// Rows: one element per group 4k x f, i.e. per output pixel pair.

void h8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t k = 0; k < count; ++k) {
    const std::uint8_t* p = in + k * 4 * f;
    out[2 * k] = out[2 * k + 1] = hue(chromaDifferences(p[1], p[3]));
  }
}

void s8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t k = 0; k < count; ++k) {
    const std::uint8_t* p = in + k * 4 * f;
    const ChromaDifferences d = chromaDifferences(p[1], p[3]);
    out[2 * k] = saturation(d, p[0], p[1], p[3]);
    out[2 * k + 1] = saturation(d, p[2], p[1], p[3]);
  }
}

void hsy888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t k = 0; k < count; ++k) {
    const std::uint8_t* p = in + k * 4 * f;
    const ChromaDifferences d = chromaDifferences(p[1], p[3]);
    std::uint8_t* o = out + 6 * k;
    o[0] = o[3] = hue(d);
    o[1] = saturation(d, p[0], p[1], p[3]);
    o[2] = p[0];
    o[4] = saturation(d, p[2], p[1], p[3]);
    o[5] = p[2];
  }
}

void hsMixed888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t k = 0; k < count; ++k) {
    const std::uint8_t* p = in + k * 4 * f;
    const ChromaDifferences d = chromaDifferences(p[1], p[3]);
    std::uint8_t* o = out + 6 * k;
    o[0] = o[2] = o[3] = o[5] = hue(d);
    o[1] = saturation(d, p[0], p[1], p[3]);
    o[4] = saturation(d, p[2], p[1], p[3]);
  }
}

void h2RgbRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  for (std::size_t k = 0; k < count; ++k) {
    const std::uint8_t* p = in + k * 4 * f;
    std::uint8_t* o = out + 6 * k;
    hueColour(hue(chromaDifferences(p[1], p[3])), o);
    o[3] = o[0];
    o[4] = o[1];
    o[5] = o[2];
  }
}

void convertGroups(const Camera2D::Input& input, const Camera2D::Output& output,
                   const char* operation, std::uint64_t bytesPerPixel,
                   conversion::RowFunction row) {
  const std::uint64_t f = widthFactor(input, output, operation);
  if (f == 0) return;
  convertRows(*input, *output, pairLayout(*input, *output, f, 4, bytesPerPixel), f, row);
}

}  // namespace

void Camera2D::convertYUV422toH8(const Input& input, const Output& output) {
  convertGroups(input, output, __func__, 1, h8Row);
}

void Camera2D::convertYUV422toS8(const Input& input, const Output& output) {
  convertGroups(input, output, __func__, 1, s8Row);
}

void Camera2D::convertYUV422toHSY888(const Input& input, const Output& output) {
  convertGroups(input, output, __func__, 3, hsy888Row);
}

void Camera2D::convertYUV422toHSMixed888(const Input& input, const Output& output) {
  convertGroups(input, output, __func__, 3, hsMixed888Row);
}

void Camera2D::convertYUV422toH2RGB(const Input& input, const Output& output) {
  convertGroups(input, output, __func__, 3, h2RgbRow);
}

}  // namespace videoDevice
