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

struct DepthRows {
  DepthRow rgb888;  // the colour ramp, 3 bytes per pixel
  DepthRow grey;    // Y_8 and the single channels, 1 byte per pixel
};

struct Kernels {
  const char* target;  // the instruction set these rows were compiled for
  Rows2D rows2D;
  DepthRows depth;
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
