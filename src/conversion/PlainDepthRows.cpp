// The reference rows of the depth converters: visualisations, sampled
// copies, corrected distances and 3D points.
//
// Built with -ffp-contract=off (src/CMakeLists.txt): the float formulas here
// are the reference, one rounding per operation as written, on every
// architecture, and the fast rows are held to exactly that.

#include <algorithm>
#include <cstring>

#include "conversion/PlainRows.h"
#include "conversion/RowKernels.h"

namespace videoDevice {
namespace conversion {
namespace plain {

namespace {

std::uint16_t loadDepth(const std::uint8_t* pixel) {
  std::uint16_t depth;
  std::memcpy(&depth, pixel, sizeof depth);
  return depth;
}

void storeFloat(std::uint8_t* slot, float value) { std::memcpy(slot, &value, sizeof value); }

std::uint16_t distance(std::uint16_t depth, float factor) {
  const float corrected = static_cast<float>(depth) * factor + 0.5f;
  // Keep the integer part modulo 2^16 like any store into 16 bits; NaN and
  // values no integer can hold give 0.
  const std::int64_t whole =
      (corrected > -9.0e18f && corrected < 9.0e18f) ? static_cast<std::int64_t>(corrected) : 0;
  return static_cast<std::uint16_t>(whole);
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

void depth16Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t factor) {
  for (std::size_t x = 0; x < count; ++x) std::memcpy(out + 2 * x, in + 2 * x * factor, 2);
}

void depthDistanceRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                      std::size_t factor, std::size_t column, const FactorRow& factors) {
  for (std::size_t x = 0; x < count; ++x) {
    const float f = factors.factors[std::min((column + x) * factors.step, factors.last)];
    const std::uint16_t d = distance(loadDepth(in + 2 * x * factor), f);
    std::memcpy(out + 2 * x, &d, sizeof d);
  }
}

// Exactly what convertDepth16toIJZ writes and convertProjectiveToRealWorld
// then makes of it: depth along the optical axis, then left of the centre,
// then upwards.
void depthPointsRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                    std::size_t factor, std::size_t column, std::size_t row,
                    const PointFrame& frame) {
  const float j = static_cast<float>(static_cast<std::uint64_t>(row));
  for (std::size_t x = 0; x < count; ++x) {
    const float i = static_cast<float>(static_cast<std::uint64_t>(column + x));
    const float z = static_cast<float>(loadDepth(in + 2 * x * factor));
    std::uint8_t* point = out + 12 * x;
    storeFloat(point, z);
    storeFloat(point + 4, -((i / frame.width - 0.5f) * z * frame.twiceH));
    storeFloat(point + 8, (0.5f - j / frame.height) * z * frame.twiceV);
  }
}

}  // namespace plain
}  // namespace conversion
}  // namespace videoDevice
