// The one dispatch point of the row kernels.
//
// The fast rows are written once against Google Highway's portable vector
// types and compiled here for every instruction set Highway targets on this
// architecture (SSSE3, SSE4, AVX2 and AVX-512 on x86; NEON and SVE on ARM),
// plus a one-lane fallback that keeps the plain rows. At first use Highway
// picks the best one the CPU runs.
// Highway rather than hand-written intrinsics: one source serves every x86
// generation and the ARM boards robots run on, it is a Debian package, and
// its interleaved loads and stores are exactly the shape of YUYV and RGB.
//
// This file is compiled once per target: foreach_target.h includes it again
// for each, with HWY_NAMESPACE naming that target.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "conversion/simd/Kernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "conversion/PlainRows.h"
#include "conversion/RgbToYuv422.h"
#include "conversion/RowKernels.h"
#include "conversion/simd/DepthRows-inl.h"
#include "conversion/simd/HueRows-inl.h"
#include "conversion/simd/PushRows-inl.h"
#include "conversion/simd/Rows2D-inl.h"

HWY_BEFORE_NAMESPACE();
namespace videoDevice {
namespace conversion {
namespace HWY_NAMESPACE {

const Kernels* TargetKernels() {
  static const Kernels compiled{
      hwy::TargetName(HWY_TARGET),
      Rows2D{Rgb888Row, Bgr888Row, R8Row, G8Row, B8Row, FullRedRow, FullGreenRow, FullBlueRow,
             Y8Row, U8Row, V8Row, Yuv422Row, Yuv888Row, YyCbCrRow, H8Row, S8Row, Hsy888Row,
             HsMixed888Row, H2RgbRow},
      DepthRows{DepthRgb888Row, DepthGreyRow, Depth16Row, DepthDistanceRow, DepthPointsRow},
      PushRows{RgbPairsToYuv422, RgbPixelsToMacropixels}};
  return &compiled;
}

}  // namespace HWY_NAMESPACE
}  // namespace conversion
}  // namespace videoDevice
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace videoDevice {
namespace conversion {

HWY_EXPORT(TargetKernels);

const Kernels& kernels() {
  static const Kernels* const chosen = HWY_DYNAMIC_DISPATCH(TargetKernels)();
  return *chosen;
}

const Kernels& chosenTargetKernels() { return *HWY_DYNAMIC_DISPATCH(TargetKernels)(); }

const Kernels& plainKernels() {
  static const Kernels reference{
      "plain",
      Rows2D{plain::rgb888Row, plain::bgr888Row, plain::r8Row, plain::g8Row, plain::b8Row,
             plain::fullRedRow, plain::fullGreenRow, plain::fullBlueRow, plain::y8Row,
             plain::u8Row, plain::v8Row, plain::yuv422Row, plain::yuv888Row, plain::yyCbCrRow,
             plain::h8Row, plain::s8Row, plain::hsy888Row, plain::hsMixed888Row,
             plain::h2RgbRow},
      DepthRows{plain::depthRgb888Row, plain::depthGreyRow, plain::depth16Row,
                plain::depthDistanceRow, plain::depthPointsRow},
      PushRows{rgbPairsToYuv422Plain, rgbPixelsToMacropixelsPlain}};
  return reference;
}

}  // namespace conversion
}  // namespace videoDevice
#endif  // HWY_ONCE
