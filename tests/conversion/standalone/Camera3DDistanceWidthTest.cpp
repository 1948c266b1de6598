// The distance converter fixes its table width on the first call of the
// process. This program holds that one test alone, so the first call is known
// whether the test runs on its own or with the whole binary.

#include <algorithm>
#include <cstdint>
#include <memory>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <videodevice/Camera3D.h>

#include "conversion/Camera3DTestImages.h"

namespace videoDevice {
namespace {

using namespace test::depth;

float entry(int row, int column) { return 1.0f + 0.0005f * row + 0.002f * column; }

cv::Mat makeTable(int rows, int columns) {
  cv::Mat table(rows, columns, CV_32FC1);
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < columns; ++c) table.at<float>(r, c) = entry(r, c);
  return table;
}

std::uint16_t depthAt(std::uint64_t x, std::uint64_t y) {
  return static_cast<std::uint16_t>(500 + (x * 37 + y * 11) % 3000);
}

// Converts a depth frame of this size and checks every pixel against the
// table entry tableColumn(x) of row min(y, last row).
template <typename Column>
void expectDistances(Resolution size, const cv::Mat& table, Column tableColumn) {
  const auto input = makeImage(size, ColorSpace::DEPTH_16, depthAt);
  const auto output = makeFilled(size, ColorSpace::DISTANCE_32, 0xAB);
  Camera3D::convert3DImage(CameraPreferences(size, ColorSpace::DISTANCE_32, 30), input, output,
                           table);
  for (std::uint64_t y = 0; y < size.height; ++y)
    for (std::uint64_t x = 0; x < size.width; ++x) {
      const int row = std::min(static_cast<int>(y), table.rows - 1);
      const float factor = entry(row, tableColumn(x));
      const auto expected =
          static_cast<std::uint16_t>(static_cast<std::int64_t>(depthAt(x, y) * factor + 0.5f));
      ASSERT_EQ(read16(*output, y * size.width + x), expected)
          << size.width << "x" << size.height << " at " << x << "," << y;
    }
}

TEST(Camera3DDistanceWidth, FirstTableFixesTheWidthForTheProcess) {
  // First call: 320 columns for a 320-wide frame, one entry per column.
  expectDistances({320, 240}, makeTable(240, 320), [](std::uint64_t x) { return int(x); });
  // A 640-column table keeps the step of 320 / 320 = 1: column x, not 2x.
  expectDistances({320, 240}, makeTable(240, 640), [](std::uint64_t x) { return int(x); });
  // A 160-wide frame steps by 320 / 160 = 2 through the table.
  expectDistances({160, 120}, makeTable(240, 640), [](std::uint64_t x) { return int(2 * x); });
  // A table narrower (and shorter) than the fixed width: entries past its end
  // repeat its last column and last row.
  expectDistances({160, 120}, makeTable(50, 100),
                  [](std::uint64_t x) { return int(std::min<std::uint64_t>(2 * x, 99)); });
  // A frame wider than the fixed width steps by 0: every pixel reads column 0.
  expectDistances({640, 480}, makeTable(480, 640), [](std::uint64_t) { return 0; });
}

}  // namespace
}  // namespace videoDevice
