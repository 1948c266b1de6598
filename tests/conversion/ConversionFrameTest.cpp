// The 2D and depth conversion frames: their checks in order with their exact
// types and messages, and what they do to the output first.

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <typeindex>
#include <vector>

#include <lumo/Clock.h>
#include <videodevice/Camera2D.h>
#include <videodevice/Camera3D.h>

#include "conversion/Camera3DTestImages.h"

namespace videoDevice {
namespace {

using test::depth::expectPrepared;
using test::depth::makeFilled;
using Image = std::shared_ptr<ImageBuffer>;
const std::type_index kDomain = typeid(std::domain_error), kArgument = typeid(std::invalid_argument),
                      kRuntime = typeid(std::runtime_error);

Image image(Resolution size, ColorSpace colorSpace = ColorSpace::YUV_422, bool withData = true) {
  return std::make_shared<ImageBuffer>("front", size, colorSpace, withData);
}

Image stamped(Image input) {
  input->setTimeStamp(lumo::Clock::time_point(lumo::Clock::duration(123456789)));
  input->setFielOfView(FieldOfView{1.0f, 0.75f});
  return input;
}

struct Check {
  Resolution size;
  ColorSpace colorSpace;
  Image input, output;
  std::type_index type;
  std::string message;
};

// Each call must throw exactly this type and text.
void expectFailures(const std::vector<Check>& checks, bool depth) {
  for (const Check& c : checks) {
    try {
      const CameraPreferences request(c.size, c.colorSpace, 30);
      if (depth) Camera3D::convert3DImage(request, c.input, c.output, cv::Mat(6, 64, CV_32FC1, cv::Scalar(1.0f)));
      else Camera2D::convert2DImage(request, c.input, c.output);
      ADD_FAILURE() << "no exception, expected: " << c.message;
    } catch (const std::exception& e) {
      EXPECT_EQ(c.type, std::type_index(typeid(e))) << c.message;
      EXPECT_EQ(c.message, e.what());
    }
  }
}

TEST(Camera2DFrame, ChecksFireInOrderWithTheirMessages) {
  const Image vga = stamped(image(Resolution::VGA)), out = image({320, 240}, ColorSpace::RGB_888), none;
  const ColorSpace rgb = ColorSpace::RGB_888;
  expectFailures(
      {// The requested size and format are judged first, even with an empty input.
       {{0, 480}, rgb, none, none, kDomain, "Can't convert input to image whose width will be zero."},
       {{640, 0}, rgb, none, none, kDomain, "Can't convert input to image whose height will be zero."},
       {{320, 240}, ColorSpace::DEPTH_16, none, none, kRuntime, "Can't convert image to the requested colorspace."},
       {{320, 240}, ColorSpace::ARGB_8888, none, none, kRuntime, "Can't convert image to the requested colorspace."},
       {{320, 240}, ColorSpace::UNKNOWN, none, none, kRuntime, "Can't convert image to the requested colorspace."},
       {{320, 240}, rgb, none, none, kArgument, "Can't convert image if input pointer is empty."},
       {{320, 240}, rgb, image(Resolution::VGA, ColorSpace::YUV_422, false), out, kArgument,
        "Can't convert image if input data is unavailable."},
       {{320, 240}, rgb, image({0, 480}), out, kDomain, "Can't convert input image whose width is zero."},
       {{320, 240}, rgb, image({640, 0}), out, kDomain, "Can't convert input image whose height is zero."},
       {{320, 240}, rgb, vga, none, kArgument, "Can't convert image if output pointer is empty."},
       {{320, 240}, rgb, vga, image({320, 240}, rgb, false), kArgument,
        "Can't convert image if output data is unavailable."},
       {{320, 240}, rgb, vga, vga, kArgument, "Inplace conversion is not supported."},
       {{320, 200}, rgb, vga, out, kDomain, "Input and Requested aspect ratio are different."},
       // 480 (2^59 + 4) wraps onto 640 x 3 in 64 bits: compared exactly, it differs.
       {{(1ull << 59) + 4, 3}, rgb, vga, out, kDomain, "Input and Requested aspect ratio are different."},
       {{1280, 960}, rgb, vga, out, kDomain, "Upscale conversion is not supported."}},
      false);
  // Nothing was prepared by the refused calls.
  EXPECT_EQ(0, out->getTimeStamp().time_since_epoch().count());
  EXPECT_EQ(ColorSpace::YUV_422, vga->getColorSpace());
}

TEST(Camera2DFrame, OutputIsPreparedBeforeInputFormatAndDispatchFailAndWhenConverting) {
  // An owning output without a block gets one from the checks.
  const Image depth = stamped(image(Resolution::VGA, ColorSpace::DEPTH_16)), vga = stamped(image(Resolution::VGA));
  const Image fresh = std::make_shared<ImageBuffer>("pool", Resolution::VGA, ColorSpace::YUV_422, true);
  const Image out = image(Resolution::VGA), y8 = image(Resolution::VGA);
  expectFailures({{{320, 240}, ColorSpace::RGB_888, depth, fresh, kRuntime,
                   "front: Conversion from the input buffer color space DEPTH_16 is not supported."},
                  {{160, 120}, ColorSpace::NV12_420, vga, out, kRuntime,
                   "front: Conversion to NV12_420 is currently not supported."}},
                 false);
  expectPrepared(*fresh, *depth, {320, 240}, ColorSpace::RGB_888);
  expectPrepared(*out, *vga, {160, 120}, ColorSpace::NV12_420);

  // 640 -> 320 is factor 2: luma of every second pixel of every second row.
  for (std::uint64_t i = 0; i < vga->getSize(); ++i) vga->getData()[i] = static_cast<std::uint8_t>(i * 7);
  Camera2D::convert2DImage(CameraPreferences(Resolution(320, 240), ColorSpace::Y_8, 30), vga, y8);
  expectPrepared(*y8, *vga, {320, 240}, ColorSpace::Y_8);
  EXPECT_EQ(vga->getData()[2 * 1280 + 4 * 5], y8->getData()[320 + 5]);
}

// The depth frame checks in the same order; these are the ones worded differently.
TEST(Camera3DFrame, RefusesBadRequestsWithItsOwnWording) {
  const Resolution size(8, 6);
  const Image depth = makeFilled(size, ColorSpace::DEPTH_16, 1), out = makeFilled(size, ColorSpace::DEPTH_16, 0);
  const Image infrared = stamped(makeFilled(size, ColorSpace::INFRARED_16, 1)), grey = image({16, 12});
  expectFailures(
      {{{0, 6}, ColorSpace::DEPTH_16, depth, out, kDomain, "Can't convert image whose width will be zero."},
       {{8, 0}, ColorSpace::DEPTH_16, depth, out, kDomain, "Can't convert image whose height will be zero."},
       {size, ColorSpace::DEPTH_16, image(size, ColorSpace::DEPTH_16, false), out, kArgument,
        "Can't convert image if data is unavailable."},
       {{(1ull << 63) + 4, 3}, ColorSpace::DEPTH_16, depth, out, kDomain,  // 6 w wraps onto 8 x 3
        "Input and Requested aspect ratio are different."},
       {size, ColorSpace::DEPTH_16, makeFilled(size, ColorSpace::Y_8, 0), out, kRuntime,
        "depth: convert3DImage() request a Depth or Infrared ColorSpace as input."},
       {size, ColorSpace::INFRARED_16, depth, out, kRuntime,
        "depth: Conversion to INFRARED_16 currently not supported."},
       // Infrared asked for grey: refused, but only after the output was prepared.
       {{4, 3}, ColorSpace::Y_8, infrared, grey, kRuntime, "depth: Conversion to Y_8 currently not supported."}},
      true);
  expectPrepared(*grey, *infrared, {4, 3}, ColorSpace::Y_8);
}

}  // namespace
}  // namespace videoDevice
