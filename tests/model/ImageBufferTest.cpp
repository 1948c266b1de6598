#include <cstring>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <tuple>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <videodevice/ImageBuffer.h>

namespace videoDevice {
namespace {

TEST(ImageBuffer, AllocatesLazilyAndKeepsItsBlockUnlessMoreRoomIsNeeded) {
  ImageBuffer buffer("cam", Resolution(640, 480), ColorSpace::YUV_422, true);
  const unsigned char* block = static_cast<const ImageBuffer&>(buffer).getData();  // the const getter allocates too
  ASSERT_NE(block, nullptr);
  std::memset(buffer.getData(), 7, 640 * 480 * 2);  // the whole block is usable (ASan checks)
  buffer.setColorSpace(ColorSpace::Y_8);            // shallower and smaller: block kept
  buffer.setResolution(Resolution(320, 240));
  EXPECT_EQ(buffer.getData(), block);

  buffer.setResolution(Resolution(640, 480));
  buffer.setColorSpace(ColorSpace::RGB_888);  // deeper: block dropped and regrown
  std::memset(buffer.getData(), 1, 640 * 480 * 3);
  // More pixels: the block grows per dimension (640 x 1000), so 640 x 1000 fits in it.
  buffer.setResolution(Resolution(320, 1000));
  unsigned char* tall = buffer.getData();
  std::memset(tall, 2, 640 * 1000 * 3);
  buffer.setResolution(Resolution(640, 1000));
  EXPECT_EQ(buffer.getData(), tall);
}

TEST(ImageBuffer, RefusesSizesNoMemoryCanHoldBeforeAllocating) {
  // 2^33 x 3 x 2^31 pixels of three bytes: 2^66 bytes, 0 once wrapped in 64 bits.
  const Resolution wraps(1ull << 33, 3ull << 31);
  EXPECT_THROW(ImageBuffer("cam", wraps, ColorSpace::RGB_888, true), std::invalid_argument);
  // No bytes, but converters multiply the pixel count by their own depth.
  EXPECT_THROW(ImageBuffer("cam", Resolution(1ull << 40, 1ull << 40), ColorSpace::UNKNOWN, true),
               std::invalid_argument);
  ImageBuffer buffer("cam", Resolution(4, 2), ColorSpace::RGB_888, true);
  const unsigned char* block = buffer.getData();
  EXPECT_THROW(buffer.setResolution(wraps), std::invalid_argument);
  EXPECT_EQ(buffer.getResolution(), Resolution(4, 2));
  EXPECT_EQ(buffer.getData(), block);
  // Very wide, then very tall: the per-dimension growth would not fit, the size alone does.
  ImageBuffer wide("cam", Resolution(1ull << 59, 1), ColorSpace::UNKNOWN, true);
  EXPECT_NO_THROW(wide.setResolution(Resolution(1, (1ull << 59) + 1)));
  // OpenCV counts rows and columns in int: no header rather than a truncated one.
  unsigned char row[16] = {};
  ImageBuffer wider("cam", Resolution(1ull << 31, 1), ColorSpace::Y_8, false);
  wider.setData(row);
  EXPECT_TRUE(ImageBuffer::imageBufferToCvMat(wider).empty());
}

TEST(ImageBuffer, SetDataOwnershipRule) {
  ImageBuffer wrapper("cam", Resolution(4, 4), ColorSpace::Y_8, false);
  EXPECT_EQ(wrapper.getData(), nullptr);  // a wrapper has no block until it is given one
  // An owning buffer that already allocated frees its block and stops owning:
  // growing must neither free nor replace the caller's memory.
  ImageBuffer owning("cam", Resolution(2, 2), ColorSpace::Y_8, true);
  owning.getData();
  unsigned char stackMemory[4] = {};
  owning.setData(stackMemory);
  owning.setResolution(Resolution(8, 8));
  EXPECT_EQ(owning.getData(), stackMemory);

  // Kept on purpose: an owning buffer that had not allocated yet adopts the
  // block and frees it with delete[] (LeakSanitizer would flag a leak).
  auto adopted = std::make_unique<ImageBuffer>("cam", Resolution(2, 2), ColorSpace::Y_8, true);
  adopted->setData(new unsigned char[4]);
  adopted->setResolution(Resolution(4, 4));  // drops (frees) the adopted block
  EXPECT_NE(adopted->getData(), nullptr);    // and allocates its own again
}

TEST(ImageBuffer, PrintsMatchesAndWrapsAsAMatrixWithoutCopy) {
  ImageBuffer yuv("cam", Resolution(320, 240), ColorSpace::YUV_422, true);
  std::ostringstream out;
  out << yuv;
  EXPECT_EQ(out.str(), "320x240@YUV_422");
  // Preferences match on resolution and colour space only.
  EXPECT_TRUE(yuv.isPreferencesValid(CameraPreferences(Resolution(320, 240), ColorSpace::YUV_422, 5)));
  EXPECT_FALSE(yuv.isPreferencesValid(CameraPreferences(Resolution(320, 200), ColorSpace::YUV_422, 5)));
  EXPECT_FALSE(yuv.isPreferencesValid(CameraPreferences(Resolution(320, 240), ColorSpace::Y_8, 5)));

  const struct {
    ColorSpace colorSpace;
    int type;  // -1: empty matrix
  } cases[] = {
      {ColorSpace::YUV_422, CV_8UC2},       {ColorSpace::DEPTH_16, CV_16UC1},   {ColorSpace::INFRARED_16, CV_16UC1},
      {ColorSpace::RAW_DEPTH_16, CV_16UC1}, {ColorSpace::Y_8, CV_8UC1},         {ColorSpace::RGB_888, CV_8UC3},
      {ColorSpace::ARGB_8888, CV_8UC4},     {ColorSpace::YYCBCR_8888, CV_8UC4}, {ColorSpace::XYZ_323232, CV_32FC3},
      {ColorSpace::DISTANCE_32, CV_32FC1},  {ColorSpace::NV12_420, -1},         {ColorSpace::UNKNOWN, -1},
  };
  for (const auto& c : cases) {
    ImageBuffer buffer("cam", Resolution(8, 4), c.colorSpace, true);
    const cv::Mat m = ImageBuffer::imageBufferToCvMat(buffer);
    if (c.type < 0)
      EXPECT_TRUE(m.empty()) << c.colorSpace;
    else
      EXPECT_EQ(std::make_tuple(m.type(), m.rows, m.cols, m.data), std::make_tuple(c.type, 4, 8, buffer.getData()))
          << c.colorSpace;
  }
}

}  // namespace
}  // namespace videoDevice
