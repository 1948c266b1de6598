// Fast rows of the simulated 2D camera's RGB to YUV 4:2:2 conversion;
// included once per target by Kernels.cpp.
//
// Pairs: one 16-bit lane holds one pixel pair. An interleaved load splits the
// pixels into their R, G and B bytes; seen as 16-bit lanes those hold the
// first pixel of each pair in the low byte and the second in the high byte.
// Single pixels: the bytes are widened to one 16-bit lane each. The formula
// fits in 16 bits: luma sums stay below 2^16, chroma sums within +-2^15, so
// wrapping arithmetic and an arithmetic shift give the plain formula's floor
// division exactly, and no result ever needs the clamp (luma 16..235, chroma
// 16..240).

#if defined(VIDEODEVICE_SIMD_PUSH_ROWS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VIDEODEVICE_SIMD_PUSH_ROWS_INL_H_
#undef VIDEODEVICE_SIMD_PUSH_ROWS_INL_H_
#else
#define VIDEODEVICE_SIMD_PUSH_ROWS_INL_H_
#endif

#include <cstddef>
#include <cstdint>

#include <hwy/highway.h>

#include "conversion/RgbToYuv422.h"

HWY_BEFORE_NAMESPACE();
namespace videoDevice {
namespace conversion {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR
// One lane holds no pair: the fallback target keeps the plain rows.
inline void RgbPairsToYuv422(const std::uint8_t* in, std::uint8_t* out, std::size_t pairs, bool bgr) {
  rgbPairsToYuv422Plain(in, out, pairs, bgr);
}
inline void RgbPixelsToMacropixels(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels,
                            bool bgr) {
  rgbPixelsToMacropixelsPlain(in, out, pixels, bgr);
}
#else

namespace hn = hwy::HWY_NAMESPACE;

using D8 = hn::ScalableTag<std::uint8_t>;
using D16 = hn::RepartitionToWide<D8>;  // one lane per pixel pair, or per pixel
using DI16 = hn::RebindToSigned<D16>;
using DPair8 = hn::Rebind<std::uint8_t, D16>;  // one byte per lane of D16
using DHalf8 = hn::Half<D8>;
using V16 = hn::Vec<D16>;

// (66 r + 129 g + 25 b + 128) / 256 + 16
HWY_INLINE V16 Luma(V16 r, V16 g, V16 b) {
  const D16 d;
  const V16 sum = hn::Add(hn::Add(hn::Mul(r, hn::Set(d, 66)), hn::Mul(g, hn::Set(d, 129))),
                          hn::Add(hn::Mul(b, hn::Set(d, 25)), hn::Set(d, 128)));
  return hn::Add(hn::ShiftRight<8>(sum), hn::Set(d, 16));
}

// floor((kPlus plus - kMinusA minusA - kMinusB minusB + 128) / 256) + 128
template <std::uint16_t kPlus, std::uint16_t kMinusA, std::uint16_t kMinusB>
HWY_INLINE V16 Chroma(V16 plus, V16 minusA, V16 minusB) {
  const D16 d;
  const DI16 di;
  const V16 sum =
      hn::Sub(hn::Add(hn::Mul(plus, hn::Set(d, kPlus)), hn::Set(d, 128)),
              hn::Add(hn::Mul(minusA, hn::Set(d, kMinusA)), hn::Mul(minusB, hn::Set(d, kMinusB))));
  return hn::Add(hn::BitCast(d, hn::ShiftRight<8>(hn::BitCast(di, sum))), hn::Set(d, 128));
}

// Converts whole vectors of pairs and returns how many pairs it converted.
template <bool kBgr>
HWY_INLINE std::size_t WholeVectors(const std::uint8_t* HWY_RESTRICT in,
                                    std::uint8_t* HWY_RESTRICT out, std::size_t pairs) {
  const D8 d8;
  const D16 d16;
  const DPair8 dPair;
  const std::size_t step = hn::Lanes(d16);
  const V16 lowByte = hn::Set(d16, 0xFF);
  std::size_t done = 0;
  for (; done + step <= pairs; done += step) {
    hn::Vec<D8> first, second, third;
    hn::LoadInterleaved3(d8, in + 6 * done, first, second, third);
    const V16 red = hn::BitCast(d16, kBgr ? third : first);
    const V16 green = hn::BitCast(d16, second);
    const V16 blue = hn::BitCast(d16, kBgr ? first : third);
    const V16 r0 = hn::And(red, lowByte), r1 = hn::ShiftRight<8>(red);
    const V16 g0 = hn::And(green, lowByte), g1 = hn::ShiftRight<8>(green);
    const V16 b0 = hn::And(blue, lowByte), b1 = hn::ShiftRight<8>(blue);
    const V16 u = hn::ShiftRight<1>(
        hn::Add(Chroma<112, 38, 74>(b0, r0, g0), Chroma<112, 38, 74>(b1, r1, g1)));
    const V16 v = hn::ShiftRight<1>(
        hn::Add(Chroma<112, 94, 18>(r0, g0, b0), Chroma<112, 94, 18>(r1, g1, b1)));
    hn::StoreInterleaved4(hn::TruncateTo(dPair, Luma(r0, g0, b0)), hn::TruncateTo(dPair, u),
                          hn::TruncateTo(dPair, Luma(r1, g1, b1)), hn::TruncateTo(dPair, v),
                          dPair, out + 4 * done);
  }
  return done;
}

inline void RgbPairsToYuv422(const std::uint8_t* in, std::uint8_t* out, std::size_t pairs, bool bgr) {
  const std::size_t done = bgr ? WholeVectors<true>(in, out, pairs)
                               : WholeVectors<false>(in, out, pairs);
  rgbPairsToYuv422Plain(in + 6 * done, out + 4 * done, pairs - done, bgr);
}

// One macropixel Y U Y V per pixel, for the lanes of one half of a load.
HWY_INLINE void StoreMacropixels(V16 r, V16 g, V16 b, std::uint8_t* HWY_RESTRICT out) {
  const DPair8 dPixel;
  const auto y = hn::TruncateTo(dPixel, Luma(r, g, b));
  hn::StoreInterleaved4(y, hn::TruncateTo(dPixel, Chroma<112, 38, 74>(b, r, g)), y,
                        hn::TruncateTo(dPixel, Chroma<112, 94, 18>(r, g, b)), dPixel, out);
}

template <bool kBgr>
HWY_INLINE std::size_t WholeVectorsOfPixels(const std::uint8_t* HWY_RESTRICT in,
                                            std::uint8_t* HWY_RESTRICT out, std::size_t pixels) {
  const D8 d8;
  const D16 d16;
  const DHalf8 dHalf;
  const std::size_t step = hn::Lanes(d8);
  const std::size_t halfStep = hn::Lanes(d16);
  std::size_t done = 0;
  for (; done + step <= pixels; done += step) {
    hn::Vec<D8> first, second, third;
    hn::LoadInterleaved3(d8, in + 3 * done, first, second, third);
    const auto& red = kBgr ? third : first;
    const auto& blue = kBgr ? first : third;
    StoreMacropixels(hn::PromoteTo(d16, hn::LowerHalf(dHalf, red)),
                     hn::PromoteTo(d16, hn::LowerHalf(dHalf, second)),
                     hn::PromoteTo(d16, hn::LowerHalf(dHalf, blue)), out + 4 * done);
    StoreMacropixels(hn::PromoteTo(d16, hn::UpperHalf(dHalf, red)),
                     hn::PromoteTo(d16, hn::UpperHalf(dHalf, second)),
                     hn::PromoteTo(d16, hn::UpperHalf(dHalf, blue)),
                     out + 4 * (done + halfStep));
  }
  return done;
}

inline void RgbPixelsToMacropixels(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels,
                            bool bgr) {
  const std::size_t done = bgr ? WholeVectorsOfPixels<true>(in, out, pixels)
                               : WholeVectorsOfPixels<false>(in, out, pixels);
  rgbPixelsToMacropixelsPlain(in + 3 * done, out + 4 * done, pixels - done, bgr);
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace conversion
}  // namespace videoDevice
HWY_AFTER_NAMESPACE();


#endif  // include guard toggle
