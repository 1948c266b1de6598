#include "backends/CameraSimulator2D.h"

#include <lumo/Log.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>

#include "conversion/RgbToYuv422.h"
#include "videodevice/Camera2D.h"

LUMO_LOG_CATEGORY("vision.videodevice.camerasimulator2d")

namespace videoDevice {

namespace {

using conversion::rgbToYuv;
using conversion::Yuv;

// Pushed frames can be smaller than the loops of a resampling path expect
// (heights that do not scale like the widths, resolutions that are merely
// equivalent to a supported one), so every access below is checked against
// the buffer's byte size. Bytes that the layout would place outside a buffer
// are skipped; every byte inside is the one the layout gives.

// A read-only view of a pushed RGB_888 or BGR_888 frame.
class RgbSource {
 public:
  explicit RgbSource(const ImageBuffer& image)
      : _data(image.getData()),
        _size(_data == nullptr ? 0 : image.getSize()),
        _bgr(image.getColorSpace() == ColorSpace::BGR_888) {}

  // Whether the three bytes of the pixel at this byte offset lie in the frame.
  bool has(std::uint64_t offset) const { return offset < _size && _size - offset >= 3; }
  std::uint64_t size() const { return _size; }
  const unsigned char* data() const { return _data; }
  bool bgr() const { return _bgr; }

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
  std::uint64_t size() const { return _size; }
  unsigned char* data() const { return _data; }

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

// Repeats each of the first `count` macropixels of a row `times` times in
// place, from the back so that nothing is overwritten before it is read.
void repeatMacropixels(unsigned char* row, std::uint64_t count, std::uint64_t times) {
  if (times <= 1) return;
  for (std::uint64_t x = count; x-- > 0;) {
    unsigned char macropixel[4];
    std::memcpy(macropixel, row + 4 * x, 4);
    for (std::uint64_t i = 0; i < times; ++i) std::memcpy(row + 4 * (x * times + i), macropixel, 4);
  }
}

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

// Each source macropixel Y0 U Y1 V becomes factor macropixels, the first half
// Y0 U Y0 V, the second Y1 U Y1 V. Output rows are filled in order, each from
// source row y / factor.
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
  const std::uint64_t perRow = (native.width + 2 * factor - 1) / (2 * factor);
  const std::uint64_t outRowBytes = perRow * factor * 4;

  // Rows whose source and output lie whole inside both frames: filled with
  // whole macropixels, or copied from the row above when it reads the same
  // source row. The loop after finishes the rest with its checks.
  std::uint64_t y = 0;
  for (; y < native.height; ++y) {
    const std::uint64_t row = (y / factor) * sourceRowBytes;
    const std::uint64_t out = y * outRowBytes;
    if (perRow == 0 || row + 4 * perRow > sourceSize || out + outRowBytes > held.size()) break;
    unsigned char* target = held.data() + out;
    if (y % factor != 0) {
      std::memcpy(target, target - outRowBytes, outRowBytes);
      continue;
    }
    for (std::uint64_t k = 0; k < perRow; ++k) {
      const unsigned char* macropixel = source + row + 4 * k;
      const unsigned char first[4] = {macropixel[0], macropixel[1], macropixel[0], macropixel[3]};
      const unsigned char second[4] = {macropixel[2], macropixel[1], macropixel[2], macropixel[3]};
      for (std::uint64_t i = 0; i < factor; ++i, target += 4)
        std::memcpy(target, i < half ? first : second, 4);
    }
  }

  std::uint64_t out = y * outRowBytes;
  for (; y < native.height; ++y) {
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

// Pixels pair up in memory order, across row ends on an odd width.
void CameraSimulator2D::_convertNoScale(const std::shared_ptr<const ImageBuffer>& image) {
  LUMO_LOG(5) << getName() << ": putImage: convert input image to YUV_422";
  const RgbSource source(*image);
  HeldWriter held(*_heldImage);
  const Resolution input = image->getResolution();
  const std::uint64_t pixels = input.width * input.height;
  // The pairs whose six bytes and whole macropixel lie inside both frames go
  // through the vectorised rows; the loop below finishes the rest one pair at
  // a time, with its checks (a lone last pixel, a cut macropixel).
  const std::uint64_t wholePairs =
      std::min({(pixels + 1) / 2, source.size() / 6, held.size() / 4});
  conversion::rgbPairsToYuv422(source.data(), held.data(), wholePairs, source.bgr());
  for (std::uint64_t pixel = 2 * wholePairs; pixel < pixels; pixel += 2) {
    const std::uint64_t at = pixel * 3;
    const std::uint64_t out = pixel * 2;
    if (!source.has(at + 3) || held.full(out)) return;
    const Yuv first = source.yuvAt(at);
    const Yuv second = source.yuvAt(at + 3);
    held.macropixel(out, first.y, (first.u + second.u) >> 1, second.y, (first.v + second.v) >> 1);
  }
}

// Each input pixel becomes a factor x factor block of its colour, in rows of
// input.width x factor pixels.
void CameraSimulator2D::_convertAndOverSample(const std::shared_ptr<const ImageBuffer>& image) {
  const Resolution native = _heldImage->getResolution();
  const Resolution input = image->getResolution();
  const std::uint64_t factor =
      _overSamplingFactor(native.width, input.width, lumoLogCategory, __func__);
  LUMO_LOG(5) << getName() << ": putImage: over sample and convert input image to YUV_422";

  const RgbSource source(*image);
  HeldWriter held(*_heldImage);
  const std::uint64_t half = factor / 2;
  const std::uint64_t outRowBytes = input.width * 2 * factor;

  // Input rows that lie whole in the frame and whose factor output rows lie
  // whole in the held one: the first output row is converted (one macropixel
  // per pixel), widened in place, then copied down. The loop after finishes
  // the rest with its checks.
  std::uint64_t r = 0;
  for (; r < input.height; ++r) {
    const std::uint64_t firstPixel = r * input.width;
    const std::uint64_t out = r * factor * outRowBytes;
    if ((firstPixel + input.width) * 3 > source.size() ||
        out + factor * outRowBytes > held.size())
      break;
    unsigned char* target = held.data() + out;
    conversion::rgbPixelsToMacropixels(source.data() + 3 * firstPixel, target, input.width,
                                     source.bgr());
    repeatMacropixels(target, input.width, half);
    for (std::uint64_t dy = 1; dy < factor; ++dy)
      std::memcpy(target + dy * outRowBytes, target, outRowBytes);
  }

  for (; r < input.height; ++r) {
    for (std::uint64_t x = 0; x < input.width; ++x) {
      const std::uint64_t at = (r * input.width + x) * 3;
      if (!source.has(at)) return;
      const Yuv pixel = source.yuvAt(at);
      for (std::uint64_t dy = 0; dy < factor; ++dy) {
        const std::uint64_t out = ((r * factor + dy) * input.width + x) * 2 * factor;
        if (held.full(out)) break;
        for (std::uint64_t i = 0; i < half; ++i)
          held.macropixel(out + 4 * i, pixel.y, pixel.u, pixel.y, pixel.v);
      }
    }
  }
}

// Plain decimation: output pair k of row y reads input pixels 2k x factor and
// (2k + 1) x factor of input row y x factor; the pixels and rows in between
// are skipped. Output rows follow each other without gaps.
void CameraSimulator2D::_convertAndSubSample(const std::shared_ptr<const ImageBuffer>& image) {
  const Resolution native = _heldImage->getResolution();
  const Resolution input = image->getResolution();
  LUMO_LOG(5) << getName() << ": putImage: sub sample and convert input image to YUV_422";
  if (native.width == 0) return;  // nothing to write
  const std::uint64_t factor = input.width / native.width;

  const RgbSource source(*image);
  HeldWriter held(*_heldImage);
  const std::uint64_t pairs = (native.width + 1) / 2;  // per output row

  // Rows whose sampled pixels lie in the frame and whose output lies whole in
  // the held one: the sampled pixels are gathered next to each other (read in
  // place at factor 1) and converted as pairs. The loop after finishes the
  // rest with its checks.
  if (_sampledPixels.size() < 6 * pairs) _sampledPixels.resize(6 * pairs);
  std::uint64_t y = 0;
  for (; y < native.height; ++y) {
    const std::uint64_t rowStart = y * factor * input.width;
    const std::uint64_t lastPixel = rowStart + (2 * pairs - 1) * factor;
    const std::uint64_t out = y * pairs * 4;
    if ((lastPixel + 1) * 3 > source.size() || out + 4 * pairs > held.size()) break;
    const unsigned char* sampled = source.data() + 3 * rowStart;
    if (factor != 1) {
      for (std::uint64_t i = 0; i < 2 * pairs; ++i)
        std::memcpy(&_sampledPixels[3 * i], source.data() + 3 * (rowStart + i * factor), 3);
      sampled = _sampledPixels.data();
    }
    conversion::rgbPairsToYuv422(sampled, held.data() + out, pairs, source.bgr());
  }

  std::uint64_t out = y * pairs * 4;
  for (; y < native.height; ++y) {
    const std::uint64_t rowStart = y * factor * input.width;
    for (std::uint64_t k = 0; 2 * k < native.width; ++k, out += 4) {
      const std::uint64_t a = (rowStart + 2 * k * factor) * 3;
      const std::uint64_t b = (rowStart + (2 * k + 1) * factor) * 3;
      if (!source.has(a) || !source.has(b) || held.full(out)) return;
      const Yuv pixelA = source.yuvAt(a);
      const Yuv pixelB = source.yuvAt(b);
      held.macropixel(out, pixelA.y, (pixelA.u + pixelB.u) >> 1, pixelB.y,
                      (pixelA.v + pixelB.v) >> 1);
    }
  }
}

}  // namespace videoDevice
