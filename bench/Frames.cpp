#include "Frames.h"

#include <cmath>
#include <cstring>
#include <map>
#include <random>
#include <tuple>

#include <videodevice/CameraBuilder.h>
#include <videodevice/CameraInfo.h>

namespace bench {

namespace {

constexpr std::uint32_t kSeed = 20240611;

using Key = std::tuple<std::uint64_t, std::uint64_t, ColorSpace, int>;

std::shared_ptr<ImageBuffer> makeImage(const Resolution& size, ColorSpace colorSpace) {
  auto image = std::make_shared<ImageBuffer>("bench", size, colorSpace, true);
  image->getData();
  return image;
}

// Makes the frame once per key with `fill`, then hands out the same one.
template <typename Fill>
std::shared_ptr<const ImageBuffer> cached(const Resolution& size, ColorSpace colorSpace,
                                          int variant, Fill fill) {
  static std::map<Key, std::shared_ptr<const ImageBuffer>> frames;
  const Key key{size.width, size.height, colorSpace, variant};
  auto found = frames.find(key);
  if (found != frames.end()) return found->second;
  auto image = makeImage(size, colorSpace);
  std::mt19937 random(kSeed + static_cast<std::uint32_t>(variant));
  fill(image->getData(), image->getSize(), random);
  return frames.emplace(key, std::move(image)).first->second;
}

void randomBytes(unsigned char* data, std::uint64_t count, std::mt19937& random) {
  for (std::uint64_t i = 0; i < count; ++i) data[i] = static_cast<unsigned char>(random() >> 24);
}

}  // namespace

std::string sizeName(const Resolution& size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

std::uint64_t imageBytes(const Resolution& size, ColorSpace colorSpace) {
  return size.width * size.height * videoDevice::getColorSpaceDepth(colorSpace);
}

std::shared_ptr<const ImageBuffer> yuyvFrame(const Resolution& size) {
  return cached(size, ColorSpace::YUV_422, 0, randomBytes);
}

std::shared_ptr<const ImageBuffer> rgbFrame(const Resolution& size, int variant) {
  return cached(size, ColorSpace::RGB_888, variant, randomBytes);
}

std::shared_ptr<const ImageBuffer> depthFrame(const Resolution& size) {
  return cached(size, ColorSpace::DEPTH_16, 0,
                [](unsigned char* data, std::uint64_t count, std::mt19937& random) {
                  std::uniform_int_distribution<std::uint16_t> depth(0, 10000);
                  for (std::uint64_t i = 0; i + 2 <= count; i += 2) {
                    const std::uint16_t value = depth(random);
                    std::memcpy(data + i, &value, sizeof value);
                  }
                });
}

std::shared_ptr<ImageBuffer> outputImage(const Resolution& size, ColorSpace colorSpace) {
  return makeImage(size, colorSpace);
}

videoDevice::FieldOfView depthFieldOfView() {
  videoDevice::CameraInfo info;
  videoDevice::CameraBuilder::setupSimulatorVelaStereo(info);
  return info.fieldOfView;
}

const cv::Mat& distanceTable() {
  static const cv::Mat table = [] {
    videoDevice::CameraInfo info;
    videoDevice::CameraBuilder::setupSimulatorVelaStereo(info);
    const Resolution largest = *info.resolutions.rbegin();
    const int width = static_cast<int>(largest.width);
    const int height = static_cast<int>(largest.height);
    cv::Mat factors(height, width, CV_32FC1);
    for (int i = 0; i < height; ++i) {
      const float vertical = std::cos(((static_cast<float>(i) + 0.5f) / static_cast<float>(height) -
                                       0.5f) * info.fieldOfView.vertical);
      float* row = factors.ptr<float>(i);
      for (int j = 0; j < width; ++j) {
        const float horizontal = std::cos(
            ((static_cast<float>(j) + 0.5f) / static_cast<float>(width) - 0.5f) *
            info.fieldOfView.horizontal);
        row[j] = 1.0f / (vertical * horizontal);
      }
    }
    return factors;
  }();
  return table;
}

}  // namespace bench
