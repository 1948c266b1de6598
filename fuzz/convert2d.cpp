// Fuzz target: the 2D conversion frame, Camera2D::convert2DImage, with input
// images of any size and colour space and requests of any size and colour
// space; now and then one of the public converters called directly on a
// YUV 4:2:2 input and an output of its colour space, of any sizes.
//
// Each call must end as the frame's checks predict: the predicted exception,
// or a conversion that leaves the output with the requested description. No
// access may leave either buffer: inputs, and the outputs sized for the
// request, wrap exactly their declared bytes.

#include <cstdint>
#include <cstring>
#include <sstream>

#include <videodevice/Camera2D.h>

#include "ConversionCase.h"

using namespace videoDevice;
using fuzz::Outcome;

namespace {

struct Converter {
  void (*convert)(const Camera2D::Input&, const Camera2D::Output&);
  ColorSpace output;
};

const Converter kConverters[] = {
    {&Camera2D::convertYUV422toYUV422, ColorSpace::YUV_422},
    {&Camera2D::convertYUV422toY8, ColorSpace::Y_8},
    {&Camera2D::convertYUV422toRGB888, ColorSpace::RGB_888},
    {&Camera2D::convertYUV422toBGR888, ColorSpace::BGR_888},
    {&Camera2D::convertYUV422toYUV888, ColorSpace::YUV_888},
    {&Camera2D::convertYUV422toHSY888, ColorSpace::HSY_888},
    {&Camera2D::convertYUV422toHSMixed888, ColorSpace::HSMIXED_888},
    {&Camera2D::convertYUV422toU8, ColorSpace::U_8},
    {&Camera2D::convertYUV422toV8, ColorSpace::V_8},
    {&Camera2D::convertYUV422toH8, ColorSpace::H_8},
    {&Camera2D::convertYUV422toS8, ColorSpace::S_8},
    {&Camera2D::convertYUV422toR8, ColorSpace::R_8},
    {&Camera2D::convertYUV422toG8, ColorSpace::G_8},
    {&Camera2D::convertYUV422toB8, ColorSpace::B_8},
    {&Camera2D::convertYUV422toYYCbCr, ColorSpace::YYCBCR_8888},
    {&Camera2D::convertYUV422toH2RGB, ColorSpace::H2RGB_888},
    {&Camera2D::convertYUV422toBGRnoScale, ColorSpace::BGR_888},
    {&Camera2D::convertYUV422toRGBnoScale, ColorSpace::RGB_888},
    {&Camera2D::convertYUV422toRgbnoScale, ColorSpace::R_8},
    {&Camera2D::convertYUV422torGbnoScale, ColorSpace::G_8},
    {&Camera2D::convertYUV422torgBnoScale, ColorSpace::B_8},
};

// What the frame's documented checks say convert2DImage does.
Outcome predict(Resolution requested, ColorSpace requestedColorSpace, const fuzz::Side& input,
                const fuzz::Side& output) {
  const Outcome checks = fuzz::frameChecks(
      requested, Camera2D::isColorSpaceValid(requestedColorSpace), input, output);
  if (checks != Outcome::Completed) return checks;
  if (input.buffer->getColorSpace() != ColorSpace::YUV_422) return Outcome::RuntimeError;
  // Valid as a request, but no converter produces it.
  if (requestedColorSpace == ColorSpace::NV12_420) return Outcome::RuntimeError;
  return Outcome::Completed;
}

// A converter called on its own: a YUV 4:2:2 input and an output already of
// the converter's colour space, of any sizes. It may convert all or part of
// the image, but only inside both buffers.
void convertDirectly(FuzzedDataProvider& in) {
  const Converter& converter = kConverters[in.ConsumeIntegralInRange<std::size_t>(
      0, sizeof kConverters / sizeof kConverters[0] - 1)];
  const Resolution inputSize = fuzz::anySize(in);
  const Resolution outputSize = fuzz::requestFor(in, inputSize);
  std::uint64_t inputBytes = 0;
  std::uint64_t outputBytes = 0;
  if (!fuzz::byteSize(inputSize, ColorSpace::YUV_422, inputBytes) || inputBytes > fuzz::kMaxBytes ||
      !fuzz::byteSize(outputSize, converter.output, outputBytes) || outputBytes > fuzz::kMaxBytes)
    return;
  const auto input = fuzz::exactFrame("in", inputSize, ColorSpace::YUV_422, inputBytes, in);
  const auto output = in.ConsumeBool()
                          ? fuzz::exactFrame("out", outputSize, converter.output, outputBytes, in)
                          : fuzz::describedFrame("out", outputSize, converter.output, true);
  if (!input || !output) return;
  fuzz::run([&] { converter.convert(input, output); });
  if (output->getResolution() != outputSize || output->getColorSpace() != converter.output)
    fuzz::fail("a converter changed the description of its output");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  if (in.ConsumeIntegralInRange<int>(0, 7) == 0) {
    convertDirectly(in);
    return 0;
  }

  // Mostly YUV 4:2:2, the only input the frame converts from.
  const ColorSpace inputColorSpace =
      in.ConsumeBool() ? ColorSpace::YUV_422 : fuzz::anyColorSpace(in);
  const Resolution inputSize = fuzz::anySize(in);
  const Resolution requested = fuzz::requestFor(in, inputSize);
  const ColorSpace requestedColorSpace =
      in.ConsumeBool() ? static_cast<ColorSpace>(in.ConsumeIntegralInRange<int>(0, 18))
                       : fuzz::anyColorSpace(in);
  const CameraPreferences request(requested, requestedColorSpace,
                                  in.ConsumeIntegral<unsigned short>());

  const fuzz::Side input = fuzz::anyImage(in, "camera", inputSize, inputColorSpace);
  if (input.buffer) fuzz::stamp(in, *input.buffer);
  const fuzz::Side output = fuzz::anyOutput(in, input, requested, requestedColorSpace);

  const Outcome expected = predict(requested, requestedColorSpace, input, output);
  const Outcome actual =
      fuzz::run([&] { Camera2D::convert2DImage(request, input.buffer, output.buffer); });
  if (actual != expected) {
    std::ostringstream what;
    what << "convert2DImage to " << requested.width << "x" << requested.height << "@"
         << requestedColorSpace << " from " << fuzz::describe(input) << " into "
         << fuzz::describe(output) << ": " << fuzz::toString(actual) << ", expected "
         << fuzz::toString(expected);
    fuzz::fail(what.str());
  }
  if (actual == Outcome::Completed)
    fuzz::expectPrepared(*input.buffer, *output.buffer, requested, requestedColorSpace);
  return 0;
}
