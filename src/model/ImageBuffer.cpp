#include "videodevice/ImageBuffer.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include <opencv2/core.hpp>

#include <lumo/Log.h>

// Buffers report only the one failure they have: a size no memory can hold.
LUMO_LOG_CATEGORY("vision.videodevice.imagebuffer")

namespace videoDevice {

namespace {

// The most pixels a buffer may describe: enough for any colour space, even
// the deepest (XYZ_323232, 12 bytes a pixel), to stay within the largest
// block C++ can allocate and index. Byte counts (here and wherever a
// converter multiplies a size by its bytes per pixel) then never wrap, and a
// re-typed buffer never needs a size check again.
constexpr std::uint64_t kMaxPixels = static_cast<std::uint64_t>(PTRDIFF_MAX) / 12;

bool fitsInMemory(const Resolution& resolution) {
  std::uint64_t pixels = 0;
  return !__builtin_mul_overflow(resolution.width, resolution.height, &pixels) &&
         pixels <= kMaxPixels;
}

// A size whose byte count would wrap is refused before anything is allocated
// or changed: wrapped, it would give a small block that the image overruns.
void requireFitsInMemory(const std::string& cameraName, const Resolution& resolution,
                         const char* function) {
  if (fitsInMemory(resolution)) return;
  LUMO_FAIL_AS(function, std::invalid_argument,
               lumo::log::concat(cameraName, ": a ", resolution.width, "x", resolution.height,
                                 " image does not fit in memory."));
}

}  // namespace

ImageBuffer::ImageBuffer(std::string cameraName, Resolution resolution, ColorSpace colorSpace,
                         bool ownsData)
    : useCount(0),
      _data(nullptr),
      _allocatedResolution(resolution),
      _cameraName(std::move(cameraName)),
      _resolution(resolution),
      _colorSpace(colorSpace),
      _timeStamp(),
      _fieldOfView{0.0f, 0.0f},
      _ownsData(ownsData) {
  requireFitsInMemory(_cameraName, resolution, "ImageBuffer");
}

ImageBuffer::~ImageBuffer() {
  if (_data != nullptr && _ownsData) delete[] _data;
  _data = nullptr;
}

const unsigned char* ImageBuffer::getData() const {
  if (_data == nullptr && _ownsData) {
    const std::uint64_t bytes =
        _allocatedResolution.width * _allocatedResolution.height * getColorSpaceDepth(_colorSpace);
    _data = new unsigned char[bytes];
  }
  return _data;
}

unsigned char* ImageBuffer::getData() {
  static_cast<const ImageBuffer&>(*this).getData();
  return _data;
}

void ImageBuffer::dropOwnedData() {
  if (_data != nullptr && _ownsData) {
    delete[] _data;
    _data = nullptr;
  }
}

void ImageBuffer::setData(unsigned char* newData) {
  if (_data != nullptr && _ownsData) {
    dropOwnedData();
    _ownsData = false;
  }
  _data = newData;
}

void ImageBuffer::setResolution(Resolution resolution) {
  requireFitsInMemory(_cameraName, resolution, __func__);
  // Both pixel counts fit in 64 bits now (see kMaxPixels).
  if (resolution.width * resolution.height >
      _allocatedResolution.width * _allocatedResolution.height) {
    const Resolution grown(std::max(_allocatedResolution.width, resolution.width),
                           std::max(_allocatedResolution.height, resolution.height));
    // Growing each dimension can reach a size that no block holds (a very
    // wide image followed by a very tall one); the new size alone always
    // fits, and a block for it still holds every smaller image.
    _allocatedResolution = fitsInMemory(grown) ? grown : resolution;
    dropOwnedData();
  }
  _resolution = resolution;
}

void ImageBuffer::setColorSpace(ColorSpace colorSpace) {
  if (colorSpace == _colorSpace) return;
  if (getColorSpaceDepth(colorSpace) > getColorSpaceDepth(_colorSpace)) dropOwnedData();
  _colorSpace = colorSpace;
}

bool ImageBuffer::isPreferencesValid(const CameraPreferences& preferences) const {
  return preferences.getColorSpace() == _colorSpace && preferences.getResolution() == _resolution;
}

std::uint64_t ImageBuffer::getSize() const {
  return _resolution.width * _resolution.height * getColorSpaceDepth(_colorSpace);
}

cv::Mat ImageBuffer::imageBufferToCvMat(const ImageBuffer& buffer) {
  // OpenCV takes a non-const pointer even for headers used read-only.
  auto* pixels = const_cast<unsigned char*>(buffer.getData());
  const std::uint64_t depth = getColorSpaceDepth(buffer._colorSpace);
  std::uint64_t channels = getColorSpaceChannel(buffer._colorSpace);
  if (channels == 0) return cv::Mat();
  // OpenCV counts rows and columns in int: a larger size has no header, and a
  // truncated one would describe other memory than the buffer's.
  if (buffer._resolution.width > INT_MAX || buffer._resolution.height > INT_MAX)
    return cv::Mat();
  // Luma with alternating U and V: two interleaved bytes per pixel.
  if (buffer._colorSpace == ColorSpace::YUV_422) channels = 2;

  int elementType;
  switch (depth / channels) {
    case 1: elementType = CV_8U; break;
    case 2: elementType = CV_16U; break;
    case 4: elementType = CV_32F; break;
    default: return cv::Mat();
  }
  return cv::Mat(static_cast<int>(buffer._resolution.height),
                 static_cast<int>(buffer._resolution.width),
                 CV_MAKETYPE(elementType, static_cast<int>(channels)), pixels);
}

std::ostream& operator<<(std::ostream& out, const ImageBuffer& buffer) {
  const Resolution r = buffer.getResolution();
  return out << r.width << "x" << r.height << "@" << buffer.getColorSpace();
}

}  // namespace videoDevice
