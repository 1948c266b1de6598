#pragma once
// The simulated 2D camera's colour formula: packed RGB_888 or BGR_888 pixels
// to YUV 4:2:2, integer BT.601 studio range. A pair of pixels becomes one
// macropixel Y0 U Y1 V: each pixel's own luma, and for U and V the mean
// (rounded down) of the two pixels' values. Widened frames turn each pixel
// into whole macropixels Y U Y V of its own.
//
// Stateless; safe to call from any thread.

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace videoDevice {
namespace conversion {

// Floor division by 256: the sign-keeping shift of the colour formula,
// without relying on how the compiler shifts negative numbers.
inline int shiftRight8(int value) { return value >= 0 ? value >> 8 : -((-value + 255) >> 8); }

inline unsigned char clampToByte(int value) {
  return static_cast<unsigned char>(std::min(255, std::max(0, value)));
}

struct Yuv {
  int y;
  int u;
  int v;
};

inline Yuv rgbToYuv(int r, int g, int b) {
  return {clampToByte(shiftRight8(66 * r + 129 * g + 25 * b + 128) + 16),
          clampToByte(shiftRight8(-38 * r - 74 * g + 112 * b + 128) + 128),
          clampToByte(shiftRight8(112 * r - 94 * g - 18 * b + 128) + 128)};
}

// Converts `pairs` pixel pairs: reads 6 bytes and writes 4 bytes per pair,
// nothing beyond. BGR_888 input when `bgr`. The row kernels' fast rows for
// the instruction set chosen at each call (see RowKernels.h), so tests can
// narrow the choice.
void rgbPairsToYuv422(const std::uint8_t* in, std::uint8_t* out, std::size_t pairs, bool bgr);

// One macropixel Y U Y V per pixel: reads 3 bytes and writes 4 bytes per
// pixel, nothing beyond.
void rgbPixelsToMacropixels(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels,
                            bool bgr);

// The same two, one pair or pixel at a time with rgbToYuv: the reference the
// vectorised versions match byte for byte.
void rgbPairsToYuv422Plain(const std::uint8_t* in, std::uint8_t* out, std::size_t pairs,
                           bool bgr);
void rgbPixelsToMacropixelsPlain(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels,
                                 bool bgr);

}  // namespace conversion
}  // namespace videoDevice
