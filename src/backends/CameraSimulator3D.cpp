#include "backends/CameraSimulator3D.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <stdexcept>

#include <lumo/Log.h>
#include <opencv2/core.hpp>

#include "videodevice/Camera3D.h"

LUMO_LOG_CATEGORY("vision.videodevice.camerasimulator3d")

namespace videoDevice {

CameraSimulator3D::CameraSimulator3D(std::weak_ptr<VideoDevice> videoDevice, std::string model,
                                     std::string name)
    : CameraSimulator(std::move(videoDevice), std::move(model), std::move(name)),
      _lut(),
      _heldRawDepthImage(std::make_shared<ImageBuffer>(getName(), Resolution(0, 0),
                                                       ColorSpace::RAW_DEPTH_16, true)),
      _heldDepthImage(
          std::make_shared<ImageBuffer>(getName(), Resolution(0, 0), ColorSpace::DEPTH_16, true)),
      _heldInfraredImage(std::make_shared<ImageBuffer>(getName(), Resolution(0, 0),
                                                       ColorSpace::INFRARED_16, true)) {}

CameraSimulator3D::~CameraSimulator3D() { _closeQuietly(lumoLogCategory); }

bool CameraSimulator3D::isColorSpaceValid(const ColorSpace& colorSpace) const {
  return Camera3D::isColorSpaceValid(colorSpace) || isExtraColorSpace(colorSpace);
}

bool CameraSimulator3D::isExtraColorSpace(const ColorSpace& colorSpace) const {
  return colorSpace == ColorSpace::INFRARED_16 || colorSpace == ColorSpace::RAW_DEPTH_16;
}

void CameraSimulator3D::_getDeviceRawImage(const lumo::Clock::time_point& timePoint,
                                           const std::shared_ptr<ImageBuffer>& raw) {
  if (_heldDepthImage->getResolution() != _nativePreferences.getResolution()) {
    LUMO_LOG(3) << getName() << ": Could not get depth image for subscriber.\n"
                << "Please check that the simulator is running.";
    LUMO_LOG(4) << getName() << ": generate default image.";
    _createDefaultDepthImage(timePoint);
  }
  copyImage(*_heldDepthImage, *raw);
}

void CameraSimulator3D::_getDeviceExtraRawImage(const lumo::Clock::time_point& timePoint,
                                                const CameraPreferences& preferences,
                                                std::shared_ptr<ImageBuffer> raw) {
  // Unlike the main stream, the extra stream regenerates only what was never
  // pushed: a held frame of an older native size is still served.
  if (preferences.getColorSpace() == ColorSpace::INFRARED_16) {
    if (_heldInfraredImage->getSize() == 0) {
      LUMO_LOG(3) << getName() << ": Could not get infrared image for subscriber.\n"
                  << "Please check that the simulator is running.";
      LUMO_LOG(4) << getName() << ": generate default image.";
      _createDefaultInfraredImage(timePoint);
    }
    copyImage(*_heldInfraredImage, *raw);
    return;
  }
  if (_heldRawDepthImage->getSize() == 0) {
    LUMO_LOG(3) << getName() << ": Could not get raw image for subscriber.\n"
                << "Please check that the simulator is running.";
    LUMO_LOG(4) << getName() << ": generate default image.";
    _createDefaultDepthImage(timePoint);
  }
  copyImage(*_heldRawDepthImage, *raw);
}

void CameraSimulator3D::_convertImage(const CameraPreferences& preferences,
                                      const std::shared_ptr<const ImageBuffer>& raw,
                                      const std::shared_ptr<ImageBuffer>& out) const {
  if (_lut.empty()) _buildLUT();
  Camera3D::convert3DImage(preferences, raw, out, _lut);
}

void CameraSimulator3D::_putImage(const std::shared_ptr<const ImageBuffer>& image) {
  const ColorSpace colorSpace = image->getColorSpace();
  if (colorSpace != ColorSpace::DEPTH_16 && colorSpace != ColorSpace::INFRARED_16) {
    LUMO_FAIL(std::invalid_argument,
              lumo::log::concat(getName(), ": putImage(): Colorspace \"", colorSpace,
                                "\" not supported. Please use Depth or Infrared ColorSpace."));
  }
  lumo::Clock::time_point timeStamp;
  if (!_admitPushedImage(*image, lumoLogCategory, timeStamp)) return;
  const Resolution native = _nativePreferences.getResolution();
  if (colorSpace == ColorSpace::INFRARED_16) {
    _heldInfraredImage->setResolution(native);
    _heldInfraredImage->setColorSpace(ColorSpace::INFRARED_16);
    _heldInfraredImage->setTimeStamp(timeStamp);
  } else {
    _heldRawDepthImage->setResolution(native);
    _heldRawDepthImage->setColorSpace(ColorSpace::RAW_DEPTH_16);
    _heldRawDepthImage->setTimeStamp(timeStamp);
    _heldDepthImage->setResolution(native);
    _heldDepthImage->setColorSpace(_nativePreferences.getColorSpace());
    _heldDepthImage->setTimeStamp(timeStamp);
  }
  _resize(image);
}

CameraPreferences CameraSimulator3D::_getExpectedImageParameters() const {
  if (!isOpen()) throw std::runtime_error("Open camera first");
  CameraPreferences expected(CameraPreferences::defaultResolution,
                             CameraPreferences::defaultColorSpace, 0);
  expected.setResolution(_nativePreferences.getResolution());
  expected.setRefreshRate(_nativePreferences.getRefreshRate());
  expected.setColorSpace(_nativePreferences.getColorSpace());
  return expected;
}

ColorSpace CameraSimulator3D::_getCorrespondentRawColorSpace(const ColorSpace& colorSpace) {
  if (colorSpace == ColorSpace::RAW_DEPTH_16 || colorSpace == ColorSpace::INFRARED_16)
    return colorSpace;
  return ColorSpace::DEPTH_16;
}

void CameraSimulator3D::_createDefaultDepthImage(const lumo::Clock::time_point& timePoint) {
  _heldDepthImage->setResolution(_nativePreferences.getResolution());
  _heldDepthImage->setColorSpace(_nativePreferences.getColorSpace());
  _heldDepthImage->setTimeStamp(timePoint);
  zeroImage(*_heldDepthImage);

  _heldRawDepthImage->setResolution(_nativePreferences.getResolution());
  _heldRawDepthImage->setColorSpace(ColorSpace::RAW_DEPTH_16);
  _heldRawDepthImage->setTimeStamp(_heldDepthImage->getTimeStamp());
  zeroImage(*_heldRawDepthImage);
}

void CameraSimulator3D::_createDefaultInfraredImage(const lumo::Clock::time_point& timePoint) {
  _heldInfraredImage->setResolution(_nativePreferences.getResolution());
  _heldInfraredImage->setColorSpace(ColorSpace::INFRARED_16);
  _heldInfraredImage->setTimeStamp(timePoint);
  zeroImage(*_heldInfraredImage);
}

void CameraSimulator3D::_buildLUT() const {
  // One table for the largest mode, built once: smaller frames read its
  // top-left part (see Camera3D::convertDepth16toDistance).
  const Resolution largest =
      _supportedResolutions.empty() ? Resolution(0, 0) : *_supportedResolutions.rbegin();
  LUMO_LOG(5) << getName() << " Build reprojection LUT (" << largest.width << "x"
              << largest.height << ").";
  // OpenCV sizes are ints: a larger mode has no table (a truncated size
  // would give one that does not match the frames), and OpenCV's own
  // failures, such as running out of memory, do not leave the library.
  const auto refuse = [&]() {
    LUMO_FAIL_AS("_buildLUT", std::runtime_error,
                 lumo::log::concat(getName(), ": Can't build reprojection LUT (", largest.width,
                                   "x", largest.height, ")."));
  };
  if (largest.width > INT_MAX || largest.height > INT_MAX) refuse();
  const int width = static_cast<int>(largest.width);
  const int height = static_cast<int>(largest.height);
  try {
    _lut = cv::Mat(height, width, CV_32FC1);
  } catch (const cv::Exception&) {
    refuse();
  }

  const FieldOfView fieldOfView = getFieldOfView();
  if (width < 1 || height < 1) return;
  const float w = static_cast<float>(width);
  const float h = static_cast<float>(height);
  for (int i = 0; i < height; ++i) {
    const float vertical =
        std::cos(((static_cast<float>(i) + 0.5f) / h - 0.5f) * fieldOfView.vertical);
    float* row = _lut.ptr<float>(i);
    for (int j = 0; j < width; ++j) {
      const float horizontal =
          std::cos(((static_cast<float>(j) + 0.5f) / w - 0.5f) * fieldOfView.horizontal);
      row[j] = 1.0f / (vertical * horizontal);
    }
  }
}

void CameraSimulator3D::_resize(const std::shared_ptr<const ImageBuffer>& image) {
  const Resolution native = _nativePreferences.getResolution();
  const Resolution size = image->getResolution();
  const bool fits = native.width <= size.width && native.height <= size.height;
  if (image->getColorSpace() == ColorSpace::INFRARED_16) {
    if (fits)
      Camera3D::convertDepth16toDepth16(image, _heldInfraredImage);
    else
      _overSampleDepth16toDepth16(image, _heldInfraredImage);
    return;
  }
  if (fits) {
    Camera3D::convertDepth16toDepth16(image, _heldRawDepthImage);
    Camera3D::convertDepth16toDepth16(image, _heldDepthImage);
  } else {
    _overSampleDepth16toDepth16(image, _heldRawDepthImage);
    _overSampleDepth16toDepth16(image, _heldDepthImage);
  }
}

void CameraSimulator3D::_overSampleDepth16toDepth16(const std::shared_ptr<const ImageBuffer>& image,
                                                    const std::shared_ptr<ImageBuffer>& target) {
  const Resolution source = image->getResolution();
  const Resolution size = target->getResolution();
  const std::uint64_t factor = _overSamplingFactor(
      size.width, source.height == 0 ? 0 : source.width, lumoLogCategory, __func__);
  LUMO_LOG(5) << getName() << ": putImage: over sample input image to DEPTH_16";

  // The vertical factor is taken to be the horizontal one; a source whose
  // height does not scale alike repeats its last row (and a target narrower
  // than a whole multiple, its last column) rather than being read past.
  const unsigned char* from = image->getData();
  unsigned char* to = target->getData();
  if (from == nullptr || to == nullptr) return;
  const std::uint64_t sourcePixels = std::min(image->getSize() / 2, source.width * source.height);
  const std::uint64_t targetPixels = std::min(target->getSize() / 2, size.width * size.height);
  for (std::uint64_t y = 0; y < size.height; ++y) {
    const std::uint64_t sourceRow = std::min(y / factor, source.height - 1);
    for (std::uint64_t x = 0; x < size.width; ++x) {
      const std::uint64_t out = y * size.width + x;
      const std::uint64_t in = sourceRow * source.width + std::min(x / factor, source.width - 1);
      if (out >= targetPixels) return;
      if (in < sourcePixels) std::memcpy(to + out * 2, from + in * 2, 2);
    }
  }
}

}  // namespace videoDevice
