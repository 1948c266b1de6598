// Fast rows of the hue and saturation family; included once per target by
// Kernels.cpp.

#if defined(VIDEODEVICE_SIMD_HUE_ROWS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VIDEODEVICE_SIMD_HUE_ROWS_INL_H_
#undef VIDEODEVICE_SIMD_HUE_ROWS_INL_H_
#else
#define VIDEODEVICE_SIMD_HUE_ROWS_INL_H_
#endif

#include <hwy/highway.h>

#include "conversion/PlainRows.h"

HWY_BEFORE_NAMESPACE();
namespace videoDevice {
namespace conversion {
namespace HWY_NAMESPACE {

// Placeholders until the fast rows land: the reference rows.
inline void H8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  plain::h8Row(in, out, count, f);
}
inline void S8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  plain::s8Row(in, out, count, f);
}
inline void Hsy888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                      std::size_t f) {
  plain::hsy888Row(in, out, count, f);
}
inline void HsMixed888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                          std::size_t f) {
  plain::hsMixed888Row(in, out, count, f);
}
inline void H2RgbRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                     std::size_t f) {
  plain::h2RgbRow(in, out, count, f);
}

}  // namespace HWY_NAMESPACE
}  // namespace conversion
}  // namespace videoDevice
HWY_AFTER_NAMESPACE();

#endif  // include guard toggle
