// Hue and saturation images from YUV 4:2:2, for colour segmentation.
//
// The formulas are the plain rows' (PlainRows2D.cpp); these converters only
// lay the rows out: one element per output pixel pair, from the group 4k x f.

#include <cstdint>

#include <lumo/Log.h>
#include <videodevice/Camera2D.h>

#include "conversion/Camera2DRows.h"
#include "conversion/RowKernels.h"

LUMO_LOG_CATEGORY("vision.videodevice.camera2d")

namespace videoDevice {

namespace {

using conversion::convertRows;
using conversion::pairLayout;
using conversion::widthFactor;

const conversion::Rows2D& rows() { return conversion::kernels().rows2D; }

void convertGroups(const Camera2D::Input& input, const Camera2D::Output& output,
                   const char* operation, std::uint64_t bytesPerPixel,
                   conversion::RowFunction row) {
  const std::uint64_t f = widthFactor(input, output, operation);
  if (f == 0) return;
  convertRows(*input, *output, pairLayout(*input, *output, f, 4, bytesPerPixel), f, row);
}

}  // namespace

void Camera2D::convertYUV422toH8(const Input& input, const Output& output) {
  convertGroups(input, output, __func__, 1, rows().h8);
}

void Camera2D::convertYUV422toS8(const Input& input, const Output& output) {
  convertGroups(input, output, __func__, 1, rows().s8);
}

void Camera2D::convertYUV422toHSY888(const Input& input, const Output& output) {
  convertGroups(input, output, __func__, 3, rows().hsy888);
}

void Camera2D::convertYUV422toHSMixed888(const Input& input, const Output& output) {
  convertGroups(input, output, __func__, 3, rows().hsMixed888);
}

void Camera2D::convertYUV422toH2RGB(const Input& input, const Output& output) {
  convertGroups(input, output, __func__, 3, rows().h2Rgb);
}

}  // namespace videoDevice
