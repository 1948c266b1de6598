#pragma once
// Conversion of raw YUV 4:2:2 frames (bytes Y0 U Y1 V per pixel pair) into
// every 2D output colour space, scaling down by a whole factor taken from the
// widths. Stateless; thread-safe as long as callers own the buffers they pass.

#include <memory>

#include <videodevice/CameraPreferences.h>
#include <videodevice/ImageBuffer.h>
#include <videodevice/Types.h>

namespace videoDevice {

class Camera2D {
 public:
  using Input = std::shared_ptr<const ImageBuffer>;
  using Output = std::shared_ptr<ImageBuffer>;

  Camera2D() = delete;

  // The output colour spaces a 2D camera can be asked for.
  static bool isColorSpaceValid(const ColorSpace& colorSpace);

  // Checks the request and both buffers, prepares the output (size, colour
  // space, time stamp, field of view) and converts. Throws on the first failed
  // check; see the messages in Camera2D.cpp.
  static void convert2DImage(const CameraPreferences& requested, const Input& input,
                             const Output& output);

  // Converters: input YUV_422, output already sized and typed.
  static void convertYUV422toYUV422(const Input& input, const Output& output);
  static void convertYUV422toY8(const Input& input, const Output& output);
  static void convertYUV422toRGB888(const Input& input, const Output& output);
  static void convertYUV422toBGR888(const Input& input, const Output& output);
  static void convertYUV422toYUV888(const Input& input, const Output& output);
  static void convertYUV422toHSY888(const Input& input, const Output& output);
  static void convertYUV422toHSMixed888(const Input& input, const Output& output);
  static void convertYUV422toU8(const Input& input, const Output& output);
  static void convertYUV422toV8(const Input& input, const Output& output);
  static void convertYUV422toH8(const Input& input, const Output& output);
  static void convertYUV422toS8(const Input& input, const Output& output);
  static void convertYUV422toR8(const Input& input, const Output& output);
  static void convertYUV422toG8(const Input& input, const Output& output);
  static void convertYUV422toB8(const Input& input, const Output& output);
  static void convertYUV422toYYCbCr(const Input& input, const Output& output);
  static void convertYUV422toH2RGB(const Input& input, const Output& output);

  // Full-size helpers (factor 1).
  static void convertYUV422toBGRnoScale(const Input& input, const Output& output);
  static void convertYUV422toRGBnoScale(const Input& input, const Output& output);
  static void convertYUV422toRgbnoScale(const Input& input, const Output& output);
  static void convertYUV422torGbnoScale(const Input& input, const Output& output);
  static void convertYUV422torgBnoScale(const Input& input, const Output& output);
};

}  // namespace videoDevice
