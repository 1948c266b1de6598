#include "backends/CameraSimulator2D.h"

#include <lumo/Log.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>

#include "videodevice/Camera2D.h"

LUMO_LOG_CATEGORY("vision.videodevice.camerasimulator2d")

namespace videoDevice {

namespace {

// Pushed frames can be smaller than the loops of a resampling path expect
// (heights that do not scale like the widths, resolutions that are merely
// equivalent to a supported one), so every access below is checked against
// the buffer's byte size. Bytes that the layout would place outside a buffer
// are skipped; every byte inside is the one the layout gives.

// Floor division by 256: the sign-keeping shift of the colour formula,
// without relying on how the compiler shifts negative numbers.
int shiftRight8(int value) { return value >= 0 ? value >> 8 : -((-value + 255) >> 8); }

unsigned char clampToByte(int value) {
  return static_cast<unsigned char>(std::min(255, std::max(0, value)));
}

// Integer BT.601 studio-range coefficients.
struct Yuv {
  int y;
  int u;
  int v;
};

Yuv rgbToYuv(int r, int g, int b) {
  return {clampToByte(shiftRight8(66 * r + 129 * g + 25 * b + 128) + 16),
          clampToByte(shiftRight8(-38 * r - 74 * g + 112 * b + 128) + 128),
          clampToByte(shiftRight8(112 * r - 94 * g - 18 * b + 128) + 128)};
}

// A read-only view of a pushed RGB_888 or BGR_888 frame.
class RgbSource {
 public:
  explicit RgbSource(const ImageBuffer& image)
      : _data(image.getData()),
        _size(_data == nullptr ? 0 : image.getSize()),
        _bgr(image.getColorSpace() == ColorSpace::BGR_888) {}

  // Whether the three bytes of the pixel at this byte offset lie in the frame.
  bool has(std::uint64_t offset) const { return offset < _size && _size - offset >= 3; }

  Yuv yuvAt(std::uint64_t offset) const {
    const unsigned char* pixel = _data + offset;
    return _bgr ? rgbToYuv(pixel[2], pixel[1], pixel[0]) : rgbToYuv(pixel[0], pixel[1], pixel[2]);
  }

 private:
  const unsigned char* _data;
  std::uint64_t _size;
  bool _bgr;
};

// Writes into the held image, dropping what falls past its end.
class HeldWriter {
 public:
  explicit HeldWriter(ImageBuffer& held) : _data(held.getData()), _size(held.getSize()) {}

  bool full(std::uint64_t offset) const { return offset >= _size; }

  void macropixel(std::uint64_t offset, int y0, int u, int y1, int v) {
    const unsigned char bytes[4] = {static_cast<unsigned char>(y0), static_cast<unsigned char>(u),
                                    static_cast<unsigned char>(y1), static_cast<unsigned char>(v)};
    if (offset >= _size) return;
    std::memcpy(_data + offset, bytes, std::min<std::uint64_t>(4, _size - offset));
  }

 private:
  unsigned char* _data;
  std::uint64_t _size;
};

}  // namespace

CameraSimulator2D::CameraSimulator2D(std::weak_ptr<VideoDevice> videoDevice, std::string model,
                                     std::string name)
    : CameraSimulator(std::move(videoDevice), std::move(model), std::move(name)),
      _heldImage(
          std::make_shared<ImageBuffer>(getName(), Resolution(0, 0), ColorSpace::YUV_422, true)) {}

CameraSimulator2D::~CameraSimulator2D() { _closeQuietly(lumoLogCategory); }

bool CameraSimulator2D::isColorSpaceValid(const ColorSpace& colorSpace) const {
  return Camera2D::isColorSpaceValid(colorSpace);
}

void CameraSimulator2D::_getDeviceRawImage(const lumo::Clock::time_point& timePoint,
                                           const std::shared_ptr<ImageBuffer>& raw) {
  const Resolution native = _nativePreferences.getResolution();
  if (_heldImage->getResolution() != native) {
    LUMO_LOG(3) << getName() << ": Could not get new raw image for subscriber.\n"
                << "Please check that the simulator is running.";
    LUMO_LOG(4) << getName() << ": generate default image.";
    _createDefaultImage(timePoint);
  }
  // The held frame is at the native size now; handed out again, it keeps the
  // time of its push.
  copyImage(*_heldImage, *raw);
}

void CameraSimulator2D::_convertImage(const CameraPreferences& preferences,
                                      const std::shared_ptr<const ImageBuffer>& raw,
                                      const std::shared_ptr<ImageBuffer>& out) const {
  Camera2D::convert2DImage(preferences, raw, out);
}

void CameraSimulator2D::_putImage(const std::shared_ptr<const ImageBuffer>& image) {
  const ColorSpace colorSpace = image->getColorSpace();
  if (colorSpace != ColorSpace::YUV_422 && colorSpace != ColorSpace::RGB_888 &&
      colorSpace != ColorSpace::BGR_888) {
    LUMO_FAIL(std::invalid_argument,
              lumo::log::concat(getName(), ": putImage(): Colorspace \"", colorSpace,
                                "\" not supported. Please use YUV_422, RGB_888 or BGR_888 "
                                "ColorSpace."));
  }
  lumo::Clock::time_point timeStamp;
  if (!_admitPushedImage(*image, lumoLogCategory, timeStamp)) return;
  _heldImage->setResolution(_nativePreferences.getResolution());
  _heldImage->setColorSpace(_nativePreferences.getColorSpace());
  _heldImage->setTimeStamp(timeStamp);
  _convertAndResize(image);
}

CameraPreferences CameraSimulator2D::_getExpectedImageParameters() const {
  if (!isOpen()) throw std::runtime_error("Open camera first");
  CameraPreferences expected(CameraPreferences::defaultResolution,
                             CameraPreferences::defaultColorSpace, 0);
  expected.setResolution(_nativePreferences.getResolution());
  expected.setRefreshRate(_nativePreferences.getRefreshRate());
  expected.setColorSpace(ColorSpace::YUV_422);
  return expected;
}

ColorSpace CameraSimulator2D::_getCorrespondentRawColorSpace(const ColorSpace& /*colorSpace*/) {
  return ColorSpace::YUV_422;
}

void CameraSimulator2D::_createDefaultImage(const lumo::Clock::time_point& timePoint) {
  _heldImage->setResolution(_nativePreferences.getResolution());
  _heldImage->setColorSpace(_nativePreferences.getColorSpace());
  _heldImage->setTimeStamp(timePoint);
  zeroImage(*_heldImage);
}

void CameraSimulator2D::_convertAndResize(const std::shared_ptr<const ImageBuffer>& image) {
  const Resolution native = _heldImage->getResolution();
  const Resolution input = image->getResolution();
  if (image->getColorSpace() == ColorSpace::YUV_422) {
    if (native.width <= input.width && native.height <= input.height)
      Camera2D::convertYUV422toYUV422(image, _heldImage);
    else
      _overSampleYUV422toYUV422(image);
  } else if (input == native) {
    _convertNoScale(image);
  } else if (input.width < native.width && input.height < native.height) {
    _convertAndOverSample(image);
  } else {
    _convertAndSubSample(image);
  }
}

void CameraSimulator2D::_overSampleYUV422toYUV422(const std::shared_ptr<const ImageBuffer>& image) {
  const Resolution native = _heldImage->getResolution();
  const Resolution input = image->getResolution();
  const std::uint64_t factor =
      _overSamplingFactor(native.width, input.width, lumoLogCategory, __func__);
  LUMO_LOG(5) << getName() << ": putImage: over sample input image to YUV_422";

  const unsigned char* source = image->getData();
  const std::uint64_t sourceSize = source == nullptr ? 0 : image->getSize();
  HeldWriter held(*_heldImage);
  const std::uint64_t sourceRowBytes = input.width * 2;
  const std::uint64_t half = factor / 2;
  std::uint64_t out = 0;
  for (std::uint64_t y = 0; y < native.height; ++y) {
    const std::uint64_t row = (y / factor) * sourceRowBytes;
    for (std::uint64_t k = 0; 2 * factor * k < native.width; ++k) {
      const std::uint64_t at = row + 4 * k;
      // Source rows run out before the held image is full when the heights
      // do not scale like the widths; the rest keeps the previous frame.
      if (at >= sourceSize || sourceSize - at < 4 || held.full(out)) return;
      const unsigned char* macropixel = source + at;
      for (std::uint64_t i = 0; i < factor; ++i, out += 4) {
        const unsigned char luma = i < half ? macropixel[0] : macropixel[2];
        held.macropixel(out, luma, macropixel[1], luma, macropixel[3]);
      }
    }
  }
}

void CameraSimulator2D::_convertNoScale(const std::shared_ptr<const ImageBuffer>& image) {
  LUMO_LOG(5) << getName() << ": putImage: convert input image to YUV_422";
  const RgbSource source(*image);
  HeldWriter held(*_heldImage);
  const Resolution input = image->getResolution();
  const std::uint64_t pixels = input.width * input.height;
  for (std::uint64_t pixel = 0; pixel < pixels; pixel += 2) {
    const std::uint64_t at = pixel * 3;
    const std::uint64_t out = pixel * 2;
    if (!source.has(at + 3) || held.full(out)) return;
    const Yuv first = source.yuvAt(at);
    const Yuv second = source.yuvAt(at + 3);
    held.macropixel(out, first.y, (first.u + second.u) >> 1, second.y, (first.v + second.v) >> 1);
  }
}

void CameraSimulator2D::_convertAndOverSample(const std::shared_ptr<const ImageBuffer>& image) {
  const Resolution native = _heldImage->getResolution();
  const Resolution input = image->getResolution();
  const std::uint64_t factor =
      _overSamplingFactor(native.width, input.width, lumoLogCategory, __func__);
  LUMO_LOG(5) << getName() << ": putImage: over sample and convert input image to YUV_422";

  const RgbSource source(*image);
  HeldWriter held(*_heldImage);
  const std::uint64_t half = factor / 2;
  for (std::uint64_t r = 0; r < input.height; ++r) {
    for (std::uint64_t x = 0; x < input.width; ++x) {
      const std::uint64_t at = (r * input.width + x) * 3;
      if (!source.has(at)) return;
      const Yuv pixel = source.yuvAt(at);
      // Each input pixel becomes a factor x factor block of one colour.
      for (std::uint64_t dy = 0; dy < factor; ++dy) {
        const std::uint64_t out = ((r * factor + dy) * input.width + x) * 2 * factor;
        if (held.full(out)) break;
        for (std::uint64_t i = 0; i < half; ++i)
          held.macropixel(out + 4 * i, pixel.y, pixel.u, pixel.y, pixel.v);
      }
    }
  }
}

void CameraSimulator2D::_convertAndSubSample(const std::shared_ptr<const ImageBuffer>& image) {
  const Resolution native = _heldImage->getResolution();
  const Resolution input = image->getResolution();
  LUMO_LOG(5) << getName() << ": putImage: sub sample and convert input image to YUV_422";
  if (native.width == 0) return;  // nothing to write
  const std::uint64_t factor = input.width / native.width;

  const RgbSource source(*image);
  HeldWriter held(*_heldImage);
  std::uint64_t out = 0;
  for (std::uint64_t y = 0; y < native.height; ++y) {
    const std::uint64_t rowStart = y * factor * input.width;
    for (std::uint64_t k = 0; 2 * k < native.width; ++k, out += 4) {
      const std::uint64_t a = (rowStart + 2 * k * factor) * 3;
      const std::uint64_t b = (rowStart + (2 * k + 1) * factor) * 3;
      // Plain decimation: the pixels and rows in between are skipped.
      if (!source.has(a) || !source.has(b) || held.full(out)) return;
      const Yuv pixelA = source.yuvAt(a);
      const Yuv pixelB = source.yuvAt(b);
      held.macropixel(out, pixelA.y, (pixelA.u + pixelB.u) >> 1, pixelB.y,
                      (pixelA.v + pixelB.v) >> 1);
    }
  }
}

}  // namespace videoDevice
