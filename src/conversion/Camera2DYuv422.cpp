// YUV 4:2:2 to RGB, BGR, single colour channels, luma, chroma, YUV 4:4:4 and
// reordered YUV, with sub-sampling by the whole width factor.
//
// Each converter is a plain row function over input groups (bytes Y0 U Y1 V)
// driven by convertRows(). The rows are written to be read against the
// fixed-point formulas, not to be fast; a faster row must match them byte for
// byte. Some behaviours look like slips but are what every user of these
// images has been tuned against, and are kept deliberately:
//  - the colour members step 2 x factor bytes and read 4 bytes wherever they
//    land, so with an odd factor every second pixel reads its U and V swapped;
//  - the RGB_888 luma term truncates the pair's average before scaling, while
//    BGR_888 and the single-channel members keep the half of an odd sum;
//  - U_8 takes its second byte from (x + 1) x 2f - 1 and V_8 from
//    (x + 1) x 2f + 1, which for an even factor is the other chroma byte;
//  - V_8 rows follow each other without gap, so an odd width drifts them.

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include <opencv2/imgproc.hpp>

#include <lumo/Log.h>
#include <videodevice/Camera2D.h>

#include "conversion/Camera2DRows.h"

LUMO_LOG_CATEGORY("vision.videodevice.camera2d")

namespace videoDevice {
namespace conversion {

void requireBuffers(const Camera2D::Input& input, const Camera2D::Output& output,
                    const char* operation) {
  if (!input || !output)
    LUMO_FAIL_AS(operation, std::invalid_argument,
                 lumo::log::concat(operation, "(): missing input or output buffer."));
}

std::uint64_t widthFactor(const Camera2D::Input& input, const Camera2D::Output& output,
                          const char* operation) {
  requireBuffers(input, output, operation);
  const std::uint64_t outW = output->getResolution().width;
  return outW == 0 ? 0 : input->getResolution().width / outW;
}

RowLayout pixelLayout(const ImageBuffer& input, const ImageBuffer& output, std::uint64_t factor,
                      std::uint64_t inReach, std::uint64_t bytesPerPixel) {
  const Resolution in = input.getResolution();
  const Resolution out = output.getResolution();
  return RowLayout{out.height,         out.width,  factor * in.width * 2, out.width * bytesPerPixel,
                   2 * factor,         inReach,    bytesPerPixel};
}

RowLayout pairLayout(const ImageBuffer& input, const ImageBuffer& output, std::uint64_t factor,
                     std::uint64_t inReach, std::uint64_t bytesPerPixel) {
  const Resolution in = input.getResolution();
  const Resolution out = output.getResolution();
  return RowLayout{out.height, (out.width + 1) / 2, factor * in.width * 2, out.width * bytesPerPixel,
                   4 * factor, inReach,             2 * bytesPerPixel};
}

void convertRows(const ImageBuffer& input, ImageBuffer& output, const RowLayout& layout,
                 std::uint64_t factor, RowFunction row) {
  const std::uint8_t* in = input.getData();
  std::uint8_t* out = output.getData();
  if (in == nullptr || out == nullptr || layout.inStep == 0 || layout.outStep == 0) return;
  const std::uint64_t inSize = input.getSize();
  const std::uint64_t outSize = output.getSize();

  for (std::uint64_t r = 0; r < layout.rows; ++r) {
    const std::uint64_t inRow = r * layout.inRowStride;
    const std::uint64_t outRow = r * layout.outRowStride;
    // Rows only move forward, so once one starts past either end so do the rest.
    if (outRow >= outSize || inRow + layout.inReach > inSize) break;

    const std::uint64_t readable = (inSize - inRow - layout.inReach) / layout.inStep + 1;
    const std::uint64_t count = std::min(layout.elements, readable);
    const std::uint64_t whole = std::min(count, (outSize - outRow) / layout.outStep);
    row(in + inRow, out + outRow, whole, factor);

    if (whole < count) {
      // This element straddles the end of the output: keep the bytes that fit.
      std::uint8_t tail[kMaxElementBytes];
      row(in + inRow + whole * layout.inStep, tail, 1, factor);
      const std::uint64_t start = outRow + whole * layout.outStep;
      std::memcpy(out + start, tail, outSize - start);
      break;
    }
    // An element that would read past the input ends the conversion.
    if (count < layout.elements) break;
  }
}

}  // namespace conversion

namespace {

using conversion::clampByte;
using conversion::convertRows;
using conversion::pairLayout;
using conversion::pixelLayout;
using conversion::RowLayout;
using conversion::widthFactor;

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

// Full-size single channels: each pixel from its own luma and the shared chroma.
int fullRed(int y, int, int v) { return clampByte((298 * y + 409 * v - 57120) >> 8); }
int fullGreen(int y, int u, int v) { return clampByte((298 * y - 100 * u - 208 * v + 34656) >> 8); }
int fullBlue(int y, int u, int) { return clampByte((298 * y + 516 * u - 70816) >> 8); }

template <int (*channel)(int, int, int)>
void fullChannelRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t) {
  for (std::size_t k = 0; k < count; ++k) {
    const std::uint8_t* p = in + 4 * k;
    out[2 * k] = static_cast<std::uint8_t>(channel(p[0], p[1], p[3]));
    out[2 * k + 1] = static_cast<std::uint8_t>(channel(p[2], p[1], p[3]));
  }
}

// One group of 4 input bytes per output pair, one input row per output row.
void convertFullChannel(const Camera2D::Input& input, const Camera2D::Output& output,
                        const char* operation, conversion::RowFunction row) {
  conversion::requireBuffers(input, output, operation);
  const Resolution in = input->getResolution();
  const Resolution out = output->getResolution();
  const RowLayout layout{out.height, (out.width + 1) / 2, in.width * 2, out.width, 4, 4, 2};
  convertRows(*input, *output, layout, 1, row);
}

void convertScaledChannel(const Camera2D::Input& input, const Camera2D::Output& output,
                          std::uint64_t factor, conversion::RowFunction row) {
  convertRows(*input, *output, pixelLayout(*input, *output, factor, 4, 1), factor, row);
}

// OpenCV writes into the output block when its header already has the
// destination's size and type; otherwise (sizes differ) it allocates a matrix
// of its own and the output is left as it was.
void convertWithOpenCv(const Camera2D::Input& input, const Camera2D::Output& output, int code,
                       const char* operation) {
  conversion::requireBuffers(input, output, operation);
  cv::Mat source = ImageBuffer::imageBufferToCvMat(*input);
  cv::Mat destination = ImageBuffer::imageBufferToCvMat(*output);
  // Nothing to convert from or into an image without pixels or of no size,
  // as for the other converters; OpenCV would assert on an empty source.
  if (source.empty() || destination.empty()) return;
  // OpenCV converts whole pixel pairs: on an odd width it reads and writes a
  // pair for the last pixel, past the end of each row and, on the last row,
  // of both blocks. That column has no pair of its own, so only the even
  // part is converted and the last column of the output is left as it was.
  if (source.cols % 2 != 0) {
    if (source.cols == 1) return;
    if (destination.size() == source.size())
      destination = destination.colRange(0, destination.cols - 1);
    source = source.colRange(0, source.cols - 1);
  }
  try {
    cv::cvtColor(source, destination, code, 0);
  } catch (const cv::Exception&) {
    // OpenCV refuses an input that is not YUV 4:2:2 bytes (an image of
    // another colour space). Callers handle standard exceptions only, so
    // OpenCV's own never leaves the library.
    LUMO_FAIL_AS(operation, std::invalid_argument,
                 lumo::log::concat(input->getCameraName(), ": ", operation, "(): ", *input,
                                   " cannot be converted into ", *output, "."));
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

}  // namespace

// --- colour -------------------------------------------------------------------

void Camera2D::convertYUV422toRGB888(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  if (f == 1) return convertYUV422toRGBnoScale(input, output);
  convertRows(*input, *output, pixelLayout(*input, *output, f, 4, 3), f, rgb888Row);
}

void Camera2D::convertYUV422toBGR888(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  if (f == 1) return convertYUV422toBGRnoScale(input, output);
  convertRows(*input, *output, pixelLayout(*input, *output, f, 4, 3), f, bgr888Row);
}

void Camera2D::convertYUV422toR8(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  if (f == 1) return convertYUV422toRgbnoScale(input, output);
  convertScaledChannel(input, output, f, r8Row);
}

void Camera2D::convertYUV422toG8(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  if (f == 1) return convertYUV422torGbnoScale(input, output);
  convertScaledChannel(input, output, f, g8Row);
}

void Camera2D::convertYUV422toB8(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  if (f == 1) return convertYUV422torgBnoScale(input, output);
  convertScaledChannel(input, output, f, b8Row);
}

void Camera2D::convertYUV422toRGBnoScale(const Input& input, const Output& output) {
  convertWithOpenCv(input, output, cv::COLOR_YUV2RGB_YUY2, __func__);
}

void Camera2D::convertYUV422toBGRnoScale(const Input& input, const Output& output) {
  convertWithOpenCv(input, output, cv::COLOR_YUV2BGR_YUY2, __func__);
}

void Camera2D::convertYUV422toRgbnoScale(const Input& input, const Output& output) {
  convertFullChannel(input, output, __func__, fullChannelRow<fullRed>);
}

void Camera2D::convertYUV422torGbnoScale(const Input& input, const Output& output) {
  convertFullChannel(input, output, __func__, fullChannelRow<fullGreen>);
}

void Camera2D::convertYUV422torgBnoScale(const Input& input, const Output& output) {
  convertFullChannel(input, output, __func__, fullChannelRow<fullBlue>);
}

// --- components ---------------------------------------------------------------

// At full width this is every luma byte in turn, out[i] = in[2i].
void Camera2D::convertYUV422toY8(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  convertRows(*input, *output, pixelLayout(*input, *output, f, 1, 1), f, y8Row);
}

void Camera2D::convertYUV422toU8(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  convertRows(*input, *output, pairLayout(*input, *output, f, 2 * f, 1), f, u8Row);
}

void Camera2D::convertYUV422toV8(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  RowLayout layout = pairLayout(*input, *output, f, 2 * f + 2, 1);
  layout.outRowStride = layout.elements * layout.outStep;  // each row right after the last byte
  convertRows(*input, *output, layout, f, v8Row);
}

void Camera2D::convertYUV422toYUV422(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  if (input->getResolution().width == output->getResolution().width) {
    // Same width: a plain copy, as far as both buffers reach.
    const unsigned char* in = input->getData();
    unsigned char* out = output->getData();
    if (in != nullptr && out != nullptr)
      std::memcpy(out, in, std::min(input->getSize(), output->getSize()));
    return;
  }
  // Pairs of groups 2f bytes apart, every 4f bytes up to the end of the input
  // row; the output rows follow each other, so at f = 1 (a width ratio that is
  // not whole) a row writes 2 x inW bytes and the image runs off the buffer.
  const std::uint64_t inW = input->getResolution().width;
  const std::uint64_t elements = (2 * inW + 4 * f - 1) / (4 * f);
  const RowLayout layout{output->getResolution().height, elements, f * inW * 2, elements * 4,
                         4 * f, 2 * f + 4, 4};
  convertRows(*input, *output, layout, f, yuv422Row);
}

void Camera2D::convertYUV422toYUV888(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  convertRows(*input, *output, pairLayout(*input, *output, f, 4, 3), f, yuv888Row);
}

void Camera2D::convertYUV422toYYCbCr(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  // Whole groups only, four bytes each, the rows following each other.
  RowLayout layout = pairLayout(*input, *output, f, 4, 2);
  layout.elements = output->getResolution().width / 2;
  layout.outRowStride = layout.elements * layout.outStep;
  convertRows(*input, *output, layout, f, yyCbCrRow);
}

}  // namespace videoDevice
