// The distance converter fixes its table width on the first call of the
// process. This program holds that one test alone, so the first call is known.

#include <algorithm>
#include <cstdint>
#include <functional>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <videodevice/Camera3D.h>

#include "conversion/Camera3DTestImages.h"

namespace videoDevice {
namespace {

using namespace test::depth;

float entry(int row, int column) { return 1.0f + 0.0005f * row + 0.002f * column; }
std::uint16_t depthAt(std::uint64_t x, std::uint64_t y) { return std::uint16_t(500 + (x * 37 + y * 11) % 3000); }

// Converts a depth frame of this size with a rows x columns table and checks
// every pixel against entry(min(y, last row), tableColumn(x)).
void expectDistances(Resolution size, int rows, int columns, const std::function<int(int)>& tableColumn) {
  cv::Mat table(rows, columns, CV_32FC1);
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < columns; ++c) table.at<float>(r, c) = entry(r, c);
  const auto output = makeFilled(size, ColorSpace::DISTANCE_32, 0xAB);
  Camera3D::convert3DImage(CameraPreferences(size, ColorSpace::DISTANCE_32, 30),
                           makeImage(size, ColorSpace::DEPTH_16, depthAt), output, table);
  for (int y = 0; y < int(size.height); ++y)
    for (int x = 0; x < int(size.width); ++x)
      ASSERT_EQ(read16(*output, y * size.width + x),
                std::uint16_t(std::int64_t(depthAt(x, y) * entry(std::min(y, rows - 1), tableColumn(x)) + 0.5f)))
          << size.width << "x" << size.height << " at " << x << "," << y;
}

TEST(Camera3DDistanceWidth, FirstTableFixesTheWidthForTheProcess) {
  // First call: 320 columns for a 320-wide frame, one entry per column.
  expectDistances({320, 240}, 240, 320, [](int x) { return x; });
  // A 640-column table keeps the step of 320 / 320 = 1: column x, not 2x.
  expectDistances({320, 240}, 240, 640, [](int x) { return x; });
  // A 160-wide frame steps by 320 / 160 = 2 through the table.
  expectDistances({160, 120}, 240, 640, [](int x) { return 2 * x; });
  // Past the end of a narrower, shorter table: its last column and last row.
  expectDistances({160, 120}, 50, 100, [](int x) { return std::min(2 * x, 99); });
  // A frame wider than the fixed width steps by 0: every pixel reads column 0.
  expectDistances({640, 480}, 480, 640, [](int) { return 0; });
}

}  // namespace
}  // namespace videoDevice
