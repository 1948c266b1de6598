#pragma once
// The one loop shared by the 2D converters.
//
// Every converter is a row function that turns `count` consecutive elements of
// one input row into output bytes (an element is one output pixel, or one
// output pixel pair, depending on the converter), plus a RowLayout saying
// where each output row starts in both buffers. convertRows() walks the output
// rows, applies the sub-sampling factor through the layout's strides and keeps
// every access inside the two buffers: an element whose input bytes would run
// past the end of the input is not converted (nor is anything after it), and
// an element that straddles the end of the output keeps only its bytes that
// fit. Row functions therefore never check bounds themselves.
//
// Stateless; safe to call from any thread on buffers the caller owns.

#include <cstddef>
#include <cstdint>

#include <videodevice/Camera2D.h>
#include <videodevice/ImageBuffer.h>

namespace videoDevice {
namespace conversion {

// Converts `count` elements; element k reads the input from in + k x inStep
// and writes its outStep bytes at out + k x outStep.
using RowFunction = void (*)(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                             std::size_t factor);

struct RowLayout {
  std::uint64_t rows;          // output rows to produce
  std::uint64_t elements;      // elements per output row
  std::uint64_t inRowStride;   // input bytes between the rows read for two output rows
  std::uint64_t outRowStride;  // output bytes between two output rows
  std::uint64_t inStep;        // input bytes between two elements
  std::uint64_t inReach;       // input bytes an element reads, counted from its start
  std::uint64_t outStep;       // output bytes an element writes
};

// Widest element any converter writes (three bytes for each of two pixels).
constexpr std::size_t kMaxElementBytes = 6;

// The converters are public and may be handed anything: a missing buffer is
// refused (std::invalid_argument, logged under `operation`) before either is
// touched.
void requireBuffers(const Camera2D::Input& input, const Camera2D::Output& output,
                    const char* operation);

// The sub-sampling factor: whole input pixels per output pixel, from the
// widths only. It truncates, so 640 -> 480 gives 1 and the converters then
// deliver the top-left corner of the input. 0 when the output is wider than
// the input (or empty), which the converters refuse to work on. Checks both
// buffers first, as requireBuffers.
std::uint64_t widthFactor(const Camera2D::Input& input, const Camera2D::Output& output,
                          const char* operation);

// Layout of converters that write one element of bytesPerPixel bytes per
// output pixel x, reading inReach bytes from byte 2 x factor of input row
// r x factor. Output rows start every outW pixels.
RowLayout pixelLayout(const ImageBuffer& input, const ImageBuffer& output, std::uint64_t factor,
                      std::uint64_t inReach, std::uint64_t bytesPerPixel);

// Layout of converters that write one element per output pixel pair, from the
// 4-byte group k x factor of input row r x factor; x = 0, 2, 4 ... while
// x < outW, so an odd width writes one pixel into the next row (which that
// row then overwrites). Output rows start every outW pixels.
RowLayout pairLayout(const ImageBuffer& input, const ImageBuffer& output, std::uint64_t factor,
                     std::uint64_t inReach, std::uint64_t bytesPerPixel);

void convertRows(const ImageBuffer& input, ImageBuffer& output, const RowLayout& layout,
                 std::uint64_t factor, RowFunction row);

}  // namespace conversion
}  // namespace videoDevice
