#include "videodevice/Camera3D.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

#include <lumo/Log.h>
#include <opencv2/imgproc.hpp>

#include "conversion/RowKernels.h"

LUMO_LOG_CATEGORY("vision.videodevice.camera3d")

namespace videoDevice {

namespace {

std::uint16_t loadDepth(const unsigned char* pixel) {
  std::uint16_t depth;
  std::memcpy(&depth, pixel, sizeof depth);
  return depth;
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

// The one sub-sampling loop shared by the converters: output pixel x of row r
// comes from input pixel x * f of input row r * f, f being the ratio of the
// widths. Calls row(source, destination, width, f, r) for each output row,
// source pointing at the input row to sample. convert3DImage guarantees both
// indices stay inside the input; for direct callers the row is clamped to the
// input's last one. Columns need no clamp: x * f < in.width whenever f >= 1,
// and with f = 0 (an output wider than the input) every pixel reads column 0.
template <typename Row>
void forEachSampledRow(const Camera3D::Input& input, const Camera3D::Output& output,
                       std::uint64_t outputBytesPerPixel, Row row) {
  const Resolution in = input->getResolution();
  const Resolution out = output->getResolution();
  const std::uint64_t factor = in.width / out.width;
  const unsigned char* source = input->getData();
  unsigned char* destination = output->getData();
  for (std::uint64_t r = 0; r < out.height; ++r) {
    row(source + std::min(r * factor, in.height - 1) * in.width * 2,
        destination + r * out.width * outputBytesPerPixel, out.width, factor, r);
  }
}

// The size and fields of view that turn (column, row, depth) into a point.
conversion::PointFrame pointFrame(const ImageBuffer& points) {
  const FieldOfView fieldOfView = points.getFieldOfView();
  const Resolution size = points.getResolution();
  return conversion::PointFrame{static_cast<float>(size.width), static_cast<float>(size.height),
                                2.0f * std::tan(fieldOfView.horizontal / 2.0f),
                                2.0f * std::tan(fieldOfView.vertical / 2.0f)};
}

// convertDepth16toIJZ then convertProjectiveToRealWorld in one pass over the
// output, giving the same floats: the second step only reads back what the
// first wrote. Same checks and messages as convertDepth16toIJZ, after which
// the second step has nothing left to refuse.
void convertDepth16toPoints(const Camera3D::Input& input, const Camera3D::Output& output) {
  if (!checkBuffers("convertDepth16toIJZ", input, output, 12)) return;
  const conversion::PointFrame frame = pointFrame(*output);
  const conversion::PointRow points = conversion::kernels().depth.points;
  forEachSampledRow(input, output, 12,
                    [&](const unsigned char* source, unsigned char* destination, std::uint64_t width,
                        std::uint64_t factor, std::uint64_t row) {
                      points(source, destination, width, factor, 0, row, frame);
                    });
}

// Whether OpenCV's nearest-neighbour resize of `in` to `out` samples input
// pixel (x * f, y * f) for output pixel (x, y), f = in.width / out.width, as
// forEachSampledRow does. OpenCV maps x to floor(x * (1 / (out / in))) in
// doubles: that is x * f exactly when both sides shrink by the whole factor f
// and the reciprocal comes back as f, true of the small factors cameras use
// but not of all (93 comes back just below, so column 1 would be 92).
bool resizeSamples(const Resolution& in, const Resolution& out) {
  const std::uint64_t factor = in.width / out.width;
  if (factor == 0 || in.width != factor * out.width || in.height != factor * out.height) return false;
  const double whole = static_cast<double>(factor);
  return 1.0 / (static_cast<double>(out.width) / static_cast<double>(in.width)) == whole &&
         1.0 / (static_cast<double>(out.height) / static_cast<double>(in.height)) == whole;
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
      convertDepth16toPoints(input, output);
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
  // Whole factors, the sizes a depth camera serves, need neither OpenCV's
  // column table (allocated per call for wide frames) nor its threads: one
  // copy of the whole frame at factor 1, rows of sampled pixels otherwise.
  const Resolution size = output->getResolution();
  if (input->getResolution() == size) {
    // memmove: two buffers handed the same memory (setData) stay defined.
    std::memmove(output->getData(), input->getData(), size.width * size.height * 2);
    return;
  }
  if (resizeSamples(input->getResolution(), size)) {
    const conversion::DepthRow sampled = conversion::kernels().depth.depth16;
    forEachSampledRow(input, output, 2,
                      [&](const unsigned char* source, unsigned char* destination, std::uint64_t width,
                          std::uint64_t factor, std::uint64_t) { sampled(source, destination, width, factor); });
    return;
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
  const conversion::DepthRow ramp = conversion::kernels().depth.rgb888;
  forEachSampledRow(input, output, 3,
                    [&](const unsigned char* source, unsigned char* destination, std::uint64_t width,
                        std::uint64_t factor, std::uint64_t) { ramp(source, destination, width, factor); });
}

void Camera3D::convertDepth16toYuv(const Input& input, const Output& output) {
  if (!checkBuffers(__func__, input, output, 1)) return;
  const conversion::DepthRow grey = conversion::kernels().depth.grey;
  forEachSampledRow(input, output, 1,
                    [&](const unsigned char* source, unsigned char* destination, std::uint64_t width,
                        std::uint64_t factor, std::uint64_t) { grey(source, destination, width, factor); });
}

void Camera3D::convertDepth16toIJZ(const Input& input, const Output& output) {
  if (!checkBuffers(__func__, input, output, 12)) return;
  forEachSampledRow(input, output, 12,
                    [](const unsigned char* source, unsigned char* destination, std::uint64_t width,
                       std::uint64_t factor, std::uint64_t row) {
                      for (std::uint64_t x = 0; x < width; ++x) {
                        unsigned char* point = destination + x * 12;
                        storeFloat(point, static_cast<float>(x));
                        storeFloat(point + 4, static_cast<float>(row));
                        storeFloat(point + 8, static_cast<float>(loadDepth(source + x * factor * 2)));
                      }
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
  const conversion::PointFrame frame = pointFrame(*output);
  const std::uint64_t count = size.width * size.height;
  for (std::uint64_t p = 0; p < count; ++p) {
    unsigned char* point = points + p * 12;
    const float i = loadFloat(point);
    const float j = loadFloat(point + 4);
    const float z = loadFloat(point + 8);
    // Depth along the optical axis, then left of the centre, then upwards.
    storeFloat(point, z);
    storeFloat(point + 4, -((i / frame.width - 0.5f) * z * frame.twiceH));
    storeFloat(point + 8, (0.5f - j / frame.height) * z * frame.twiceV);
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
  const conversion::DistanceRow distances = conversion::kernels().depth.distance;
  forEachSampledRow(input, output, 2,
                    [&](const unsigned char* source, unsigned char* destination, std::uint64_t width,
                        std::uint64_t factor, std::uint64_t row) {
                      const float* factors =
                          distanceTable.ptr<float>(static_cast<int>(std::min(row, lastTableRow)));
                      distances(source, destination, width, factor, 0,
                                conversion::FactorRow{factors, tableStep, lastTableColumn});
                    });
}

}  // namespace videoDevice
