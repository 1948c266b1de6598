// Fast rows of the hue and saturation family; included once per target by
// Kernels.cpp.
//
// One lane per input group (bytes Y0 U Y1 V, see Rows2D-inl.h for the loads),
// the arithmetic in single-precision lanes. Every term of the family is an
// integer below 2^24 in magnitude, which a float holds exactly, so products
// and sums are exact whether or not the compiler fuses them; only the two
// divisions round, and each is made exact below. No tables: a table of every
// chroma pair's hue (64 KiB) or saturation terms is read at random addresses
// by per-lane gathers, and measured slower here than these few operations.
//
// What the plain rows' sector tests amount to (PlainRows2D.cpp), with
// rg = 256 (R - G), gb = 256 (G - B) and rb = rg + gb:
//  - the sector is the greatest channel: blue when gb < 0 and rb <= 0, green
//    when rg <= 0 and gb >= 0, red otherwise;
//  - every sector's range, max - min, is c = max(|rg|, |gb|, |rb|);
//  - hue = offset + trunc(85 t / 2c), t and offset being rg and -85 (blue),
//    -rb and 85 (green), gb and -1 when gb <= 0 else 0 (red); grey (c = 0)
//    is 0;
//  - saturation = trunc(255 c / m), clamped to 0..255, m being 256 x the
//    greatest channel + 1: 298 Y + red - min(0, rg, rb), with
//    red = 409 V - 57119.

#if defined(VIDEODEVICE_SIMD_HUE_ROWS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VIDEODEVICE_SIMD_HUE_ROWS_INL_H_
#undef VIDEODEVICE_SIMD_HUE_ROWS_INL_H_
#else
#define VIDEODEVICE_SIMD_HUE_ROWS_INL_H_
#endif

#include <cstddef>
#include <cstdint>

#include <hwy/highway.h>

#include "conversion/Camera2DRows.h"
#include "conversion/PlainRows.h"
// The group loader and the vector loop driver.
#include "conversion/simd/Rows2D-inl.h"

HWY_BEFORE_NAMESPACE();
namespace videoDevice {
namespace conversion {
namespace HWY_NAMESPACE {
namespace hue {

enum Member { kH8, kS8, kHsy888, kHsMixed888, kH2Rgb };

constexpr RowFunction kPlainRows[] = {plain::h8Row, plain::s8Row, plain::hsy888Row,
                                      plain::hsMixed888Row, plain::h2RgbRow};

// One lane is no vector; and the hue needs a correctly rounded division,
// which 32-bit ARM only approximates. Both keep the plain rows.
#if HWY_TARGET == HWY_SCALAR || HWY_ARCH_ARM_V7

template <Member kMember>
inline void Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  kPlainRows[kMember](in, out, count, f);
}

#else

namespace hn = hwy::HWY_NAMESPACE;

using D32 = hn::ScalableTag<std::uint32_t>;
using DI32 = hn::ScalableTag<std::int32_t>;
using DF = hn::ScalableTag<float>;
using DU16 = hn::Repartition<std::uint16_t, D32>;
using DU8 = hn::Repartition<std::uint8_t, D32>;
using V32 = hn::Vec<D32>;
using VI32 = hn::Vec<DI32>;
using VF = hn::Vec<DF>;
using VU8 = hn::Vec<DU8>;

using rows2d::Byte;

// Adding 1.5 x 2^23 to a float below 2^22 in magnitude rounds it to the
// nearest integer (ties to even, the default rounding) and leaves that
// integer, in two's complement, in the low bits: 0x4B400000 + x. Cheaper
// than ConvertTo, which also mends overflows that cannot happen here.
HWY_INLINE VI32 RoundedBits(VF v) {
  return hn::BitCast(DI32(), hn::Add(v, hn::Set(DF(), 12582912.0f)));
}
HWY_INLINE VI32 Rounded(VF v) { return hn::Sub(RoundedBits(v), hn::Set(DI32(), 0x4B400000)); }

struct Chroma {
  VF rg, gb, rb;  // exact integers
  VF range;       // c = max - min
};

HWY_INLINE Chroma ChromaOf(VF u, VF v) {
  const DF d;
  // 509 (V - 128) + 208 (U - 128) and -100 (V - 128) - 724 (U - 128).
  const VF rg = hn::MulAdd(v, hn::Set(d, 509.0f),
                           hn::MulAdd(u, hn::Set(d, 208.0f), hn::Set(d, -91776.0f)));
  const VF gb = hn::MulAdd(v, hn::Set(d, -100.0f),
                           hn::MulAdd(u, hn::Set(d, -724.0f), hn::Set(d, 105472.0f)));
  const VF rb = hn::Add(rg, gb);
  const VF range = hn::Max(hn::Max(hn::Abs(rg), hn::Abs(gb)), hn::Abs(rb));
  return Chroma{rg, gb, rb, range};
}

// The hue in the low byte of each lane (the other bytes are not the hue's).
//
// Exact: 85 t is an integer with |85 t| <= 85 x 117991 < 2^24, so 42.5 t is
// exact too, and the division rounds once to x' = fl(85 t / 2c) with
// |x| <= 42.5 (t is never larger than the range). If x is an integer, x' = x.
// Otherwise let k be the integer next to x away from 0; k and trunc(x) are
// floats and rounding is monotonic, so x' lies between them and truncates
// to trunc(x) unless x' = k, which needs |k - x| <= ulp(k) / 2 <= 2^-19
// (|k| <= 43). But |k - x| >= 1 / 2c > 2^-18, as 2c <= 235982 < 2^18.
HWY_INLINE VI32 HueBits(const Chroma& d) {
  const DF df;
  const VF zero = hn::Zero(df);
  const auto blue = hn::And(hn::Lt(d.gb, zero), hn::Le(d.rb, zero));
  const auto green = hn::And(hn::Le(d.rg, zero), hn::Ge(d.gb, zero));
  const VF t = hn::IfThenElse(blue, d.rg, hn::IfThenElse(green, hn::Neg(d.rb), d.gb));
  const VF offset =
      hn::IfThenElse(blue, hn::Set(df, -85.0f),
                     hn::IfThenElse(green, hn::Set(df, 85.0f),
                                    hn::IfThenElseZero(hn::Le(d.gb, zero), hn::Set(df, -1.0f))));
  const VF x = hn::Div(hn::Mul(t, hn::Set(df, 42.5f)), hn::Max(d.range, hn::Set(df, 1.0f)));
  const VF h = hn::Add(hn::Trunc(x), offset);
  return RoundedBits(hn::IfThenZeroElse(hn::Eq(d.range, zero), h));
}

// What the saturation of both pixels of a group shares.
struct SaturationTerms {
  VI32 numerator;  // n = 255 c
  VF scaled;       // 255 c as a float, rounded
  VF base;         // m - 298 Y
};

HWY_INLINE SaturationTerms SaturationTermsOf(const Chroma& d, VF v) {
  const DF df;
  const VF red = hn::MulAdd(v, hn::Set(df, 409.0f), hn::Set(df, -57119.0f));
  const VF base = hn::Sub(red, hn::Min(hn::Min(d.rg, d.rb), hn::Zero(df)));
  const VI32 c = Rounded(d.range);
  return SaturationTerms{hn::Sub(hn::ShiftLeft<8>(c), c), hn::Mul(d.range, hn::Set(df, 255.0f)),
                         base};
}

// trunc(n / m) of one pixel clamped to 0..255, m = 298 Y + base.
//
// Exact: n <= 255 x 117991 < 2^25 and 0 < |m| < 2^18 (m is never 0, see
// PlainRows2D.cpp). With q = n / m, the estimate e = q (1 + r) has
// |r| < 3.7e-4: the reciprocal's error (at most 1.5 x 2^-12 on x86, a
// division elsewhere) and two roundings of 2^-24. For m > 0 and q < 256
// that puts e within 0.095 of q, in (Q - 0.095, Q + 1.095) with
// Q = floor(q): e rounds to Q or Q + 1, and the sign of the remainder
// n - t m says which. Clamping e to 0 .. 255.4 changes no such result and
// keeps t in 0 .. 255: for q >= 256, e > 255.9 and t is 255, its remainder
// not negative; for m < 0, e <= 0 and t is 0, remainder n. |t m| < 2^26:
// nothing overflows.
HWY_INLINE VI32 Saturation(const SaturationTerms& terms, VI32 y) {
  const DF df;
  const VF mf = hn::MulAdd(hn::ConvertTo(df, y), hn::Set(df, 298.0f), terms.base);
  const VI32 m = Rounded(mf);
#if HWY_ARCH_X86
  const VF e = hn::Mul(terms.scaled, hn::ApproximateReciprocal(mf));
#else
  const VF e = hn::Div(terms.scaled, mf);  // reciprocal estimates elsewhere are coarser
#endif
  const VI32 t = Rounded(hn::Min(hn::Max(e, hn::Zero(df)), hn::Set(df, 255.4f)));
  const VI32 remainder = hn::Sub(terms.numerator, hn::Mul(t, m));
  return hn::Add(t, hn::ShiftRight<31>(remainder));  // less one where negative
}

// One vector of groups, each lane's output pair in its low 16 bits (the
// upper half is left over): hue twice, and the two pixels' saturations.
struct Pairs {
  V32 hues, saturations;
};

template <Member kMember>
HWY_INLINE Pairs Convert(V32 groups, VU8 lowByteTwice) {
  const D32 d;
  const DF df;
  const VI32 ui = Byte(groups, 1);
  const VI32 vi = Byte(groups, 3);
  const VF v = hn::ConvertTo(df, vi);
  const Chroma chroma = ChromaOf(hn::ConvertTo(df, ui), v);
  Pairs pairs;
  if (kMember != kS8) {
    const VU8 bits = hn::BitCast(DU8(), HueBits(chroma));
    pairs.hues = hn::BitCast(d, hn::TableLookupBytes(bits, lowByteTwice));
  }
  if (kMember != kH8 && kMember != kH2Rgb) {
    const SaturationTerms terms = SaturationTermsOf(chroma, v);
    const VI32 first = Saturation(terms, Byte(groups, 0));
    const VI32 second = Saturation(terms, Byte(groups, 2));
    pairs.saturations = hn::BitCast(d, hn::Or(first, hn::ShiftLeft<8>(second)));
  }
  return pairs;
}

// The low 16 bits of every lane of lo, then of hi, as bytes.
HWY_INLINE VU8 LowHalves(V32 hi, V32 lo) {
  const DU16 d16;
  return hn::BitCast(DU8(), hn::ConcatEven(d16, hn::BitCast(d16, hi), hn::BitCast(d16, lo)));
}

// The fully saturated colour of each hue byte, as plain::hueColour: blue,
// green, red, modulo 256.
HWY_INLINE void HueColour(VU8 h, VU8& b0, VU8& b1, VU8& b2) {
  const DU8 d;
  const VU8 twice = hn::Add(h, h);
  const VU8 six = hn::Add(hn::Add(twice, twice), twice);
  const VU8 full = hn::Set(d, 255);
  const auto upTo = [&](int last) {
    return hn::Lt(h, hn::Set(d, static_cast<std::uint8_t>(last + 1)));
  };
  const auto to42 = upTo(42), to84 = upTo(84), to126 = upTo(126);
  const auto to168 = upTo(168), to210 = upTo(210), to253 = upTo(253);
  const VU8 minusSix = hn::Sub(hn::Zero(d), six);
  b0 = hn::IfThenZeroElse(
      to84, hn::IfThenElse(to126, hn::Add(six, hn::Set(d, 2)),
                           hn::IfThenElse(to210, full,
                                          hn::IfThenElseZero(to253, hn::Sub(minusSix, hn::Set(d, 15))))));
  b1 = hn::IfThenElse(
      to42, six,
      hn::IfThenElse(to126, full, hn::IfThenElseZero(to168, hn::Sub(minusSix, hn::Set(d, 7)))));
  b2 = hn::IfThenElse(
      to42, full,
      hn::IfThenElse(to84, hn::Add(minusSix, hn::Set(d, 1)),
                     hn::IfThenZeroElse(to168, hn::IfThenElse(to210, hn::Add(six, hn::Set(d, 10)), full))));
}

// Two vectors of groups per step, so that the byte work runs on whole
// vectors. Returns the elements done.
template <Member kMember>
HWY_INLINE std::size_t Vectors(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                               std::size_t f) {
  constexpr std::size_t kOutStep = kMember == kH8 || kMember == kS8 ? 2 : 6;
  const D32 d;
  const DU8 d8;
  const std::size_t n = hn::Lanes(d);
  const std::size_t step = 4 * f;
  const rows2d::GroupLoader loader(step);
  // Byte 0 of every 32-bit lane into bytes 0 and 1.
  const VU8 lowByteTwice =
      hn::BitCast(d8, hn::Mul(hn::And(hn::Iota(d, 0), hn::Set(d, 3u)), hn::Set(d, 0x04040404u)));
  const std::size_t span = n * step + loader.span();
  return rows2d::ForVectors(count, 2 * n, step, 4, span, [&](std::size_t k) VIDEODEVICE_INLINE_LAMBDA {
    const V32 groupsLo = loader.load(in, k);
    const V32 groupsHi = loader.load(in, k + n);
    const Pairs lo = Convert<kMember>(groupsLo, lowByteTwice);
    const Pairs hi = Convert<kMember>(groupsHi, lowByteTwice);
    std::uint8_t* o = out + kOutStep * k;
    if (kMember == kH8) {
      hn::StoreU(LowHalves(hi.hues, lo.hues), d8, o);
    } else if (kMember == kS8) {
      hn::StoreU(LowHalves(hi.saturations, lo.saturations), d8, o);
    } else if (kMember == kHsy888) {
      const VU8 lumas = hn::ConcatEven(d8, hn::BitCast(d8, groupsHi), hn::BitCast(d8, groupsLo));
      hn::StoreInterleaved3(LowHalves(hi.hues, lo.hues), LowHalves(hi.saturations, lo.saturations),
                            lumas, d8, o);
    } else if (kMember == kHsMixed888) {
      const VU8 hues = LowHalves(hi.hues, lo.hues);
      hn::StoreInterleaved3(hues, LowHalves(hi.saturations, lo.saturations), hues, d8, o);
    } else {
      VU8 b0, b1, b2;
      HueColour(LowHalves(hi.hues, lo.hues), b0, b1, b2);
      hn::StoreInterleaved3(b0, b1, b2, d8, o);
    }
  });
}

template <Member kMember>
inline void Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  constexpr std::size_t kOutStep = kMember == kH8 || kMember == kS8 ? 2 : 6;
  const std::size_t done = Vectors<kMember>(in, out, count, f);
  if (done < count) kPlainRows[kMember](in + 4 * f * done, out + kOutStep * done, count - done, f);
}

#endif  // HWY_TARGET == HWY_SCALAR || HWY_ARCH_ARM_V7

}  // namespace hue

inline void H8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  hue::Row<hue::kH8>(in, out, count, f);
}
inline void S8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  hue::Row<hue::kS8>(in, out, count, f);
}
inline void Hsy888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                      std::size_t f) {
  hue::Row<hue::kHsy888>(in, out, count, f);
}
inline void HsMixed888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                          std::size_t f) {
  hue::Row<hue::kHsMixed888>(in, out, count, f);
}
inline void H2RgbRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                     std::size_t f) {
  hue::Row<hue::kH2Rgb>(in, out, count, f);
}

}  // namespace HWY_NAMESPACE
}  // namespace conversion
}  // namespace videoDevice
HWY_AFTER_NAMESPACE();

#endif  // include guard toggle
