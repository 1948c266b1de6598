// The reference rows of the depth visualisations.

#include <algorithm>
#include <cstring>

#include "conversion/PlainRows.h"

namespace videoDevice {
namespace conversion {
namespace plain {

namespace {

std::uint16_t loadDepth(const std::uint8_t* pixel) {
  std::uint16_t depth;
  std::memcpy(&depth, pixel, sizeof depth);
  return depth;
}

}  // namespace

void depthRampColour(std::uint16_t depth, std::uint8_t* rgb) {
  if (depth == 0) {
    rgb[0] = rgb[1] = rgb[2] = 0;
    return;
  }
  // Single precision on purpose: the ramp is defined in floats.
  const float t = std::min(depth / 4095.0f, 1.0f) - 0.12f;
  if (t < 0.0f) {
    rgb[0] = rgb[1] = rgb[2] = 85;
    return;
  }
  const float s = t * 1.1363636f;
  const float u = 1.0f - s;
  const float a = u * u * u;
  // Through int: a product that rounds a hair below zero must truncate to 0,
  // not convert out of range.
  rgb[0] = static_cast<std::uint8_t>(static_cast<int>(a * 255.0f));
  rgb[1] = static_cast<std::uint8_t>(static_cast<int>((1.0f - (s * s + a)) * 255.0f));
  rgb[2] = static_cast<std::uint8_t>(static_cast<int>(s * s * 255.0f));
}

std::uint8_t depthGrey(std::uint16_t depth) {
  // Depths beyond 4495 wrap around on purpose.
  const int shifted = std::max(static_cast<int>(depth) - 400, 0) >> 4;
  return static_cast<std::uint8_t>(shifted & 0xFF);
}

void depthRgb888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                    std::size_t factor) {
  for (std::size_t x = 0; x < count; ++x) depthRampColour(loadDepth(in + 2 * x * factor), out + 3 * x);
}

void depthGreyRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                  std::size_t factor) {
  for (std::size_t x = 0; x < count; ++x) out[x] = depthGrey(loadDepth(in + 2 * x * factor));
}

}  // namespace plain
}  // namespace conversion
}  // namespace videoDevice
