// Fast rows of the depth converters; included once per target by
// Kernels.cpp.
//
// Every row works on vectors of whole output pixels, one depth per 32-bit lane
// (16-bit lanes where nothing wider is needed), so one body serves every
// factor: only the load differs (contiguous depths, the low half of
// contiguous 32-bit words, or a gather). The formulas are the plain rows'
// (PlainDepthRows.cpp), operation for operation: float lanes round exactly as
// the scalar code does, because Kernels.cpp is built without contracting a
// product and a sum into one fused operation. A row runs whole vectors while
// every byte a vector reads and writes lies inside what its pixels own, and
// hands the rest to the plain row, so nothing strays past a buffer that ends
// right after the last pixel.

// Row bodies are lambdas handed to a loop driver: without this the compiler
// may keep them out of line and pass every vector through memory.
#ifndef VIDEODEVICE_INLINE_LAMBDA
#define VIDEODEVICE_INLINE_LAMBDA __attribute__((always_inline))
#endif

#if defined(VIDEODEVICE_SIMD_DEPTH_ROWS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VIDEODEVICE_SIMD_DEPTH_ROWS_INL_H_
#undef VIDEODEVICE_SIMD_DEPTH_ROWS_INL_H_
#else
#define VIDEODEVICE_SIMD_DEPTH_ROWS_INL_H_
#endif

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <hwy/highway.h>

#include "conversion/PlainRows.h"
#include "conversion/RowKernels.h"

HWY_BEFORE_NAMESPACE();
namespace videoDevice {
namespace conversion {
namespace HWY_NAMESPACE {
namespace depthrows {

#if HWY_TARGET == HWY_SCALAR
// One lane is no vector: the fallback target keeps the plain rows.
inline void DepthRgb888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                           std::size_t f) {
  plain::depthRgb888Row(in, out, count, f);
}
inline void DepthGreyRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                         std::size_t f) {
  plain::depthGreyRow(in, out, count, f);
}
inline void Depth16Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  plain::depth16Row(in, out, count, f);
}
inline void DepthDistanceRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                             std::size_t f, std::size_t column, const FactorRow& factors) {
  plain::depthDistanceRow(in, out, count, f, column, factors);
}
inline void DepthPointsRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                           std::size_t f, std::size_t column, std::size_t row,
                           const PointFrame& frame) {
  plain::depthPointsRow(in, out, count, f, column, row, frame);
}
#else

namespace hn = hwy::HWY_NAMESPACE;

using D32 = hn::ScalableTag<std::uint32_t>;
using DI32 = hn::ScalableTag<std::int32_t>;
using DF32 = hn::ScalableTag<float>;
using DU16 = hn::Rebind<std::uint16_t, D32>;  // one 16-bit value per pixel lane
using DU8 = hn::Rebind<std::uint8_t, D32>;    // one byte per pixel lane
using V32 = hn::Vec<D32>;
using VI32 = hn::Vec<DI32>;
using VF32 = hn::Vec<DF32>;

// Vector loops keep byte offsets and table indices in 32-bit lanes: larger
// factors (no camera has them) and far columns are left to the plain rows.
constexpr std::size_t kMaxVectorFactor = std::size_t{1} << 20;
constexpr std::size_t kMaxIndex = 0x7FFFFFFF;

// Runs body(k) on vectors of n pixels from k = 0 while every byte a vector
// reads and writes lies inside what the row owns, then once more on the
// furthest vector that still does, overlapping the one before it (a row's
// output is a pure function of its input), and returns the number of leading
// pixels done: the caller hands the rest to the plain row. Pixel k reads 2
// bytes at k x step and owns outStep bytes at k x outStep; a vector from k
// reads `span` bytes from k x step and writes `written` bytes from
// k x outStep. Bytes it writes past its own pixels belong to later pixels,
// which a later vector or the plain rest writes again.
template <class Body>
HWY_INLINE std::size_t ForVectors(std::size_t count, std::size_t n, std::size_t step,
                                  std::size_t span, std::size_t outStep, std::size_t written,
                                  Body body) {
  if (count < n || step == 0) return 0;
  const std::size_t readable = (count - 1) * step + 2;
  const std::size_t writable = count * outStep;
  if (span > readable || written > writable) return 0;
  const std::size_t last =
      HWY_MIN(count - n, HWY_MIN((readable - span) / step, (writable - written) / outStep));
  // One call site, so that the compiler inlines the body.
  for (std::size_t k = 0;; k = HWY_MIN(k + n, last)) {
    body(k);
    if (k == last) break;
  }
  return last + n;
}

// Depths of pixels k .. k + N - 1 in 32-bit lanes, pixel k's being the 16-bit
// value 2 x factor x k bytes after `in`; span() says how many bytes from
// there one load touches.
class DepthLoader {
 public:
  explicit DepthLoader(std::size_t factor)
      : _step(2 * factor),
        _offsets(hn::Mul(hn::Iota(DI32(), 0), hn::Set(DI32(), static_cast<std::int32_t>(2 * factor)))) {}

  std::size_t step() const { return _step; }

  std::size_t span() const {
    const std::size_t n = hn::Lanes(D32());
    return _step == 2 ? 2 * n : (_step == 4 ? 4 * n : (n - 1) * _step + 4);
  }

  V32 load(const std::uint8_t* in, std::size_t k) const {
    const D32 d;
    const std::uint8_t* first = in + k * _step;
    if (_step == 2) return hn::PromoteTo(d, hn::LoadU(DU16(), reinterpret_cast<const std::uint16_t*>(first)));
    // The low half of each 32-bit word (depths are little-endian).
    const V32 low = hn::Set(d, 0xFFFFu);
    if (_step == 4) return hn::And(hn::LoadU(d, reinterpret_cast<const std::uint32_t*>(first)), low);
    return hn::And(hn::GatherOffset(d, reinterpret_cast<const std::uint32_t*>(first), _offsets), low);
  }

 private:
  std::size_t _step;
  VI32 _offsets;
};

// --- colour ramp -------------------------------------------------------------

// The plain ramp in float lanes, operation for operation (a division, not a
// product with a reciprocal, so every quotient is the scalar one): red |
// green << 8 | blue << 16 per lane. Measured faster than looking the colours
// up in a table of every depth, where a vector of gathers costs more than
// this whole formula.
HWY_INLINE V32 RampColours(V32 depth) {
  const D32 d;
  const DI32 di;
  const DF32 df;
  const VF32 one = hn::Set(df, 1.0f);
  const VF32 t = hn::Sub(hn::Min(hn::Div(hn::ConvertTo(df, hn::BitCast(di, depth)), hn::Set(df, 4095.0f)), one),
                         hn::Set(df, 0.12f));
  const VF32 s = hn::Mul(t, hn::Set(df, 1.1363636f));
  const VF32 u = hn::Sub(one, s);
  const VF32 a = hn::Mul(hn::Mul(u, u), u);
  const VF32 squared = hn::Mul(s, s);
  // Each channel through int as the plain row's casts: truncated, and within
  // 0 .. 255 wherever the ramp applies. Whole floats below 2^24 add up
  // exactly, so the three bytes meet in one float and convert once.
  const VF32 k255 = hn::Set(df, 255.0f);
  const VF32 red = hn::Trunc(hn::Mul(a, k255));
  const VF32 green = hn::Trunc(hn::Mul(hn::Sub(one, hn::Add(squared, a)), k255));
  const VF32 blue = hn::Trunc(hn::Mul(squared, k255));
  const VF32 bytes = hn::Add(red, hn::Add(hn::Mul(green, hn::Set(df, 256.0f)), hn::Mul(blue, hn::Set(df, 65536.0f))));
  const V32 colour = hn::BitCast(d, hn::ConvertTo(di, bytes));
  // Nearer than the ramp: grey 85; no measurement: black.
  const V32 near = hn::IfThenElse(hn::RebindMask(d, hn::Lt(t, hn::Zero(df))), hn::Set(d, 0x555555u), colour);
  return hn::IfThenZeroElse(hn::Eq(depth, hn::Zero(d)), near);
}

// Lane order that brings the first three 32-bit lanes of every 128-bit block
// together at the start of the vector: lane i takes lane i + i / 3 (i / 3 as
// (43 i) >> 7, exact for i < 128), the leftover lanes clamped into range.
using LaneOrder = decltype(hn::IndicesFromVec(D32(), hn::Zero(D32())));

HWY_INLINE LaneOrder PackedLanes() {
  const DI32 di;
  const VI32 i = hn::Iota(di, 0);
  const VI32 from = hn::Add(i, hn::ShiftRight<7>(hn::Mul(i, hn::Set(di, 43))));
  const VI32 last = hn::Set(di, static_cast<std::int32_t>(hn::Lanes(di) - 1));
  return hn::IndicesFromVec(D32(), hn::BitCast(D32(), hn::Min(from, last)));
}

// Writes the low three bytes of every lane, lane after lane: 3 x N bytes,
// through a whole-vector store that also writes a quarter vector of leftover
// bytes wherever `room` (the bytes the row owns from `out` on) allows it.
HWY_INLINE void StoreLow3Bytes(V32 colours, const LaneOrder& packedLanes, std::uint8_t* out,
                               std::size_t room) {
  const D32 d;
  const hn::Repartition<std::uint8_t, D32> d8;
  alignas(16) static constexpr std::uint8_t kInBlock[16] = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 3, 7, 11, 15};
  const auto packed = hn::TableLookupBytes(hn::BitCast(d8, colours), hn::LoadDup128(d8, kInBlock));
  const auto bytes = hn::BitCast(d8, hn::TableLookupLanes(hn::BitCast(d, packed), packedLanes));
  const std::size_t size = hn::Lanes(d8);
  if (room >= size) {
    hn::StoreU(bytes, d8, out);
    return;
  }
  HWY_ALIGN std::uint8_t staged[HWY_MAX_BYTES];
  hn::Store(bytes, d8, staged);
  std::memcpy(out, staged, size / 4 * 3);
}

inline void DepthRgb888Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                           std::size_t f) {
  std::size_t done = 0;
  if (f <= kMaxVectorFactor) {
    const std::size_t n = hn::Lanes(D32());
    const LaneOrder packedLanes = PackedLanes();
    const DepthLoader loader(f);
    done = ForVectors(count, n, loader.step(), loader.span(), 3, 3 * n, [&](std::size_t k) VIDEODEVICE_INLINE_LAMBDA {
      StoreLow3Bytes(RampColours(loader.load(in, k)), packedLanes, out + 3 * k, 3 * (count - k));
    });
  }
  if (done < count) plain::depthRgb888Row(in + 2 * f * done, out + 3 * done, count - done, f);
}

// --- grey --------------------------------------------------------------------

// max(depth - 400, 0) >> 4, keeping the low byte (deep values wrap around).
inline void DepthGreyRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                         std::size_t f) {
  std::size_t done = 0;
  if (f == 1 || f == 2) {
    // Whole 16-bit vectors: twice the pixels per instruction.
    const hn::ScalableTag<std::uint16_t> d16;
    const hn::RebindToSigned<decltype(d16)> di16;
    const hn::Rebind<std::uint8_t, decltype(d16)> d8;
    const std::size_t n = hn::Lanes(d16);
    const auto grey = [&](hn::Vec<decltype(d16)> depth) VIDEODEVICE_INLINE_LAMBDA {
      const auto shifted = hn::ShiftRight<4>(hn::SaturatedSub(depth, hn::Set(d16, 400)));
      return hn::DemoteTo(d8, hn::BitCast(di16, hn::And(shifted, hn::Set(d16, 0xFF))));
    };
    const auto* depths = reinterpret_cast<const std::uint16_t*>(in);
    if (f == 1) {
      done = ForVectors(count, n, 2, 2 * n, 1, n, [&](std::size_t k) VIDEODEVICE_INLINE_LAMBDA {
        hn::StoreU(grey(hn::LoadU(d16, depths + k)), d8, out + k);
      });
    } else {
      done = ForVectors(count, n, 4, 4 * n, 1, n, [&](std::size_t k) VIDEODEVICE_INLINE_LAMBDA {
        hn::Vec<decltype(d16)> sampled, skipped;
        hn::LoadInterleaved2(d16, depths + 2 * k, sampled, skipped);
        hn::StoreU(grey(sampled), d8, out + k);
      });
    }
  } else if (f <= kMaxVectorFactor) {
    const D32 d;
    const DepthLoader loader(f);
    const std::size_t n = hn::Lanes(d);
    done = ForVectors(count, n, loader.step(), loader.span(), 1, n, [&](std::size_t k) VIDEODEVICE_INLINE_LAMBDA {
      const V32 floor = hn::Set(d, 400u);
      const V32 shifted = hn::ShiftRight<4>(hn::Sub(hn::Max(loader.load(in, k), floor), floor));
      hn::StoreU(hn::DemoteTo(DU8(), hn::BitCast(DI32(), hn::And(shifted, hn::Set(d, 0xFFu)))), DU8(), out + k);
    });
  }
  if (done < count) plain::depthGreyRow(in + 2 * f * done, out + done, count - done, f);
}

// --- sampled copy --------------------------------------------------------------

inline void Depth16Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t f) {
  if (f == 1) {
    std::memcpy(out, in, 2 * count);
    return;
  }
  std::size_t done = 0;
  auto* depths = reinterpret_cast<std::uint16_t*>(out);
  if (f == 2) {
    const hn::ScalableTag<std::uint16_t> d16;
    const std::size_t n = hn::Lanes(d16);
    const auto* source = reinterpret_cast<const std::uint16_t*>(in);
    done = ForVectors(count, n, 4, 4 * n, 2, 2 * n, [&](std::size_t k) VIDEODEVICE_INLINE_LAMBDA {
      hn::Vec<decltype(d16)> sampled, skipped;
      hn::LoadInterleaved2(d16, source + 2 * k, sampled, skipped);
      hn::StoreU(sampled, d16, depths + k);
    });
  } else if (f <= kMaxVectorFactor) {
    const DepthLoader loader(f);
    const std::size_t n = hn::Lanes(D32());
    done = ForVectors(count, n, loader.step(), loader.span(), 2, 2 * n, [&](std::size_t k) VIDEODEVICE_INLINE_LAMBDA {
      hn::StoreU(hn::DemoteTo(DU16(), hn::BitCast(DI32(), loader.load(in, k))), DU16(), depths + k);
    });
  }
  if (done < count) plain::depth16Row(in + 2 * f * done, out + 2 * done, count - done, f);
}

// --- distances -----------------------------------------------------------------

inline void DepthDistanceRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                             std::size_t f, std::size_t column, const FactorRow& factors) {
  std::size_t done = 0;
  const std::size_t step = factors.step;
  // Table indices up to (column + count - 1) x step, in 32-bit lanes.
  const bool indicesFit = column + count - 1 <= kMaxIndex && (step == 0 || (column + count - 1) <= kMaxIndex / step);
  if (f <= kMaxVectorFactor && indicesFit) {
    const DF32 df;
    const DI32 di;
    const std::size_t n = hn::Lanes(df);
    const float* table = factors.factors;
    const std::size_t last = HWY_MIN(factors.last, kMaxIndex);
    // The factors of columns c .. c + n - 1: every first, second, third or
    // fourth entry while no index reaches the last one, else gathered and
    // clamped.
    const auto factorsAt = [&](std::size_t c) VIDEODEVICE_INLINE_LAMBDA {
      const bool inside = step != 0 && step * (c + n) - 1 <= last;
      VF32 sampled, skipped, skipped2, skipped3;
      if (inside && step == 1) return hn::LoadU(df, table + c);
      if (inside && step == 2) {
        hn::LoadInterleaved2(df, table + 2 * c, sampled, skipped);
        return sampled;
      }
      if (inside && step == 3) {
        hn::LoadInterleaved3(df, table + 3 * c, sampled, skipped, skipped2);
        return sampled;
      }
      if (inside && step == 4) {
        hn::LoadInterleaved4(df, table + 4 * c, sampled, skipped, skipped2, skipped3);
        return sampled;
      }
      const VI32 columns = hn::Iota(di, static_cast<std::int32_t>(c));
      const VI32 index = hn::Min(hn::Mul(columns, hn::Set(di, static_cast<std::int32_t>(step))),
                                 hn::Set(di, static_cast<std::int32_t>(last)));
      return hn::GatherIndex(df, table, index);
    };
    const DepthLoader loader(f);
    auto* distances = reinterpret_cast<std::uint16_t*>(out);
    done = ForVectors(count, n, loader.step(), loader.span(), 2, 2 * n, [&](std::size_t k) VIDEODEVICE_INLINE_LAMBDA {
      const VF32 depth = hn::ConvertTo(df, hn::BitCast(di, loader.load(in, k)));
      const VF32 corrected = hn::Add(hn::Mul(depth, factorsAt(column + k)), hn::Set(df, 0.5f));
      // Within +-2^31 truncating in 32 bits keeps the same low 16 bits as in
      // 64; NaN and larger values (no real table makes them) take the plain
      // formula.
      if (hn::AllTrue(df, hn::Lt(hn::Abs(corrected), hn::Set(df, 2147483648.0f)))) {
        const VI32 whole = hn::And(hn::ConvertTo(di, corrected), hn::Set(di, 0xFFFF));
        hn::StoreU(hn::DemoteTo(DU16(), whole), DU16(), distances + k);
      } else {
        plain::depthDistanceRow(in + 2 * f * k, out + 2 * k, n, f, column + k, factors);
      }
    });
  }
  if (done < count) {
    plain::depthDistanceRow(in + 2 * f * done, out + 2 * done, count - done, f, column + done, factors);
  }
}

// --- 3D points -----------------------------------------------------------------

inline void DepthPointsRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                           std::size_t f, std::size_t column, std::size_t row,
                           const PointFrame& frame) {
  std::size_t done = 0;
  // Columns count in 32-bit lanes; converted to float they round to nearest,
  // as the plain row's 64-bit ones do.
  if (f <= kMaxVectorFactor && count != 0 && column + count - 1 <= kMaxIndex) {
    const DF32 df;
    const DI32 di;
    const std::size_t n = hn::Lanes(df);
    const float j = static_cast<float>(static_cast<std::uint64_t>(row));
    const VF32 upward = hn::Set(df, 0.5f - j / frame.height);
    const VF32 width = hn::Set(df, frame.width);
    const VF32 half = hn::Set(df, 0.5f);
    const VF32 twiceH = hn::Set(df, frame.twiceH);
    const VF32 twiceV = hn::Set(df, frame.twiceV);
    const DepthLoader loader(f);
    done = ForVectors(count, n, loader.step(), loader.span(), 12, 12 * n, [&](std::size_t k) VIDEODEVICE_INLINE_LAMBDA {
      const VF32 z = hn::ConvertTo(df, hn::BitCast(di, loader.load(in, k)));
      const VF32 i = hn::ConvertTo(df, hn::Iota(di, static_cast<std::int32_t>(column + k)));
      const VF32 left = hn::Neg(hn::Mul(hn::Mul(hn::Sub(hn::Div(i, width), half), z), twiceH));
      const VF32 up = hn::Mul(hn::Mul(upward, z), twiceV);
      hn::StoreInterleaved3(z, left, up, df, reinterpret_cast<float*>(out + 12 * k));
    });
  }
  if (done < count) {
    plain::depthPointsRow(in + 2 * f * done, out + 12 * done, count - done, f, column + done, row, frame);
  }
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace depthrows

using depthrows::Depth16Row;
using depthrows::DepthDistanceRow;
using depthrows::DepthGreyRow;
using depthrows::DepthPointsRow;
using depthrows::DepthRgb888Row;

}  // namespace HWY_NAMESPACE
}  // namespace conversion
}  // namespace videoDevice
HWY_AFTER_NAMESPACE();

#endif  // include guard toggle
