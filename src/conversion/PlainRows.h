#pragma once
// The reference rows (see RowKernels.h), and the per-pixel formulas of the hue
// family that the fast rows build their tables from.

#include <cstddef>
#include <cstdint>

namespace videoDevice {
namespace conversion {

struct FactorRow;
struct PointFrame;

namespace plain {

#define VIDEODEVICE_ROW(name) \
  void name(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t factor)

VIDEODEVICE_ROW(rgb888Row);
VIDEODEVICE_ROW(bgr888Row);
VIDEODEVICE_ROW(r8Row);
VIDEODEVICE_ROW(g8Row);
VIDEODEVICE_ROW(b8Row);
VIDEODEVICE_ROW(fullRedRow);
VIDEODEVICE_ROW(fullGreenRow);
VIDEODEVICE_ROW(fullBlueRow);
VIDEODEVICE_ROW(y8Row);
VIDEODEVICE_ROW(u8Row);
VIDEODEVICE_ROW(v8Row);
VIDEODEVICE_ROW(yuv422Row);
VIDEODEVICE_ROW(yuv888Row);
VIDEODEVICE_ROW(yyCbCrRow);
VIDEODEVICE_ROW(h8Row);
VIDEODEVICE_ROW(s8Row);
VIDEODEVICE_ROW(hsy888Row);
VIDEODEVICE_ROW(hsMixed888Row);
VIDEODEVICE_ROW(h2RgbRow);

// Depth rows: output pixel x from the 16-bit input pixel x x factor.
VIDEODEVICE_ROW(depthRgb888Row);
VIDEODEVICE_ROW(depthGreyRow);

#undef VIDEODEVICE_ROW

// Hue of a group's chroma bytes, saturation of one of its pixels, and the
// fully saturated colour of a hue as bytes blue, green, red.
std::uint8_t hue(int u, int v);
std::uint8_t saturation(int y, int u, int v);
void hueColour(std::uint8_t h, std::uint8_t* bgr);

// The depth colour ramp (red, green, blue) and grey of one depth.
void depthRampColour(std::uint16_t depth, std::uint8_t* rgb);
std::uint8_t depthGrey(std::uint16_t depth);

// The depth rows with frame arguments (see RowKernels.h), and the sampled copy.
void depth16Row(const std::uint8_t* in, std::uint8_t* out, std::size_t count, std::size_t factor);
void depthDistanceRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                      std::size_t factor, std::size_t column, const FactorRow& factors);
void depthPointsRow(const std::uint8_t* in, std::uint8_t* out, std::size_t count,
                    std::size_t factor, std::size_t column, std::size_t row,
                    const PointFrame& frame);

}  // namespace plain
}  // namespace conversion
}  // namespace videoDevice
