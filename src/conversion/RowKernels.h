#pragma once
// The row kernels behind every converter, in two sets with identical output:
// the plain rows, written to be read against the fixed-point formulas, and the
// fast rows, vectorised for the CPU the process runs on. The converters only
// ever call kernels(); the plain set is kept as the reference the fast one is
// checked against, byte for byte.
//
// Stateless; safe to call from any thread.

#include <cstddef>
#include <cstdint>

#include "conversion/Camera2DRows.h"

namespace videoDevice {
namespace conversion {

// One row function per 2D converter (see Camera2DRows.h for what an element
// is). The colour members rgb888 ... b8 and y8 step 2 x factor input bytes per
// output pixel; fullRed/Green/Blue take one 4-byte group per output pair at
// factor 1; the rest take one group every 4 x factor bytes per output pair.
struct Rows2D {
  RowFunction rgb888, bgr888, r8, g8, b8;
  RowFunction fullRed, fullGreen, fullBlue;
  RowFunction y8, u8, v8, yuv422, yuv888, yyCbCr;
  RowFunction h8, s8, hsy888, hsMixed888, h2Rgb;
};

// Depth rows: `count` output pixels of one output row, output pixel x reading
// the 16-bit input pixel x x factor of `in` (the sampled input row).
using DepthRow = void (*)(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                          std::size_t factor);

// The rows below also need to know where they are in the frame: `column` is
// the output column of their first pixel (`in` and `out` already point at it).

// Where a distance row finds its per-pixel factors: the pixel in output column
// c reads factors[min(c x step, last)] (see Camera3D::convertDepth16toDistance).
struct FactorRow {
  const float* factors;
  std::size_t step;
  std::size_t last;
};
using DistanceRow = void (*)(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                             std::size_t factor, std::size_t column, const FactorRow& factors);

// What turns (column, row, depth) into a 3D point: the output size and twice
// the tangents of the half fields of view (Camera3D::convertProjectiveToRealWorld).
struct PointFrame {
  float width, height, twiceH, twiceV;
};
using PointRow = void (*)(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                          std::size_t factor, std::size_t column, std::size_t row,
                          const PointFrame& frame);

struct DepthRows {
  DepthRow rgb888;       // the colour ramp, 3 bytes per pixel
  DepthRow grey;         // Y_8 and the single channels, 1 byte per pixel
  DepthRow depth16;      // the sampled depths themselves, 2 bytes per pixel
  DistanceRow distance;  // 16-bit corrected distances, 2 bytes per pixel
  PointRow points;       // XYZ_323232: three floats per pixel
};

// The simulated 2D camera's push: `count` RGB (or BGR, when `bgr`) pixel
// pairs to YUV 4:2:2 macropixels, or single pixels to a macropixel each.
using PushRow = void (*)(const std::uint8_t* in, std::uint8_t* out, std::size_t count, bool bgr);

struct PushRows {
  PushRow pairs;
  PushRow pixels;
};

struct Kernels {
  const char* target;  // the instruction set these rows were compiled for
  Rows2D rows2D;
  DepthRows depth;
  PushRows push;
};

// The fast rows for the best instruction set this CPU runs, chosen once.
const Kernels& kernels();

// The fast rows for the instruction set chosen right now: tests narrow the
// choice to each instruction set in turn and compare every one of them.
const Kernels& chosenTargetKernels();

// The reference rows.
const Kernels& plainKernels();

}  // namespace conversion
}  // namespace videoDevice
