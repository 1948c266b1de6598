#include <set>
#include <sstream>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include <videodevice/Types.h>

namespace videoDevice {
namespace {

template <typename T>
std::string print(const T& value) {
  std::ostringstream out;
  out << value;
  return out.str();
}

TEST(Vocabulary, EveryValuePrintsItsNameAndColorSpacesHaveTheirDepthAndChannels) {
  // Colour spaces by value, as the format documentation states them, irregular rows included.
  const struct {
    const char* name;
    std::uint64_t depth, channels;
  } colorSpaces[] = {
      {"YUV_422", 2, 3},     {"DEPTH_16", 2, 1},     {"Y_8", 1, 1},          {"RGB_888", 3, 3},
      {"BGR_888", 3, 3},     {"NV12_420", 1, 3},     {"YUV_888", 3, 3},      {"HSY_888", 3, 3},
      {"HSMIXED_888", 3, 3}, {"U_8", 1, 1},          {"V_8", 1, 1},          {"H_8", 1, 1},
      {"S_8", 1, 1},         {"ARGB_8888", 4, 4},    {"R_8", 1, 1},          {"G_8", 1, 1},
      {"B_8", 1, 1},         {"YYCBCR_8888", 4, 4},  {"H2RGB_888", 3, 3},    {"LAB_888", 3, 3},
      {"INFRARED_16", 2, 1}, {"RAW_DEPTH_16", 2, 1}, {"XYZ_323232", 12, 3},  {"DISTANCE_32", 4, 1},
      {"UNKNOWN", 0, 0},
  };
  for (int value = 0; value < int(std::size(colorSpaces)); ++value) {
    const auto colorSpace = static_cast<ColorSpace>(value);
    const auto& row = colorSpaces[value];
    EXPECT_EQ(std::make_tuple(print(colorSpace), getColorSpaceDepth(colorSpace), getColorSpaceChannel(colorSpace)),
              std::make_tuple(std::string(row.name), row.depth, row.channels));
  }
  const char* const parameters[] = {
      "TEST_PATTERN", "BRIGHTNESS", "CONTRAST", "SATURATION", "HUE", "RED_CHROMA", "BLUE_CHROMA",
      "GAIN", "HORIZONTAL_FLIP", "VERTICAL_FLIP", "LENS_X", "LENS_Y", "AUTO_FOCUS",
      "AUTO_EXPOSITION", "AUTO_WHITE_BALANCE", "AUTO_GAIN", "BUFFER_SIZE", "EXPOSURE",
      "SET_DEFAULT_PARAMS", "EXPOSURE_CORRECTION", "EXPOSURE_METERING", "SHARPNESS",
      "AUTO_WHITE_BALANCE_GREEN_GAIN", "AUTO_BLACK_LEVEL_COMPENSATION",
      "AUTO_BLACK_LEVEL_COMPENSATION_STABLE_RANGE", "AUTO_BLACK_LEVEL_TARGET",
      "BLACK_LEVEL_COMPENSATION_BLUE", "BLACK_LEVEL_COMPENSATION_RED",
      "BLACK_LEVEL_COMPENSATION_GREEN_BLUE", "BLACK_LEVEL_COMPENSATION_GREEN_RED", "WHITE_BALANCE",
      "BACK_LIGHT_COMPENSATION", "KEEP_ALIVE", "DEPTH_CONFIDENCE_THRESHOLD", "DEPTH_FAST_FILTER",
      "TEMPERATURE", "AVERAGE_LUMINANCE", "SYNCHRONISATION", "DISPARITY_WINDOW_SIZE", "FOCUS",
      "INVALID",
  };
  for (int value = 0; value < int(std::size(parameters)); ++value)
    EXPECT_EQ(print(static_cast<Parameter>(value)), parameters[value]) << value;

  // Values outside the tables print as the not-set value and have no size.
  EXPECT_EQ(print(static_cast<ColorSpace>(25)), "UNKNOWN");
  EXPECT_EQ(print(static_cast<ColorSpace>(-1)), "UNKNOWN");
  EXPECT_EQ(getColorSpaceDepth(static_cast<ColorSpace>(99)) + getColorSpaceChannel(static_cast<ColorSpace>(99)), 0u);
  EXPECT_EQ(print(static_cast<Parameter>(41)), "INVALID");
}

TEST(Resolution, ProductOrderTreatsIncomparableSizesAsEquivalent) {
  const Resolution vga(640, 480), tall(320, 960);
  EXPECT_FALSE(vga < tall || tall < vga || vga == tall);
  EXPECT_TRUE(Resolution(320, 240) < vga);
  EXPECT_FALSE(Resolution(640, 240) < vga);  // smaller in one dimension only
  // An ordered set keeps the first of two incomparable sizes and finds the other in it.
  const std::set<Resolution> set{vga, tall}, reversed{tall, vga};
  ASSERT_EQ(set.size(), 1u);
  EXPECT_EQ(set.begin()->width, 640u);
  EXPECT_EQ(set.count(tall), 1u);
  EXPECT_EQ(reversed.begin()->height, 960u);
}

}  // namespace
}  // namespace videoDevice
