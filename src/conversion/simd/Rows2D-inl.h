// Fast rows of the colour and component converters; included once per target by
// Kernels.cpp.

#if defined(VIDEODEVICE_SIMD_ROWS2D_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VIDEODEVICE_SIMD_ROWS2D_INL_H_
#undef VIDEODEVICE_SIMD_ROWS2D_INL_H_
#else
#define VIDEODEVICE_SIMD_ROWS2D_INL_H_
#endif

#include <hwy/highway.h>

#include "conversion/PlainRows.h"

HWY_BEFORE_NAMESPACE();
namespace videoDevice {
namespace conversion {
namespace HWY_NAMESPACE {

// Placeholders until the fast rows land: the reference rows.
inline void Rgb888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  plain::rgb888Row(in, out, count, f);
}
inline void Bgr888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  plain::bgr888Row(in, out, count, f);
}
inline void R8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  plain::r8Row(in, out, count, f);
}
inline void G8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  plain::g8Row(in, out, count, f);
}
inline void B8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  plain::b8Row(in, out, count, f);
}
inline void FullRedRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  plain::fullRedRow(in, out, count, f);
}
inline void FullGreenRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  plain::fullGreenRow(in, out, count, f);
}
inline void FullBlueRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  plain::fullBlueRow(in, out, count, f);
}
inline void Y8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  plain::y8Row(in, out, count, f);
}
inline void U8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  plain::u8Row(in, out, count, f);
}
inline void V8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  plain::v8Row(in, out, count, f);
}
inline void Yuv422Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  plain::yuv422Row(in, out, count, f);
}
inline void Yuv888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  plain::yuv888Row(in, out, count, f);
}
inline void YyCbCrRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  plain::yyCbCrRow(in, out, count, f);
}

}  // namespace HWY_NAMESPACE
}  // namespace conversion
}  // namespace videoDevice
HWY_AFTER_NAMESPACE();

#endif  // include guard toggle
