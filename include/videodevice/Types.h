#pragma once
// The image vocabulary shared by every part of the library: pixel formats,
// sizes, camera controls and their ranges, and the field of view.

#include <cstdint>
#include <ostream>

namespace videoDevice {

// Pixel formats. UNKNOWN means "not set".
enum class ColorSpace : std::int32_t {
  YUV_422 = 0,
  DEPTH_16 = 1,
  Y_8 = 2,
  RGB_888 = 3,
  BGR_888 = 4,
  NV12_420 = 5,
  YUV_888 = 6,
  HSY_888 = 7,
  HSMIXED_888 = 8,
  U_8 = 9,
  V_8 = 10,
  H_8 = 11,
  S_8 = 12,
  ARGB_8888 = 13,
  R_8 = 14,
  G_8 = 15,
  B_8 = 16,
  YYCBCR_8888 = 17,
  H2RGB_888 = 18,
  LAB_888 = 19,
  INFRARED_16 = 20,
  RAW_DEPTH_16 = 21,
  XYZ_323232 = 22,
  DISTANCE_32 = 23,
  UNKNOWN = 24
};

// Camera controls. INVALID marks the absence of a parameter.
enum class Parameter : std::int32_t {
  TEST_PATTERN = 0,
  BRIGHTNESS = 1,
  CONTRAST = 2,
  SATURATION = 3,
  HUE = 4,
  RED_CHROMA = 5,
  BLUE_CHROMA = 6,
  GAIN = 7,
  HORIZONTAL_FLIP = 8,
  VERTICAL_FLIP = 9,
  LENS_X = 10,
  LENS_Y = 11,
  AUTO_FOCUS = 12,
  AUTO_EXPOSITION = 13,
  AUTO_WHITE_BALANCE = 14,
  AUTO_GAIN = 15,
  BUFFER_SIZE = 16,
  EXPOSURE = 17,
  SET_DEFAULT_PARAMS = 18,
  EXPOSURE_CORRECTION = 19,
  EXPOSURE_METERING = 20,
  SHARPNESS = 21,
  AUTO_WHITE_BALANCE_GREEN_GAIN = 22,
  AUTO_BLACK_LEVEL_COMPENSATION = 23,
  AUTO_BLACK_LEVEL_COMPENSATION_STABLE_RANGE = 24,
  AUTO_BLACK_LEVEL_TARGET = 25,
  BLACK_LEVEL_COMPENSATION_BLUE = 26,
  BLACK_LEVEL_COMPENSATION_RED = 27,
  BLACK_LEVEL_COMPENSATION_GREEN_BLUE = 28,
  BLACK_LEVEL_COMPENSATION_GREEN_RED = 29,
  WHITE_BALANCE = 30,
  BACK_LIGHT_COMPENSATION = 31,
  KEEP_ALIVE = 32,
  DEPTH_CONFIDENCE_THRESHOLD = 33,
  DEPTH_FAST_FILTER = 34,
  TEMPERATURE = 35,
  AVERAGE_LUMINANCE = 36,
  SYNCHRONISATION = 37,
  DISPARITY_WINDOW_SIZE = 38,
  FOCUS = 39,
  INVALID = 40
};

// An image size in pixels.
//
// Ordered by the product order: a < b only when a is smaller in both
// dimensions. Sizes of which neither is smaller in both (640 x 480 and
// 320 x 960) are equivalent for ordered containers, which keep the first one
// inserted. The negotiation of native modes relies on this order.
struct Resolution {
  Resolution(std::uint64_t width = 0, std::uint64_t height = 0) : width(width), height(height) {}

  std::uint64_t width;
  std::uint64_t height;

  static const Resolution VGA;  // 640 x 480
};

inline bool operator==(const Resolution& a, const Resolution& b) {
  return a.width == b.width && a.height == b.height;
}
inline bool operator!=(const Resolution& a, const Resolution& b) { return !(a == b); }
inline bool operator<(const Resolution& a, const Resolution& b) {
  return a.width < b.width && a.height < b.height;
}

// The allowed values of a control: min + k * step, up to max.
struct ParameterInfo {
  std::int32_t min;
  std::int32_t max;
  std::int32_t step;
  std::int32_t defaultValue;
};

// Opening angles of a camera in radians, across the width and the height.
struct FieldOfView {
  float horizontal;
  float vertical;
};

// Bytes per pixel of a colour space (0 for UNKNOWN or an unlisted value).
std::uint64_t getColorSpaceDepth(const ColorSpace& colorSpace);
// Channels per pixel of a colour space (0 for UNKNOWN or an unlisted value).
std::uint64_t getColorSpaceChannel(const ColorSpace& colorSpace);

// Write the name of the colour space or parameter, e.g. RGB_888, BRIGHTNESS.
std::ostream& operator<<(std::ostream& out, const ColorSpace& colorSpace);
std::ostream& operator<<(std::ostream& out, const Parameter& parameter);

}  // namespace videoDevice
