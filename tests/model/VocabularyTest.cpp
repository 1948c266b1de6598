#include <set>
#include <sstream>
#include <string>

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

struct ColorSpaceRow {
  int value;
  const char* name;
  std::uint64_t depth;
  std::uint64_t channels;
};

// The table as the format documentation states it, irregular rows included.
const ColorSpaceRow kExpectedColorSpaces[] = {
    {0, "YUV_422", 2, 3},       {1, "DEPTH_16", 2, 1},      {2, "Y_8", 1, 1},
    {3, "RGB_888", 3, 3},       {4, "BGR_888", 3, 3},       {5, "NV12_420", 1, 3},
    {6, "YUV_888", 3, 3},       {7, "HSY_888", 3, 3},       {8, "HSMIXED_888", 3, 3},
    {9, "U_8", 1, 1},           {10, "V_8", 1, 1},          {11, "H_8", 1, 1},
    {12, "S_8", 1, 1},          {13, "ARGB_8888", 4, 4},    {14, "R_8", 1, 1},
    {15, "G_8", 1, 1},          {16, "B_8", 1, 1},          {17, "YYCBCR_8888", 4, 4},
    {18, "H2RGB_888", 3, 3},    {19, "LAB_888", 3, 3},      {20, "INFRARED_16", 2, 1},
    {21, "RAW_DEPTH_16", 2, 1}, {22, "XYZ_323232", 12, 3},  {23, "DISTANCE_32", 4, 1},
    {24, "UNKNOWN", 0, 0},
};

const char* const kExpectedParameters[] = {
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

TEST(Vocabulary, EveryColorSpaceHasItsNameDepthAndChannels) {
  ASSERT_EQ(std::size(kExpectedColorSpaces), 25u);
  for (const auto& row : kExpectedColorSpaces) {
    const auto colorSpace = static_cast<ColorSpace>(row.value);
    SCOPED_TRACE(row.name);
    EXPECT_EQ(print(colorSpace), row.name);
    EXPECT_EQ(getColorSpaceDepth(colorSpace), row.depth);
    EXPECT_EQ(getColorSpaceChannel(colorSpace), row.channels);
  }
  // Enumerators bear the names of their strings.
  EXPECT_EQ(static_cast<int>(ColorSpace::XYZ_323232), 22);
  EXPECT_EQ(print(ColorSpace::UNKNOWN), "UNKNOWN");
}

TEST(Vocabulary, EveryParameterPrintsItsName) {
  ASSERT_EQ(std::size(kExpectedParameters), 41u);
  for (int value = 0; value < 41; ++value)
    EXPECT_EQ(print(static_cast<Parameter>(value)), kExpectedParameters[value]) << value;
  EXPECT_EQ(static_cast<int>(Parameter::KEEP_ALIVE), 32);
  EXPECT_EQ(print(Parameter::INVALID), "INVALID");
}

TEST(Vocabulary, ValuesOutsideTheTablesPrintAsNotSet) {
  EXPECT_EQ(print(static_cast<ColorSpace>(25)), "UNKNOWN");
  EXPECT_EQ(print(static_cast<ColorSpace>(-1)), "UNKNOWN");
  EXPECT_EQ(getColorSpaceDepth(static_cast<ColorSpace>(99)), 0u);
  EXPECT_EQ(getColorSpaceChannel(static_cast<ColorSpace>(99)), 0u);
  EXPECT_EQ(print(static_cast<Parameter>(41)), "INVALID");
}

TEST(Resolution, ProductOrderTreatsIncomparableSizesAsEquivalent) {
  const Resolution vga(640, 480);
  const Resolution tall(320, 960);
  EXPECT_FALSE(vga < tall);
  EXPECT_FALSE(tall < vga);
  EXPECT_TRUE(Resolution(320, 240) < vga);
  EXPECT_FALSE(Resolution(640, 240) < vga);  // smaller in one dimension only
  EXPECT_FALSE(vga == tall);
  EXPECT_TRUE(Resolution::VGA == vga);

  // An ordered set keeps the first of two incomparable sizes.
  std::set<Resolution> set{vga};
  EXPECT_FALSE(set.insert(tall).second);
  ASSERT_EQ(set.size(), 1u);
  EXPECT_EQ(set.begin()->width, 640u);
  EXPECT_EQ(set.count(Resolution(320, 960)), 1u);  // found as "equivalent"

  std::set<Resolution> reversed{tall, vga};
  EXPECT_EQ(reversed.begin()->height, 960u);
}

}  // namespace
}  // namespace videoDevice
