// YUV 4:2:2 to RGB, BGR, single colour channels, luma, chroma, YUV 4:4:4 and
// reordered YUV, with sub-sampling by the whole width factor.
//
// Each converter lays its rows out for convertRows() and hands them to the
// row kernels; the formulas, and the deliberate quirks they keep, are
// described with the plain rows in PlainRows2D.cpp.

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include <opencv2/imgproc.hpp>

#include <lumo/Log.h>
#include <videodevice/Camera2D.h>

#include "conversion/Camera2DRows.h"
#include "conversion/RowKernels.h"

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

  // Rows that lie wholly inside both buffers, found once: they run without
  // the per-row bounds arithmetic (and its divisions) below.
  std::uint64_t wholeRows = 0;
  if (layout.elements != 0) {
    const std::uint64_t inNeed = (layout.elements - 1) * layout.inStep + layout.inReach;
    const std::uint64_t outNeed = layout.elements * layout.outStep;
    if (inNeed <= inSize && outNeed <= outSize) {
      wholeRows = layout.rows;
      if (layout.inRowStride != 0)
        wholeRows = std::min(wholeRows, (inSize - inNeed) / layout.inRowStride + 1);
      if (layout.outRowStride != 0)
        wholeRows = std::min(wholeRows, (outSize - outNeed) / layout.outRowStride + 1);
    }
  }
  for (std::uint64_t r = 0; r < wholeRows; ++r)
    row(in + r * layout.inRowStride, out + r * layout.outRowStride, layout.elements, factor);

  for (std::uint64_t r = wholeRows; r < layout.rows; ++r) {
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

using conversion::convertRows;
using conversion::pairLayout;
using conversion::pixelLayout;
using conversion::RowLayout;
using conversion::widthFactor;

const conversion::Rows2D& rows() { return conversion::kernels().rows2D; }

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

}  // namespace

// --- colour -------------------------------------------------------------------

void Camera2D::convertYUV422toRGB888(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  if (f == 1) return convertYUV422toRGBnoScale(input, output);
  convertRows(*input, *output, pixelLayout(*input, *output, f, 4, 3), f, rows().rgb888);
}

void Camera2D::convertYUV422toBGR888(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  if (f == 1) return convertYUV422toBGRnoScale(input, output);
  convertRows(*input, *output, pixelLayout(*input, *output, f, 4, 3), f, rows().bgr888);
}

void Camera2D::convertYUV422toR8(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  if (f == 1) return convertYUV422toRgbnoScale(input, output);
  convertScaledChannel(input, output, f, rows().r8);
}

void Camera2D::convertYUV422toG8(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  if (f == 1) return convertYUV422torGbnoScale(input, output);
  convertScaledChannel(input, output, f, rows().g8);
}

void Camera2D::convertYUV422toB8(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  if (f == 1) return convertYUV422torgBnoScale(input, output);
  convertScaledChannel(input, output, f, rows().b8);
}

void Camera2D::convertYUV422toRGBnoScale(const Input& input, const Output& output) {
  convertWithOpenCv(input, output, cv::COLOR_YUV2RGB_YUY2, __func__);
}

void Camera2D::convertYUV422toBGRnoScale(const Input& input, const Output& output) {
  convertWithOpenCv(input, output, cv::COLOR_YUV2BGR_YUY2, __func__);
}

void Camera2D::convertYUV422toRgbnoScale(const Input& input, const Output& output) {
  convertFullChannel(input, output, __func__, rows().fullRed);
}

void Camera2D::convertYUV422torGbnoScale(const Input& input, const Output& output) {
  convertFullChannel(input, output, __func__, rows().fullGreen);
}

void Camera2D::convertYUV422torgBnoScale(const Input& input, const Output& output) {
  convertFullChannel(input, output, __func__, rows().fullBlue);
}

// --- components ---------------------------------------------------------------

// At full width this is every luma byte in turn, out[i] = in[2i].
void Camera2D::convertYUV422toY8(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  convertRows(*input, *output, pixelLayout(*input, *output, f, 1, 1), f, rows().y8);
}

void Camera2D::convertYUV422toU8(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  convertRows(*input, *output, pairLayout(*input, *output, f, 2 * f, 1), f, rows().u8);
}

void Camera2D::convertYUV422toV8(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  RowLayout layout = pairLayout(*input, *output, f, 2 * f + 2, 1);
  layout.outRowStride = layout.elements * layout.outStep;  // each row right after the last byte
  convertRows(*input, *output, layout, f, rows().v8);
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
  convertRows(*input, *output, layout, f, rows().yuv422);
}

void Camera2D::convertYUV422toYUV888(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  convertRows(*input, *output, pairLayout(*input, *output, f, 4, 3), f, rows().yuv888);
}

void Camera2D::convertYUV422toYYCbCr(const Input& input, const Output& output) {
  const std::uint64_t f = widthFactor(input, output, __func__);
  if (f == 0) return;
  // Whole groups only, four bytes each, the rows following each other.
  RowLayout layout = pairLayout(*input, *output, f, 4, 2);
  layout.elements = output->getResolution().width / 2;
  layout.outRowStride = layout.elements * layout.outStep;
  convertRows(*input, *output, layout, f, rows().yyCbCr);
}

}  // namespace videoDevice
