#include "videodevice/Types.h"

#include <map>
#include <string>
#include <utility>

namespace videoDevice {
namespace {

// Builds an ordered map from rows given in ascending key order, inserting each
// with a hint at the end.
template <typename Key, typename Value, std::size_t N>
std::map<Key, Value> makeTable(const std::pair<Key, Value> (&rows)[N]) {
  std::map<Key, Value> table;
  for (const auto& row : rows) table.emplace_hint(table.end(), row.first, row.second);
  return table;
}

struct ColorSpaceRow {
  ColorSpace colorSpace;
  const char* name;
  std::uint64_t depth;
  std::uint64_t channels;
};

// One row per colour space, kept as the format is used, not as it would be
// ideal: NV12_420 counts one byte per pixel (the chroma plane is not counted)
// and YUV_422 counts three channels in two bytes.
constexpr ColorSpaceRow kColorSpaces[] = {
    {ColorSpace::YUV_422, "YUV_422", 2, 3},
    {ColorSpace::DEPTH_16, "DEPTH_16", 2, 1},
    {ColorSpace::Y_8, "Y_8", 1, 1},
    {ColorSpace::RGB_888, "RGB_888", 3, 3},
    {ColorSpace::BGR_888, "BGR_888", 3, 3},
    {ColorSpace::NV12_420, "NV12_420", 1, 3},
    {ColorSpace::YUV_888, "YUV_888", 3, 3},
    {ColorSpace::HSY_888, "HSY_888", 3, 3},
    {ColorSpace::HSMIXED_888, "HSMIXED_888", 3, 3},
    {ColorSpace::U_8, "U_8", 1, 1},
    {ColorSpace::V_8, "V_8", 1, 1},
    {ColorSpace::H_8, "H_8", 1, 1},
    {ColorSpace::S_8, "S_8", 1, 1},
    {ColorSpace::ARGB_8888, "ARGB_8888", 4, 4},
    {ColorSpace::R_8, "R_8", 1, 1},
    {ColorSpace::G_8, "G_8", 1, 1},
    {ColorSpace::B_8, "B_8", 1, 1},
    {ColorSpace::YYCBCR_8888, "YYCBCR_8888", 4, 4},
    {ColorSpace::H2RGB_888, "H2RGB_888", 3, 3},
    {ColorSpace::LAB_888, "LAB_888", 3, 3},
    {ColorSpace::INFRARED_16, "INFRARED_16", 2, 1},
    {ColorSpace::RAW_DEPTH_16, "RAW_DEPTH_16", 2, 1},
    {ColorSpace::XYZ_323232, "XYZ_323232", 12, 3},
    {ColorSpace::DISTANCE_32, "DISTANCE_32", 4, 1},
    {ColorSpace::UNKNOWN, "UNKNOWN", 0, 0},
};

constexpr const char* kParameterNames[] = {
    "TEST_PATTERN",
    "BRIGHTNESS",
    "CONTRAST",
    "SATURATION",
    "HUE",
    "RED_CHROMA",
    "BLUE_CHROMA",
    "GAIN",
    "HORIZONTAL_FLIP",
    "VERTICAL_FLIP",
    "LENS_X",
    "LENS_Y",
    "AUTO_FOCUS",
    "AUTO_EXPOSITION",
    "AUTO_WHITE_BALANCE",
    "AUTO_GAIN",
    "BUFFER_SIZE",
    "EXPOSURE",
    "SET_DEFAULT_PARAMS",
    "EXPOSURE_CORRECTION",
    "EXPOSURE_METERING",
    "SHARPNESS",
    "AUTO_WHITE_BALANCE_GREEN_GAIN",
    "AUTO_BLACK_LEVEL_COMPENSATION",
    "AUTO_BLACK_LEVEL_COMPENSATION_STABLE_RANGE",
    "AUTO_BLACK_LEVEL_TARGET",
    "BLACK_LEVEL_COMPENSATION_BLUE",
    "BLACK_LEVEL_COMPENSATION_RED",
    "BLACK_LEVEL_COMPENSATION_GREEN_BLUE",
    "BLACK_LEVEL_COMPENSATION_GREEN_RED",
    "WHITE_BALANCE",
    "BACK_LIGHT_COMPENSATION",
    "KEEP_ALIVE",
    "DEPTH_CONFIDENCE_THRESHOLD",
    "DEPTH_FAST_FILTER",
    "TEMPERATURE",
    "AVERAGE_LUMINANCE",
    "SYNCHRONISATION",
    "DISPARITY_WINDOW_SIZE",
    "FOCUS",
    "INVALID",
};

// The four tables are built on first use, which also makes them safe to read
// from other libraries' static initialisers.
template <typename Value, typename Field>
std::map<ColorSpace, Value> colorSpaceTable(Field field) {
  std::pair<ColorSpace, Value> rows[std::size(kColorSpaces)];
  for (std::size_t i = 0; i < std::size(kColorSpaces); ++i)
    rows[i] = {kColorSpaces[i].colorSpace, field(kColorSpaces[i])};
  return makeTable(rows);
}

const std::map<ColorSpace, std::string>& colorSpaceNames() {
  static const auto table =
      colorSpaceTable<std::string>([](const ColorSpaceRow& row) { return std::string(row.name); });
  return table;
}

const std::map<ColorSpace, std::uint64_t>& colorSpaceDepths() {
  static const auto table =
      colorSpaceTable<std::uint64_t>([](const ColorSpaceRow& row) { return row.depth; });
  return table;
}

const std::map<ColorSpace, std::uint64_t>& colorSpaceChannels() {
  static const auto table =
      colorSpaceTable<std::uint64_t>([](const ColorSpaceRow& row) { return row.channels; });
  return table;
}

const std::map<Parameter, std::string>& parameterNames() {
  static const auto table = [] {
    std::pair<Parameter, std::string> rows[std::size(kParameterNames)];
    for (std::size_t i = 0; i < std::size(kParameterNames); ++i)
      rows[i] = {static_cast<Parameter>(i), kParameterNames[i]};
    return makeTable(rows);
  }();
  return table;
}

template <typename Key, typename Value>
Value lookUp(const std::map<Key, Value>& table, const Key& key, const Value& fallback) {
  const auto it = table.find(key);
  return it == table.end() ? fallback : it->second;
}

}  // namespace

const Resolution Resolution::VGA(640, 480);

std::uint64_t getColorSpaceDepth(const ColorSpace& colorSpace) {
  return lookUp(colorSpaceDepths(), colorSpace, std::uint64_t{0});
}

std::uint64_t getColorSpaceChannel(const ColorSpace& colorSpace) {
  return lookUp(colorSpaceChannels(), colorSpace, std::uint64_t{0});
}

std::ostream& operator<<(std::ostream& out, const ColorSpace& colorSpace) {
  const auto& names = colorSpaceNames();
  const auto it = names.find(colorSpace);
  return out << (it == names.end() ? std::string("UNKNOWN") : it->second);
}

std::ostream& operator<<(std::ostream& out, const Parameter& parameter) {
  const auto& names = parameterNames();
  const auto it = names.find(parameter);
  return out << (it == names.end() ? std::string("INVALID") : it->second);
}

}  // namespace videoDevice
