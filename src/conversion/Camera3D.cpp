#include "videodevice/Camera3D.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

#include <lumo/Log.h>
#include <opencv2/imgproc.hpp>

LUMO_LOG_CATEGORY("vision.videodevice.camera3d")

namespace videoDevice {

namespace {

std::uint16_t loadDepth(const unsigned char* pixel) {
  std::uint16_t depth;
  std::memcpy(&depth, pixel, sizeof depth);
  return depth;
}

void storeDepth(unsigned char* pixel, std::uint16_t depth) {
  std::memcpy(pixel, &depth, sizeof depth);
}

void storeFloat(unsigned char* slot, float value) { std::memcpy(slot, &value, sizeof value); }

float loadFloat(const unsigned char* slot) {
  float value;
  std::memcpy(&value, slot, sizeof value);
  return value;
}

bool isSixteenBitRaw(ColorSpace colorSpace) {
  return colorSpace == ColorSpace::DEPTH_16 || colorSpace == ColorSpace::INFRARED_16 ||
         colorSpace == ColorSpace::RAW_DEPTH_16;
}

// The converters are public and may be handed any pair of buffers, not only
// what convert3DImage has checked. Before touching memory make sure the input
// holds 16-bit pixels for its whole size and the output has room for what the
// converter writes; refuse otherwise rather than run past either block.
// Returns false when the output is empty, so that there is nothing to do.
bool checkBuffers(const char* operation, const Camera3D::Input& input,
                  const Camera3D::Output& output, std::uint64_t outputBytesPerPixel) {
  if (!output || !input) {
    LUMO_FAIL_AS(operation, std::invalid_argument,
                 lumo::log::concat(operation, "(): missing input or output buffer."));
  }
  const Resolution out = output->getResolution();
  if (out.width == 0 || out.height == 0) return false;
  const Resolution in = input->getResolution();
  const bool inputFits = in.width != 0 && in.height != 0 && input->getData() != nullptr &&
                         input->getSize() >= in.width * in.height * 2;
  const bool outputFits = output->getData() != nullptr &&
                          output->getSize() >= out.width * out.height * outputBytesPerPixel;
  if (!inputFits || !outputFits) {
    LUMO_FAIL_AS(operation, std::invalid_argument,
                 lumo::log::concat(input->getCameraName(), ": ", operation, "(): ", *input,
                                   " cannot be converted into ", *output, "."));
  }
  return true;
}

// The one sub-sampling loop shared by the per-pixel converters: output pixel x
// of row r comes from input pixel x * f of input row r * f, f being the ratio
// of the widths. convert3DImage guarantees both indices stay inside the input;
// for direct callers they are clamped to its last row and column.
template <typename Kernel>
void forEachSampledPixel(const Camera3D::Input& input, const Camera3D::Output& output,
                         std::uint64_t outputBytesPerPixel, Kernel kernel) {
  const Resolution in = input->getResolution();
  const Resolution out = output->getResolution();
  const std::uint64_t factor = in.width / out.width;
  const unsigned char* source = input->getData();
  unsigned char* destination = output->getData();
  for (std::uint64_t row = 0; row < out.height; ++row) {
    const unsigned char* sourceRow = source + std::min(row * factor, in.height - 1) * in.width * 2;
    unsigned char* destinationRow = destination + row * out.width * outputBytesPerPixel;
    for (std::uint64_t x = 0; x < out.width; ++x) {
      const std::uint64_t column = std::min(x * factor, in.width - 1);
      kernel(loadDepth(sourceRow + column * 2), destinationRow + x * outputBytesPerPixel, x, row);
    }
  }
}

}  // namespace

bool Camera3D::isColorSpaceValid(const ColorSpace& colorSpace) {
  switch (colorSpace) {
    case ColorSpace::DEPTH_16:
    case ColorSpace::Y_8:
    case ColorSpace::RGB_888:
    case ColorSpace::R_8:
    case ColorSpace::G_8:
    case ColorSpace::B_8:
    case ColorSpace::INFRARED_16:
    case ColorSpace::RAW_DEPTH_16:
    case ColorSpace::XYZ_323232:
    case ColorSpace::DISTANCE_32:
      return true;
    default:
      return false;
  }
}

void Camera3D::convert3DImage(const CameraPreferences& requested, const Input& input,
                              const Output& output, const cv::Mat& distanceTable) {
  const Resolution wanted = requested.getResolution();
  const ColorSpace wantedColorSpace = requested.getColorSpace();
  if (wanted.width == 0) {
    LUMO_FAIL(std::domain_error, "Can't convert image whose width will be zero.");
  }
  if (wanted.height == 0) {
    LUMO_FAIL(std::domain_error, "Can't convert image whose height will be zero.");
  }
  if (!isColorSpaceValid(wantedColorSpace)) {
    LUMO_FAIL(std::runtime_error, "Can't convert image to the requested colorspace.");
  }
  if (!input) {
    LUMO_FAIL(std::invalid_argument, "Can't convert image if input pointer is empty.");
  }
  if (input->getData() == nullptr) {
    LUMO_FAIL(std::invalid_argument, "Can't convert image if data is unavailable.");
  }
  const Resolution source = input->getResolution();
  if (source.width == 0) {
    LUMO_FAIL(std::domain_error, "Can't convert input image whose width is zero.");
  }
  if (source.height == 0) {
    LUMO_FAIL(std::domain_error, "Can't convert input image whose height is zero.");
  }
  if (!output) {
    LUMO_FAIL(std::invalid_argument, "Can't convert image if output pointer is empty.");
  }
  if (output->getData() == nullptr) {
    LUMO_FAIL(std::invalid_argument, "Can't convert image if output data is unavailable.");
  }
  if (static_cast<const void*>(input.get()) == static_cast<const void*>(output.get())) {
    LUMO_FAIL(std::invalid_argument, "Inplace conversion is not supported.");
  }
  // Exact products: in 64 bits a huge request could wrap onto the input's ratio.
  __extension__ using Wide = unsigned __int128;
  if (Wide{wanted.width} * source.height != Wide{source.width} * wanted.height) {
    LUMO_FAIL(std::domain_error, "Input and Requested aspect ratio are different.");
  }
  if (wanted.width > source.width || wanted.height > source.height) {
    LUMO_FAIL(std::domain_error, "Upscale conversion is not supported.");
  }

  output->setResolution(wanted);
  output->setColorSpace(wantedColorSpace);
  output->setTimeStamp(input->getTimeStamp());
  output->setFielOfView(input->getFieldOfView());

  const ColorSpace sourceColorSpace = input->getColorSpace();
  if (!isSixteenBitRaw(sourceColorSpace)) {
    LUMO_FAIL(std::runtime_error,
              lumo::log::concat(input->getCameraName(),
                                ": convert3DImage() request a Depth or Infrared ColorSpace as input."));
  }
  const auto unsupported = [&]() {
    LUMO_FAIL_AS("convert3DImage", std::runtime_error,
                 lumo::log::concat(input->getCameraName(), ": Conversion to ", wantedColorSpace,
                                   " currently not supported."));
  };

  // Infrared and raw depth are not distances: they can only be copied.
  if (sourceColorSpace != ColorSpace::DEPTH_16) {
    if (wantedColorSpace == ColorSpace::INFRARED_16 ||
        wantedColorSpace == ColorSpace::RAW_DEPTH_16) {
      convertDepth16toDepth16(input, output);
      return;
    }
    unsupported();
  }

  switch (wantedColorSpace) {
    case ColorSpace::DEPTH_16:
      convertDepth16toDepth16(input, output);
      break;
    case ColorSpace::Y_8:
    case ColorSpace::R_8:
    case ColorSpace::G_8:
    case ColorSpace::B_8:
      convertDepth16toYuv(input, output);
      break;
    case ColorSpace::RGB_888:
      convertDepth16toRGB888(input, output);
      break;
    case ColorSpace::XYZ_323232:
      convertDepth16toIJZ(input, output);
      convertProjectiveToRealWorld(output);
      break;
    case ColorSpace::DISTANCE_32:
      convertDepth16toDistance(input, output, distanceTable);
      break;
    default:
      unsupported();
  }
}

void Camera3D::convertDepth16toDepth16(const Input& input, const Output& output) {
  if (!checkBuffers(__func__, input, output, 2)) return;
  const cv::Mat source = ImageBuffer::imageBufferToCvMat(*input);
  cv::Mat destination = ImageBuffer::imageBufferToCvMat(*output);
  // cv::resize would silently reallocate a destination of another type
  // instead of writing into the buffer.
  if (source.type() != CV_16UC1 || destination.type() != CV_16UC1) {
    LUMO_FAIL(std::invalid_argument,
              lumo::log::concat(input->getCameraName(), ": ", __func__, "(): ", *input,
                                " cannot be converted into ", *output, "."));
  }
  try {
    cv::resize(source, destination, destination.size(), 0, 0, cv::INTER_NEAREST);
  } catch (const cv::Exception&) {
    // Callers handle standard exceptions only: OpenCV's stay in the library.
    LUMO_FAIL(std::invalid_argument,
              lumo::log::concat(input->getCameraName(), ": ", __func__, "(): ", *input,
                                " cannot be converted into ", *output, "."));
  }
}

void Camera3D::convertDepth16toRGB888(const Input& input, const Output& output) {
  if (!checkBuffers(__func__, input, output, 3)) return;
  forEachSampledPixel(input, output, 3,
                      [](std::uint16_t depth, unsigned char* rgb, std::uint64_t, std::uint64_t) {
                        if (depth == 0) {
                          rgb[0] = rgb[1] = rgb[2] = 0;
                          return;
                        }
                        // Single precision on purpose: the ramp is defined in floats.
                        const float t = std::min(depth / 4095.0f, 1.0f) - 0.12f;
                        if (t < 0.0f) {
                          rgb[0] = rgb[1] = rgb[2] = 85;
                          return;
                        }
                        const float s = t * 1.1363636f;
                        const float u = 1.0f - s;
                        const float a = u * u * u;
                        // Through int: a product that rounds a hair below zero
                        // must truncate to 0, not convert out of range.
                        rgb[0] = static_cast<unsigned char>(static_cast<int>(a * 255.0f));
                        rgb[1] =
                            static_cast<unsigned char>(static_cast<int>((1.0f - (s * s + a)) * 255.0f));
                        rgb[2] = static_cast<unsigned char>(static_cast<int>(s * s * 255.0f));
                      });
}

void Camera3D::convertDepth16toYuv(const Input& input, const Output& output) {
  if (!checkBuffers(__func__, input, output, 1)) return;
  forEachSampledPixel(input, output, 1,
                      [](std::uint16_t depth, unsigned char* grey, std::uint64_t, std::uint64_t) {
                        // Depths beyond 4495 wrap around on purpose.
                        const int shifted = std::max(static_cast<int>(depth) - 400, 0) >> 4;
                        *grey = static_cast<unsigned char>(shifted & 0xFF);
                      });
}

void Camera3D::convertDepth16toIJZ(const Input& input, const Output& output) {
  if (!checkBuffers(__func__, input, output, 12)) return;
  forEachSampledPixel(
      input, output, 12,
      [](std::uint16_t depth, unsigned char* point, std::uint64_t x, std::uint64_t row) {
        storeFloat(point, static_cast<float>(x));
        storeFloat(point + 4, static_cast<float>(row));
        storeFloat(point + 8, static_cast<float>(depth));
      });
}

void Camera3D::convertProjectiveToRealWorld(const Output& output) {
  if (!output) {
    LUMO_FAIL(std::invalid_argument,
              lumo::log::concat(__func__, "(): missing input or output buffer."));
  }
  const Resolution size = output->getResolution();
  if (size.width == 0 || size.height == 0) return;
  unsigned char* points = output->getData();
  if (points == nullptr || output->getSize() < size.width * size.height * 12) {
    LUMO_FAIL(std::invalid_argument,
              lumo::log::concat(output->getCameraName(), ": ", __func__, "(): ", *output,
                                " does not hold 3D points."));
  }
  const FieldOfView fieldOfView = output->getFieldOfView();
  const float twiceH = 2.0f * std::tan(fieldOfView.horizontal / 2.0f);
  const float twiceV = 2.0f * std::tan(fieldOfView.vertical / 2.0f);
  const float width = static_cast<float>(size.width);
  const float height = static_cast<float>(size.height);
  const std::uint64_t count = size.width * size.height;
  for (std::uint64_t p = 0; p < count; ++p) {
    unsigned char* point = points + p * 12;
    const float i = loadFloat(point);
    const float j = loadFloat(point + 4);
    const float z = loadFloat(point + 8);
    // Depth along the optical axis, then left of the centre, then upwards.
    storeFloat(point, z);
    storeFloat(point + 4, -((i / width - 0.5f) * z * twiceH));
    storeFloat(point + 8, (0.5f - j / height) * z * twiceV);
  }
}

void Camera3D::convertDepth16toDistance(const Input& input, const Output& output,
                                        const cv::Mat& distanceTable) {
  // Distances are 16-bit values packed from the start of the output.
  if (!checkBuffers(__func__, input, output, 2)) return;
  if (distanceTable.empty() || distanceTable.dims != 2 || distanceTable.type() != CV_32FC1) {
    LUMO_FAIL(std::invalid_argument,
              lumo::log::concat(input->getCameraName(), ": ", __func__,
                                "(): the distance table must be a non-empty float matrix."));
  }
  // Fixed by the first usable table for the life of the process, as the
  // cameras that feed this converter build their table once.
  static const std::uint64_t LUTWidth = static_cast<std::uint64_t>(distanceTable.cols);

  const Resolution out = output->getResolution();
  const std::uint64_t tableStep = LUTWidth / out.width;
  // A table may be smaller than the frames later converted with it (or than
  // the width fixed above): entries past its end repeat its last row and
  // last column.
  const std::uint64_t lastTableRow = static_cast<std::uint64_t>(distanceTable.rows) - 1;
  const std::uint64_t lastTableColumn = static_cast<std::uint64_t>(distanceTable.cols) - 1;
  forEachSampledPixel(
      input, output, 2,
      [&](std::uint16_t depth, unsigned char* distanceSlot, std::uint64_t x, std::uint64_t row) {
        const float* factors = distanceTable.ptr<float>(static_cast<int>(std::min(row, lastTableRow)));
        const float factor = factors[std::min(x * tableStep, lastTableColumn)];
        const float distance = static_cast<float>(depth) * factor + 0.5f;
        // Keep the integer part modulo 2^16 like any store into 16 bits;
        // NaN and values no integer can hold give 0.
        const std::int64_t whole =
            (distance > -9.0e18f && distance < 9.0e18f) ? static_cast<std::int64_t>(distance) : 0;
        storeDepth(distanceSlot, static_cast<std::uint16_t>(whole));
      });
}

}  // namespace videoDevice
