// Fast rows of the depth converters; included once per target by
// Kernels.cpp.

#if defined(VIDEODEVICE_SIMD_DEPTH_ROWS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VIDEODEVICE_SIMD_DEPTH_ROWS_INL_H_
#undef VIDEODEVICE_SIMD_DEPTH_ROWS_INL_H_
#else
#define VIDEODEVICE_SIMD_DEPTH_ROWS_INL_H_
#endif

#include <hwy/highway.h>

#include "conversion/PlainRows.h"

HWY_BEFORE_NAMESPACE();
namespace videoDevice {
namespace conversion {
namespace HWY_NAMESPACE {

// Placeholders until the fast rows land: the reference rows.
inline void DepthRgb888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                           std::size_t f) {
  plain::depthRgb888Row(in, out, count, f);
}
inline void DepthGreyRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                         std::size_t f) {
  plain::depthGreyRow(in, out, count, f);
}

}  // namespace HWY_NAMESPACE
}  // namespace conversion
}  // namespace videoDevice
HWY_AFTER_NAMESPACE();

#endif  // include guard toggle
