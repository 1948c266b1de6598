// The simulated 2D camera's RGB to YUV 4:2:2 rows: the plain rows, and the
// entry points that run the fast ones.

#include "conversion/RgbToYuv422.h"

#include "conversion/RowKernels.h"

namespace videoDevice {
namespace conversion {

void rgbPairsToYuv422(const std::uint8_t* in, std::uint8_t* out, std::size_t pairs, bool bgr) {
  chosenTargetKernels().push.pairs(in, out, pairs, bgr);
}

void rgbPixelsToMacropixels(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels,
                            bool bgr) {
  chosenTargetKernels().push.pixels(in, out, pixels, bgr);
}

void rgbPairsToYuv422Plain(const std::uint8_t* in, std::uint8_t* out, std::size_t pairs,
                           bool bgr) {
  for (std::size_t pair = 0; pair < pairs; ++pair, in += 6, out += 4) {
    const Yuv first = bgr ? rgbToYuv(in[2], in[1], in[0]) : rgbToYuv(in[0], in[1], in[2]);
    const Yuv second = bgr ? rgbToYuv(in[5], in[4], in[3]) : rgbToYuv(in[3], in[4], in[5]);
    out[0] = static_cast<std::uint8_t>(first.y);
    out[1] = static_cast<std::uint8_t>((first.u + second.u) >> 1);
    out[2] = static_cast<std::uint8_t>(second.y);
    out[3] = static_cast<std::uint8_t>((first.v + second.v) >> 1);
  }
}

void rgbPixelsToMacropixelsPlain(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels,
                                 bool bgr) {
  for (std::size_t pixel = 0; pixel < pixels; ++pixel, in += 3, out += 4) {
    const Yuv yuv = bgr ? rgbToYuv(in[2], in[1], in[0]) : rgbToYuv(in[0], in[1], in[2]);
    out[0] = out[2] = static_cast<std::uint8_t>(yuv.y);
    out[1] = static_cast<std::uint8_t>(yuv.u);
    out[3] = static_cast<std::uint8_t>(yuv.v);
  }
}

}  // namespace conversion
}  // namespace videoDevice
