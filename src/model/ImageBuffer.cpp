#include "videodevice/ImageBuffer.h"

#include <opencv2/core.hpp>

#include <lumo/Log.h>

// Registered for completeness: buffers report nothing themselves.
LUMO_LOG_CATEGORY("vision.videodevice.imagebuffer")

namespace videoDevice {

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
      _ownsData(ownsData) {}

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
  if (resolution.width * resolution.height >
      _allocatedResolution.width * _allocatedResolution.height) {
    _allocatedResolution.width = std::max(_allocatedResolution.width, resolution.width);
    _allocatedResolution.height = std::max(_allocatedResolution.height, resolution.height);
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
