// Fast rows of the colour and component converters; included once per target
// by Kernels.cpp.
//
// Every row works on vectors of whole input groups (bytes Y0 U Y1 V read as
// one little-endian 32-bit lane), so the same arithmetic serves every factor:
// only the load differs (contiguous groups, every other group, or a gather).
// The formulas are the plain rows' (PlainRows2D.cpp), in 32-bit lanes, with
// saturating narrowing standing in for the clamps. A row runs whole vectors
// while every byte a vector reads and writes lies inside what its elements
// own, and hands the rest to the plain row, so nothing strays past a buffer
// that ends right after the last element.

// Row bodies are lambdas handed to a loop driver: without this the compiler
// may keep them out of line and pass every vector through memory.
#ifndef VIDEODEVICE_INLINE_LAMBDA
#define VIDEODEVICE_INLINE_LAMBDA __attribute__((always_inline))
#endif

#if defined(VIDEODEVICE_SIMD_ROWS2D_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VIDEODEVICE_SIMD_ROWS2D_INL_H_
#undef VIDEODEVICE_SIMD_ROWS2D_INL_H_
#else
#define VIDEODEVICE_SIMD_ROWS2D_INL_H_
#endif

#include <cstddef>
#include <cstdint>

#include <hwy/highway.h>

#include "conversion/PlainRows.h"

HWY_BEFORE_NAMESPACE();
namespace videoDevice {
namespace conversion {
namespace HWY_NAMESPACE {
namespace rows2d {

#if HWY_TARGET == HWY_SCALAR
// One lane is no vector: the fallback target keeps the plain rows.
#define VIDEODEVICE_PLAIN_ROW(Name, name) \
  inline void Name(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) { \
    plain::name(in, out, count, f);                                                              \
  }
VIDEODEVICE_PLAIN_ROW(Rgb888Row, rgb888Row)
VIDEODEVICE_PLAIN_ROW(Bgr888Row, bgr888Row)
VIDEODEVICE_PLAIN_ROW(R8Row, r8Row)
VIDEODEVICE_PLAIN_ROW(G8Row, g8Row)
VIDEODEVICE_PLAIN_ROW(B8Row, b8Row)
VIDEODEVICE_PLAIN_ROW(FullRedRow, fullRedRow)
VIDEODEVICE_PLAIN_ROW(FullGreenRow, fullGreenRow)
VIDEODEVICE_PLAIN_ROW(FullBlueRow, fullBlueRow)
VIDEODEVICE_PLAIN_ROW(Y8Row, y8Row)
VIDEODEVICE_PLAIN_ROW(U8Row, u8Row)
VIDEODEVICE_PLAIN_ROW(V8Row, v8Row)
VIDEODEVICE_PLAIN_ROW(Yuv422Row, yuv422Row)
VIDEODEVICE_PLAIN_ROW(Yuv888Row, yuv888Row)
VIDEODEVICE_PLAIN_ROW(YyCbCrRow, yyCbCrRow)
#undef VIDEODEVICE_PLAIN_ROW
#else

namespace hn = hwy::HWY_NAMESPACE;

using D32 = hn::ScalableTag<std::uint32_t>;
using DI32 = hn::ScalableTag<std::int32_t>;
using V32 = hn::Vec<D32>;
using VI32 = hn::Vec<DI32>;
using DU8 = hn::Rebind<std::uint8_t, DI32>;    // one byte per group lane
using DU16 = hn::Rebind<std::uint16_t, DI32>;  // two bytes per group lane

// Loads the groups of elements k .. k + N - 1, element k's group starting
// k x step bytes after `in`, and says how many bytes from `in` + k x step
// that load touches.
class GroupLoader {
 public:
  explicit GroupLoader(std::size_t step) : _step(step) {
    const DI32 di;
    _offsets = hn::Mul(hn::Iota(di, 0), hn::Set(di, static_cast<std::int32_t>(step)));
  }

  std::size_t span() const {
    const std::size_t n = hn::Lanes(D32());
    return _step == 4 ? 4 * n : (_step == 8 ? 8 * n : (n - 1) * _step + 4);
  }

  V32 load(const std::uint8_t* in, std::size_t k) const {
    const D32 d;
    const std::uint8_t* first = in + k * _step;
    if (_step == 4) return hn::LoadU(d, reinterpret_cast<const std::uint32_t*>(first));
    if (_step == 8) {
      const std::size_t n = hn::Lanes(d);
      const V32 lo = hn::LoadU(d, reinterpret_cast<const std::uint32_t*>(first));
      const V32 hi = hn::LoadU(d, reinterpret_cast<const std::uint32_t*>(first + 4 * n));
      return hn::ConcatEven(d, hi, lo);
    }
    return hn::GatherOffset(d, reinterpret_cast<const std::uint32_t*>(first), _offsets);
  }

 private:
  std::size_t _step;
  VI32 _offsets;
};

// Runs body(k) on vectors of n elements from k = 0 while every byte a vector
// reads lies inside what the row may read, then once more on the furthest
// vector that still does, overlapping the one before it, so that only what
// lies beyond (at most the last few elements) is left to the plain row.
// Element k reads from k x step to k x step + reach; a vector starting at k
// reads `span` bytes from k x step, and writes only what its elements own.
// Returns the number of leading elements done.
template <class Body>
HWY_INLINE std::size_t ForVectors(std::size_t count, std::size_t n, std::size_t step,
                                  std::size_t reach, std::size_t span, Body body) {
  if (count < n) return 0;
  const std::size_t limit = (count - 1) * step + reach;  // bytes the row may read
  if (span > limit) return 0;
  // Usually the last whole vector fits as it is; dividing costs more than
  // the rest of a short row.
  const std::size_t last =
      (count - n) * step + span <= limit ? count - n : HWY_MIN(count - n, (limit - span) / step);
  // One call site, so that the compiler inlines the body.
  for (std::size_t k = 0;; k = HWY_MIN(k + n, last)) {
    body(k);
    if (k == last) break;
  }
  return last + n;
}

HWY_INLINE VI32 Byte(V32 groups, int index) {
  const D32 d;
  const DI32 di;
  V32 v = groups;
  if (index == 1) v = hn::ShiftRight<8>(v);
  if (index == 2) v = hn::ShiftRight<16>(v);
  if (index == 3) return hn::BitCast(di, hn::ShiftRight<24>(v));
  return hn::BitCast(di, hn::And(v, hn::Set(d, 0xFFu)));
}

// --- colour ----------------------------------------------------------------

struct Channels {
  VI32 r, g, b;  // still in the x256 scale, shifted down, not yet clamped
};

// luma: 298 x (Y - 16) in the x256 scale; u, v: chroma less 128.
HWY_INLINE Channels ColourMatrix(VI32 luma, VI32 u, VI32 v) {
  const DI32 di;
  const VI32 r = hn::Add(luma, hn::Mul(v, hn::Set(di, 409)));
  const VI32 g = hn::Sub(luma, hn::Add(hn::Mul(u, hn::Set(di, 100)), hn::Mul(v, hn::Set(di, 208))));
  const VI32 b = hn::Add(luma, hn::Mul(u, hn::Set(di, 516)));
  return Channels{hn::ShiftRight<8>(r), hn::ShiftRight<8>(g), hn::ShiftRight<8>(b)};
}

// RGB_888: 298 x ((Y0 + Y1 - 32) / 2), the division truncating toward zero.
HWY_INLINE VI32 AveragedLuma(V32 groups) {
  const DI32 di;
  const VI32 sum = hn::Sub(hn::Add(Byte(groups, 0), Byte(groups, 2)), hn::Set(di, 32));
  // A negative odd sum rounds up: add its sign bit before halving.
  const VI32 sign = hn::BitCast(di, hn::ShiftRight<31>(hn::BitCast(D32(), sum)));
  return hn::Mul(hn::ShiftRight<1>(hn::Add(sum, sign)), hn::Set(di, 298));
}

// BGR_888 and the single channels: 149 x (Y0 + Y1 - 32), keeping the half.
HWY_INLINE VI32 PairLuma(V32 groups) {
  const DI32 di;
  const VI32 sum = hn::Add(Byte(groups, 0), Byte(groups, 2));
  return hn::ShiftRight<1>(hn::Sub(hn::Mul(sum, hn::Set(di, 298)), hn::Set(di, 9536)));
}

HWY_INLINE Channels GroupColour(V32 groups, bool averaged) {
  const DI32 di;
  const VI32 u = hn::Sub(Byte(groups, 1), hn::Set(di, 128));
  const VI32 v = hn::Sub(Byte(groups, 3), hn::Set(di, 128));
  return ColourMatrix(averaged ? AveragedLuma(groups) : PairLuma(groups), u, v);
}

// Element x reads `reach` bytes from 2 x factor x, as one group. At factor 1
// the groups would overlap: those rows are left to the plain row.
template <class Body>
HWY_INLINE std::size_t PixelRow(const std::uint8_t* in, std::size_t count, std::size_t f,
                                std::size_t reach, Body body) {
  if (f == 1) return 0;
  const std::size_t step = 2 * f;
  const GroupLoader loader(step);
  return ForVectors(count, hn::Lanes(D32()), step, reach, loader.span(),
                    [&](std::size_t k) VIDEODEVICE_INLINE_LAMBDA { body(k, loader.load(in, k)); });
}

// Contiguous groups (factor 2) in 16-bit lanes, twice as many pixels per
// instruction. With 298 = 256 + 42, 409 = 256 + 153, -208 = -256 + 48 and
// 516 = 512 + 4, each channel is base + whole chroma + (small sum >> 8),
// exactly the 32-bit formula, and every small sum fits in 16 bits: at most
// 42 x 239 + 149 + 153 x 127 = 29618 and at least -20256 in magnitude.
struct Channels16 {
  using D = hn::ScalableTag<std::int16_t>;
  hn::Vec<D> r, g, b;  // unclamped
};

template <class V16>
HWY_INLINE Channels16 GroupColour16(V16 y0, V16 u, V16 y1, V16 v, bool averaged) {
  const hn::ScalableTag<std::int16_t> d;
  const V16 s = hn::Sub(hn::Add(y0, y1), hn::Set(d, 32));
  V16 base, small;
  if (averaged) {
    // 298 x trunc(s / 2): a negative odd s rounds up.
    base = hn::ShiftRight<1>(hn::Sub(s, hn::ShiftRight<15>(s)));
    small = hn::Mul(base, hn::Set(d, 42));
  } else {
    // 149 x s = 298 x floor(s / 2) + 149 x (s & 1).
    base = hn::ShiftRight<1>(s);
    small = hn::Add(hn::Mul(base, hn::Set(d, 42)), hn::Mul(hn::And(s, hn::Set(d, 1)), hn::Set(d, 149)));
  }
  const V16 uc = hn::Sub(u, hn::Set(d, 128));
  const V16 vc = hn::Sub(v, hn::Set(d, 128));
  const V16 r = hn::Add(hn::Add(base, vc), hn::ShiftRight<8>(hn::Add(small, hn::Mul(vc, hn::Set(d, 153)))));
  const V16 g = hn::Add(hn::Sub(base, vc),
                        hn::ShiftRight<8>(hn::Add(hn::Sub(small, hn::Mul(uc, hn::Set(d, 100))),
                                                  hn::Mul(vc, hn::Set(d, 48)))));
  const V16 b = hn::Add(hn::Add(base, hn::Add(uc, uc)), hn::ShiftRight<8>(hn::Add(small, hn::ShiftLeft<2>(uc))));
  return Channels16{r, g, b};
}

// kKind: 0 RGB_888, 1 BGR_888, 2 R_8, 3 G_8, 4 B_8. Returns the elements done.
template <int kKind>
HWY_INLINE std::size_t ColourRowContiguous(const std::uint8_t* in, std::uint8_t* out,
                                           std::size_t count) {
  const hn::ScalableTag<std::uint8_t> d8;
  const hn::Half<decltype(d8)> dh8;
  const hn::ScalableTag<std::int16_t> d16;
  const std::size_t n = hn::Lanes(d8);
  return ForVectors(count, n, 4, 4, 4 * n, [&](std::size_t k) VIDEODEVICE_INLINE_LAMBDA {
    // As 16-bit words a group is Y0 | U << 8, Y1 | V << 8: split the words
    // of each half of the vector into even (Y0, U) and odd (Y1, V) ones.
    const hn::ScalableTag<std::uint16_t> du16;
    const std::size_t words = hn::Lanes(du16);
    const auto* source = reinterpret_cast<const std::uint16_t*>(in + 4 * k);
    const auto low = hn::Set(du16, 0xFF);
    const auto half = [&](const std::uint16_t* at) VIDEODEVICE_INLINE_LAMBDA {
      hn::Vec<decltype(du16)> first, second;
      hn::LoadInterleaved2(du16, at, first, second);
      return GroupColour16(hn::BitCast(d16, hn::And(first, low)), hn::BitCast(d16, hn::ShiftRight<8>(first)),
                           hn::BitCast(d16, hn::And(second, low)), hn::BitCast(d16, hn::ShiftRight<8>(second)),
                           kKind == 0);
    };
    const Channels16 lo = half(source);
    const Channels16 hi = half(source + 2 * words);
    const auto narrow = [&](hn::Vec<decltype(d16)> a, hn::Vec<decltype(d16)> b) {
      return hn::Combine(d8, hn::DemoteTo(dh8, b), hn::DemoteTo(dh8, a));
    };
    if (kKind == 0) {
      hn::StoreInterleaved3(narrow(lo.r, hi.r), narrow(lo.g, hi.g), narrow(lo.b, hi.b), d8, out + 3 * k);
    } else if (kKind == 1) {
      hn::StoreInterleaved3(narrow(lo.b, hi.b), narrow(lo.g, hi.g), narrow(lo.r, hi.r), d8, out + 3 * k);
    } else {
      const auto& a = kKind == 2 ? lo.r : (kKind == 3 ? lo.g : lo.b);
      const auto& b = kKind == 2 ? hi.r : (kKind == 3 ? hi.g : hi.b);
      hn::StoreU(narrow(a, b), d8, out + k);
    }
  });
}

template <int kKind>
HWY_INLINE void ColourRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                          std::size_t f) {
  constexpr std::size_t kOutStep = kKind < 2 ? 3 : 1;
  const std::size_t wide = f == 2 ? ColourRowContiguous<kKind>(in, out, count) : 0;
  // What the wide loop leaves, and other factors, in 32-bit lanes.
  const DU8 d8;
  const std::uint8_t* rest = in + wide * 2 * f;
  std::uint8_t* restOut = out + wide * kOutStep;
  const std::size_t done = wide + PixelRow(rest, count - wide, f, 4, [&](std::size_t k, V32 groups) VIDEODEVICE_INLINE_LAMBDA {
    const Channels c = GroupColour(groups, kKind == 0);
    if (kKind == 0) {
      hn::StoreInterleaved3(hn::DemoteTo(d8, c.r), hn::DemoteTo(d8, c.g), hn::DemoteTo(d8, c.b), d8,
                            restOut + 3 * k);
    } else if (kKind == 1) {
      hn::StoreInterleaved3(hn::DemoteTo(d8, c.b), hn::DemoteTo(d8, c.g), hn::DemoteTo(d8, c.r), d8,
                            restOut + 3 * k);
    } else {
      hn::StoreU(hn::DemoteTo(d8, kKind == 2 ? c.r : (kKind == 3 ? c.g : c.b)), d8, restOut + k);
    }
  });
  if (done == count) return;
  constexpr RowFunction kPlain[] = {plain::rgb888Row, plain::bgr888Row, plain::r8Row, plain::g8Row,
                                    plain::b8Row};
  kPlain[kKind](in + done * 2 * f, out + done * kOutStep, count - done, f);
}

inline void Rgb888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                      std::size_t f) {
  ColourRow<0>(in, out, count, f);
}
inline void Bgr888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                      std::size_t f) {
  ColourRow<1>(in, out, count, f);
}
inline void R8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  ColourRow<2>(in, out, count, f);
}
inline void G8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  ColourRow<3>(in, out, count, f);
}
inline void B8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  ColourRow<4>(in, out, count, f);
}

// Elements are groups every 4 x factor bytes, one output pair each. `reach`
// is how far an element reads from its group's start.
template <class Body>
HWY_INLINE std::size_t PairRow(const std::uint8_t* in, std::size_t count, std::size_t f,
                               std::size_t reach, Body body) {
  const std::size_t step = 4 * f;
  const GroupLoader loader(step);
  return ForVectors(count, hn::Lanes(D32()), step, reach, loader.span(),
                    [&](std::size_t k) VIDEODEVICE_INLINE_LAMBDA { body(k, loader.load(in, k)); });
}

// Two output bytes per group: lo | hi << 8 in each lane, both already bytes.
HWY_INLINE void StorePairs(V32 lo, V32 hi, std::uint8_t* out) {
  const DU16 d16;
  const V32 pairs = hn::Or(lo, hn::ShiftLeft<8>(hi));
  hn::StoreU(hn::DemoteTo(d16, hn::BitCast(DI32(), pairs)),
             d16, reinterpret_cast<std::uint16_t*>(out));
}

// Full-size single channels: each pixel from its own luma and the shared
// chroma, the channel's offset folded into the constant.
template <int kChannel>
HWY_INLINE VI32 FullChannel(VI32 y, VI32 u, VI32 v) {
  const DI32 di;
  VI32 sum;
  if (kChannel == 0) {
    sum = hn::Add(hn::Mul(y, hn::Set(di, 298)), hn::Sub(hn::Mul(v, hn::Set(di, 409)), hn::Set(di, 57120)));
  } else if (kChannel == 1) {
    sum = hn::Sub(hn::Add(hn::Mul(y, hn::Set(di, 298)), hn::Set(di, 34656)),
                  hn::Add(hn::Mul(u, hn::Set(di, 100)), hn::Mul(v, hn::Set(di, 208))));
  } else {
    sum = hn::Add(hn::Mul(y, hn::Set(di, 298)), hn::Sub(hn::Mul(u, hn::Set(di, 516)), hn::Set(di, 70816)));
  }
  return hn::Min(hn::Max(hn::ShiftRight<8>(sum), hn::Zero(di)), hn::Set(di, 255));
}

template <int kChannel>
HWY_INLINE void FullChannelRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count) {
  const D32 d;
  const std::size_t done = PairRow(in, count, 1, 4, [&](std::size_t k, V32 groups) VIDEODEVICE_INLINE_LAMBDA {
    const VI32 u = Byte(groups, 1);
    const VI32 v = Byte(groups, 3);
    const VI32 first = FullChannel<kChannel>(Byte(groups, 0), u, v);
    const VI32 second = FullChannel<kChannel>(Byte(groups, 2), u, v);
    StorePairs(hn::BitCast(d, first), hn::BitCast(d, second), out + 2 * k);
  });
  if (done < count) {
    const RowFunction rest = kChannel == 0 ? plain::fullRedRow
                                           : (kChannel == 1 ? plain::fullGreenRow : plain::fullBlueRow);
    rest(in + 4 * done, out + 2 * done, count - done, 1);
  }
}

// Full-size rows ignore the factor: one group per output pair, always.
inline void FullRedRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                       std::size_t) {
  FullChannelRow<0>(in, out, count);
}
inline void FullGreenRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                         std::size_t) {
  FullChannelRow<1>(in, out, count);
}
inline void FullBlueRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                        std::size_t) {
  FullChannelRow<2>(in, out, count);
}

// --- components --------------------------------------------------------------

inline void Y8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  const hn::ScalableTag<std::uint8_t> d8;
  const std::size_t n = hn::Lanes(d8);
  std::size_t done;
  if (f == 1) {
    // Every other byte: the even bytes of two vectors.
    done = ForVectors(count, n, 2, 1, 2 * n, [&](std::size_t x) VIDEODEVICE_INLINE_LAMBDA {
      const auto lo = hn::LoadU(d8, in + 2 * x);
      const auto hi = hn::LoadU(d8, in + 2 * x + n);
      hn::StoreU(hn::ConcatEven(d8, hi, lo), d8, out + x);
    });
  } else if (f == 2) {
    done = ForVectors(count, n, 4, 1, 4 * n, [&](std::size_t x) VIDEODEVICE_INLINE_LAMBDA {
      hn::Vec<decltype(d8)> y0, u, y1, v;
      hn::LoadInterleaved4(d8, in + 4 * x, y0, u, y1, v);
      hn::StoreU(y0, d8, out + x);
    });
  } else {
    const DU8 dq;
    done = PixelRow(in, count, f, 1, [&](std::size_t k, V32 groups) VIDEODEVICE_INLINE_LAMBDA {
      hn::StoreU(hn::DemoteTo(dq, Byte(groups, 0)), dq, out + k);
    });
  }
  if (done < count) plain::y8Row(in + 2 * f * done, out + done, count - done, f);
}

// U_8: bytes 1 and 2f - 1 of each element; V_8: bytes 3 and 2f + 1. With
// f = 1 both bytes are the group's own chroma; with f = 2 the second is the
// other chroma of the same group (U_8) or of the next one (V_8).
inline void U8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  std::size_t done = 0;
  if (f == 1 || f == 2) {
    done = PairRow(in, count, f, 2 * f, [&](std::size_t k, V32 groups) VIDEODEVICE_INLINE_LAMBDA {
      const V32 u = hn::BitCast(D32(), Byte(groups, 1));
      StorePairs(u, f == 1 ? u : hn::BitCast(D32(), Byte(groups, 3)), out + 2 * k);
    });
  }
  if (done < count) plain::u8Row(in + 4 * f * done, out + 2 * done, count - done, f);
}

inline void V8Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  const D32 d;
  std::size_t done = 0;
  if (f == 1) {
    done = PairRow(in, count, 1, 4, [&](std::size_t k, V32 groups) VIDEODEVICE_INLINE_LAMBDA {
      const V32 v = hn::BitCast(d, Byte(groups, 3));
      StorePairs(v, v, out + 2 * k);
    });
  } else if (f == 2) {
    // Each element also reads the U of the group after its own: load both
    // halves of every 8-byte step.
    done = ForVectors(count, hn::Lanes(d), 8, 6, 8 * hn::Lanes(d), [&](std::size_t k) VIDEODEVICE_INLINE_LAMBDA {
      V32 own, next;
      hn::LoadInterleaved2(d, reinterpret_cast<const std::uint32_t*>(in + 8 * k), own, next);
      StorePairs(hn::BitCast(d, Byte(own, 3)), hn::BitCast(d, Byte(next, 1)), out + 2 * k);
    });
  }
  if (done < count) plain::v8Row(in + 4 * f * done, out + 2 * done, count - done, f);
}

// Averages, truncating, group a (at 4fk) with the group b 2f bytes on:
// (a.Y0 + a.Y1) / 2, (a.U + b.U) / 2, (b.Y0 + b.Y1) / 2, (a.V + b.V) / 2.
inline void Yuv422Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                      std::size_t f) {
  const D32 d;
  const std::size_t n = hn::Lanes(d);
  const V32 lowBytes = hn::Set(d, 0x00FF00FFu);
  const auto average = [&](V32 a, V32 b) VIDEODEVICE_INLINE_LAMBDA {
    const V32 lumaA = hn::And(a, lowBytes);
    const V32 lumaB = hn::And(b, lowBytes);
    const V32 y01a = hn::And(hn::Add(lumaA, hn::ShiftRight<16>(lumaA)), hn::Set(d, 0x1FFu));
    const V32 y01b = hn::And(hn::Add(lumaB, hn::ShiftRight<16>(lumaB)), hn::Set(d, 0x1FFu));
    const V32 chroma = hn::Add(hn::And(hn::ShiftRight<8>(a), lowBytes),
                               hn::And(hn::ShiftRight<8>(b), lowBytes));
    const V32 chromaAverage = hn::ShiftLeft<8>(hn::And(hn::ShiftRight<1>(chroma), lowBytes));
    return hn::Or(hn::Or(hn::ShiftRight<1>(y01a), hn::ShiftLeft<16>(hn::ShiftRight<1>(y01b))), chromaAverage);
  };
  std::size_t k = 0;
  if (f == 1) {
    k = ForVectors(count, n, 4, 6, 4 * n + 2, [&](std::size_t j) VIDEODEVICE_INLINE_LAMBDA {
      const V32 a = hn::LoadU(d, reinterpret_cast<const std::uint32_t*>(in + 4 * j));
      const V32 b = hn::LoadU(d, reinterpret_cast<const std::uint32_t*>(in + 4 * j + 2));
      hn::StoreU(average(a, b), d, reinterpret_cast<std::uint32_t*>(out + 4 * j));
    });
  } else if (f == 2) {
    k = ForVectors(count, n, 8, 8, 8 * n, [&](std::size_t j) VIDEODEVICE_INLINE_LAMBDA {
      V32 a, b;
      hn::LoadInterleaved2(d, reinterpret_cast<const std::uint32_t*>(in + 8 * j), a, b);
      hn::StoreU(average(a, b), d, reinterpret_cast<std::uint32_t*>(out + 4 * j));
    });
  }
  if (k < count) plain::yuv422Row(in + 4 * f * k, out + 4 * k, count - k, f);
}

// Y0 U V Y1 U V: three 16-bit words per group.
inline void Yuv888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                      std::size_t f) {
  const D32 d;
  const DU16 d16;
  const DI32 di;
  const std::size_t done = PairRow(in, count, f, 4, [&](std::size_t k, V32 g) VIDEODEVICE_INLINE_LAMBDA {
    const V32 y0u = hn::And(g, hn::Set(d, 0xFFFFu));
    const V32 vy1 = hn::Or(hn::ShiftRight<24>(g), hn::And(hn::ShiftRight<8>(g), hn::Set(d, 0xFF00u)));
    const V32 uv = hn::Or(hn::And(hn::ShiftRight<8>(g), hn::Set(d, 0xFFu)),
                          hn::And(hn::ShiftRight<16>(g), hn::Set(d, 0xFF00u)));
    hn::StoreInterleaved3(hn::DemoteTo(d16, hn::BitCast(di, y0u)),
                          hn::DemoteTo(d16, hn::BitCast(di, vy1)),
                          hn::DemoteTo(d16, hn::BitCast(di, uv)), d16,
                          reinterpret_cast<std::uint16_t*>(out + 6 * k));
  });
  if (done < count) plain::yuv888Row(in + 4 * f * done, out + 6 * done, count - done, f);
}

// Y0 Y1 U V.
inline void YyCbCrRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                      std::size_t f) {
  const D32 d;
  const std::size_t done = PairRow(in, count, f, 4, [&](std::size_t k, V32 g) VIDEODEVICE_INLINE_LAMBDA {
    const V32 kept = hn::And(g, hn::Set(d, 0xFF0000FFu));
    const V32 y1 = hn::And(hn::ShiftRight<8>(g), hn::Set(d, 0x0000FF00u));
    const V32 u = hn::And(hn::ShiftLeft<8>(g), hn::Set(d, 0x00FF0000u));
    hn::StoreU(hn::Or(kept, hn::Or(y1, u)), d, reinterpret_cast<std::uint32_t*>(out + 4 * k));
  });
  if (done < count) plain::yyCbCrRow(in + 4 * f * done, out + 4 * done, count - done, f);
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace rows2d

using rows2d::B8Row;
using rows2d::Bgr888Row;
using rows2d::FullBlueRow;
using rows2d::FullGreenRow;
using rows2d::FullRedRow;
using rows2d::G8Row;
using rows2d::R8Row;
using rows2d::Rgb888Row;
using rows2d::U8Row;
using rows2d::V8Row;
using rows2d::Y8Row;
using rows2d::Yuv422Row;
using rows2d::Yuv888Row;
using rows2d::YyCbCrRow;

}  // namespace HWY_NAMESPACE
}  // namespace conversion
}  // namespace videoDevice
HWY_AFTER_NAMESPACE();

#endif  // include guard toggle
