// Fuzz target: the depth conversion frame, Camera3D::convert3DImage, with
// input images of any size and colour space, requests of any size and colour
// space and distance tables of any shape, type and content; now and then one
// of the public converters called directly on any pair of buffers.
//
// Each call must end as the frame's checks predict: the predicted exception,
// or a conversion that leaves the output with the requested description. No
// access may leave either buffer or the table: inputs, and the outputs sized
// for the request, wrap exactly their declared bytes.

#include <cstdint>
#include <cstring>
#include <sstream>

#include <opencv2/core.hpp>
#include <videodevice/Camera3D.h>

#include "ConversionCase.h"

using namespace videoDevice;
using fuzz::Outcome;

namespace {

bool isSixteenBitRaw(ColorSpace colorSpace) {
  return colorSpace == ColorSpace::DEPTH_16 || colorSpace == ColorSpace::INFRARED_16 ||
         colorSpace == ColorSpace::RAW_DEPTH_16;
}

// A distance table: mostly single-precision factors of any size (a view into
// a larger matrix now and then, so rows have a step of their own), sometimes
// empty or of another type. Factors come from the input bytes, NaN and
// infinities included.
cv::Mat anyTable(FuzzedDataProvider& in) {
  switch (in.ConsumeIntegralInRange<int>(0, 9)) {
    case 0: return cv::Mat();
    case 1: {
      static const int types[] = {CV_8UC1, CV_16UC1, CV_64FC1, CV_32FC2, CV_32FC3};
      const int type = types[in.ConsumeIntegralInRange<int>(0, 4)];
      cv::Mat table(in.ConsumeIntegralInRange<int>(1, 64), in.ConsumeIntegralInRange<int>(1, 64),
                    type, cv::Scalar::all(1.0));
      return table;
    }
    default: break;
  }
  const int rows = in.ConsumeIntegralInRange<int>(1, 1000);
  const int cols = in.ConsumeIntegralInRange<int>(1, 1400);
  cv::Mat table(rows, cols, CV_32FC1);
  fuzz::fillPixels(table.data, table.total() * table.elemSize(), in);
  if (in.ConsumeBool() && rows > 1 && cols > 1) {
    const int top = in.ConsumeIntegralInRange<int>(0, rows - 1);
    const int left = in.ConsumeIntegralInRange<int>(0, cols - 1);
    return table(cv::Rect(left, top, in.ConsumeIntegralInRange<int>(1, cols - left),
                          in.ConsumeIntegralInRange<int>(1, rows - top)));
  }
  return table;
}

// What the frame's documented checks say convert3DImage does.
Outcome predict(Resolution requested, ColorSpace wanted, const fuzz::Side& input,
                const fuzz::Side& output, const cv::Mat& table) {
  const Outcome checks =
      fuzz::frameChecks(requested, Camera3D::isColorSpaceValid(wanted), input, output);
  if (checks != Outcome::Completed) return checks;
  const ColorSpace source = input.buffer->getColorSpace();
  if (!isSixteenBitRaw(source)) return Outcome::RuntimeError;
  // Infrared and raw depth are only copied.
  if (source != ColorSpace::DEPTH_16)
    return wanted == ColorSpace::INFRARED_16 || wanted == ColorSpace::RAW_DEPTH_16
               ? Outcome::Completed
               : Outcome::RuntimeError;
  if (wanted == ColorSpace::INFRARED_16 || wanted == ColorSpace::RAW_DEPTH_16)
    return Outcome::RuntimeError;
  if (wanted == ColorSpace::DISTANCE_32 &&
      (table.empty() || table.dims != 2 || table.type() != CV_32FC1))
    return Outcome::InvalidArgument;
  return Outcome::Completed;
}

// A converter called on its own. The depth converters are documented to
// refuse any pair of buffers they cannot work on, so both sides are drawn
// freely (pointers are never null here; the frame covers that).
void convertDirectly(FuzzedDataProvider& in) {
  const int converter = in.ConsumeIntegralInRange<int>(0, 5);
  const ColorSpace inputColorSpace =
      in.ConsumeBool() ? ColorSpace::DEPTH_16 : fuzz::anyColorSpace(in);
  const Resolution inputSize = fuzz::anySize(in);
  const Resolution outputSize = fuzz::requestFor(in, inputSize);
  const ColorSpace outputColorSpace = fuzz::anyColorSpace(in);
  std::uint64_t inputBytes = 0;
  std::uint64_t outputBytes = 0;
  if (!fuzz::byteSize(inputSize, inputColorSpace, inputBytes) || inputBytes > fuzz::kMaxBytes ||
      !fuzz::byteSize(outputSize, outputColorSpace, outputBytes) || outputBytes > fuzz::kMaxBytes)
    return;
  const Camera3D::Input input =
      fuzz::exactFrame("in", inputSize, inputColorSpace, inputBytes, in);
  const auto output =
      in.ConsumeBool() ? fuzz::exactFrame("out", outputSize, outputColorSpace, outputBytes, in)
                       : fuzz::describedFrame("out", outputSize, outputColorSpace, true);
  if (!input || !output) return;
  const cv::Mat table = converter == 4 ? anyTable(in) : cv::Mat();
  fuzz::run([&] {
    switch (converter) {
      case 0: Camera3D::convertDepth16toDepth16(input, output); break;
      case 1: Camera3D::convertDepth16toRGB888(input, output); break;
      case 2: Camera3D::convertDepth16toYuv(input, output); break;
      case 3: Camera3D::convertDepth16toIJZ(input, output); break;
      case 4: Camera3D::convertDepth16toDistance(input, output, table); break;
      default: Camera3D::convertProjectiveToRealWorld(output); break;
    }
  });
  if (output->getResolution() != outputSize || output->getColorSpace() != outputColorSpace)
    fuzz::fail("a converter changed the description of its output");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  if (in.ConsumeIntegralInRange<int>(0, 7) == 0) {
    convertDirectly(in);
    return 0;
  }

  static const ColorSpace raw[] = {ColorSpace::DEPTH_16, ColorSpace::INFRARED_16,
                                   ColorSpace::RAW_DEPTH_16};
  const ColorSpace inputColorSpace =
      in.ConsumeBool() ? raw[in.ConsumeIntegralInRange<int>(0, 2)] : fuzz::anyColorSpace(in);
  const Resolution inputSize = fuzz::anySize(in);
  const Resolution requested = fuzz::requestFor(in, inputSize);
  static const ColorSpace outputs[] = {
      ColorSpace::DEPTH_16, ColorSpace::Y_8,         ColorSpace::RGB_888,
      ColorSpace::R_8,      ColorSpace::G_8,         ColorSpace::B_8,
      ColorSpace::INFRARED_16, ColorSpace::RAW_DEPTH_16, ColorSpace::XYZ_323232,
      ColorSpace::DISTANCE_32};
  const ColorSpace requestedColorSpace =
      in.ConsumeBool() ? outputs[in.ConsumeIntegralInRange<int>(0, 9)] : fuzz::anyColorSpace(in);
  const CameraPreferences request(requested, requestedColorSpace,
                                  in.ConsumeIntegral<unsigned short>());

  const fuzz::Side input = fuzz::anyImage(in, "depth", inputSize, inputColorSpace);
  if (input.buffer) fuzz::stamp(in, *input.buffer);
  const fuzz::Side output = fuzz::anyOutput(in, input, requested, requestedColorSpace);
  const cv::Mat table =
      requestedColorSpace == ColorSpace::DISTANCE_32 ? anyTable(in) : cv::Mat();

  const Outcome expected = predict(requested, requestedColorSpace, input, output, table);
  const Outcome actual = fuzz::run(
      [&] { Camera3D::convert3DImage(request, input.buffer, output.buffer, table); });
  if (actual != expected) {
    std::ostringstream what;
    what << "convert3DImage to " << requested.width << "x" << requested.height << "@"
         << requestedColorSpace << " from " << fuzz::describe(input) << " into "
         << fuzz::describe(output) << ": " << fuzz::toString(actual) << ", expected "
         << fuzz::toString(expected);
    fuzz::fail(what.str());
  }
  if (actual == Outcome::Completed)
    fuzz::expectPrepared(*input.buffer, *output.buffer, requested, requestedColorSpace);
  return 0;
}
