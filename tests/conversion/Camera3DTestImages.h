#pragma once
// Builders and readers for 16-bit depth images, shared by the conversion and
// depth simulator tests.

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <tuple>

#include <gtest/gtest.h>
#include <lumo/Clock.h>
#include <videodevice/ImageBuffer.h>

namespace videoDevice {
namespace test {
namespace depth {

// An owning image of 16-bit pixels given by depthAt(x, y), stamped at 123 ms.
inline std::shared_ptr<ImageBuffer> makeImage(
    Resolution size, ColorSpace colorSpace,
    const std::function<std::uint16_t(std::uint64_t, std::uint64_t)>& depthAt,
    FieldOfView fieldOfView = FieldOfView{0.0f, 0.0f}, const std::string& cameraName = "depth",
    lumo::Clock::time_point stamp = lumo::Clock::time_point(lumo::Clock::duration(123000000))) {
  auto image = std::make_shared<ImageBuffer>(cameraName, size, colorSpace, true);
  for (std::uint64_t y = 0; y < size.height; ++y)
    for (std::uint64_t x = 0; x < size.width; ++x) {
      const std::uint16_t d = depthAt(x, y);
      std::memcpy(image->getData() + (y * size.width + x) * 2, &d, 2);
    }
  image->setTimeStamp(stamp);
  image->setFielOfView(fieldOfView);
  return image;
}

// An owning image whose whole block is set to one byte value.
inline std::shared_ptr<ImageBuffer> makeFilled(Resolution size, ColorSpace colorSpace,
                                               unsigned char fill) {
  auto image = std::make_shared<ImageBuffer>("depth", size, colorSpace, true);
  std::memset(image->getData(), fill, image->getSize());
  return image;
}

// The index-th 16-bit or 32-bit float value of the block.
inline std::uint16_t read16(const ImageBuffer& image, std::uint64_t index) {
  std::uint16_t value;
  std::memcpy(&value, image.getData() + index * 2, 2);
  return value;
}
inline float readFloat(const ImageBuffer& image, std::uint64_t index) {
  float value;
  std::memcpy(&value, image.getData() + index * 4, 4);
  return value;
}

// A converted output: resized, re-typed and stamped with the input's time and field of view.
inline void expectPrepared(const ImageBuffer& o, const ImageBuffer& in, Resolution size, ColorSpace colorSpace) {
  EXPECT_EQ(std::make_tuple(o.getResolution().width, o.getResolution().height, o.getColorSpace(), o.getTimeStamp(),
                            o.getFieldOfView().horizontal, o.getFieldOfView().vertical),
            std::make_tuple(size.width, size.height, colorSpace, in.getTimeStamp(), in.getFieldOfView().horizontal,
                            in.getFieldOfView().vertical));
}

}  // namespace depth
}  // namespace test
}  // namespace videoDevice
