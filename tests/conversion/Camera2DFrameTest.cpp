// The 2D conversion frame: which colour spaces it accepts, its checks in
// order with their exact messages, and what it does to the output before and
// after converting.

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include <lumo/Clock.h>
#include <videodevice/Camera2D.h>

#include "support/LogCapture.h"

namespace videoDevice {
namespace {

using Input = std::shared_ptr<const ImageBuffer>;
using Output = std::shared_ptr<ImageBuffer>;

Output image(Resolution size, ColorSpace colorSpace, bool withData = true) {
  auto buffer = std::make_shared<ImageBuffer>("front", size, colorSpace, withData);
  if (withData) std::memset(buffer->getData(), 0x80, buffer->getSize());
  return buffer;
}

Output stampedInput(ColorSpace colorSpace = ColorSpace::YUV_422) {
  auto input = image(Resolution::VGA, colorSpace);
  input->setTimeStamp(lumo::Clock::time_point(lumo::Clock::duration(123456789)));
  input->setFielOfView(FieldOfView{1.0f, 0.75f});
  return input;
}

CameraPreferences request(std::uint64_t w, std::uint64_t h, ColorSpace colorSpace = ColorSpace::RGB_888) {
  return CameraPreferences(Resolution(w, h), colorSpace, 30);
}

// Runs the call and checks the exception's type and text and the one log record.
template <typename Exception>
void expectFailure(const std::function<void()>& call, const std::string& message) {
  test::LogCapture capture;
  try {
    call();
    ADD_FAILURE() << "no exception, expected: " << message;
  } catch (const Exception& e) {
    EXPECT_EQ(message, e.what());
  } catch (const std::exception& e) {
    ADD_FAILURE() << "wrong exception type: " << e.what();
  }
  EXPECT_TRUE(capture.contains(2, "vision.videodevice.camera2d", "convert2DImage", message)) << message;
}

void expectPrepared(const ImageBuffer& output, Resolution size, ColorSpace colorSpace) {
  EXPECT_EQ(size.width, output.getResolution().width);
  EXPECT_EQ(size.height, output.getResolution().height);
  EXPECT_EQ(colorSpace, output.getColorSpace());
  EXPECT_EQ(123456789, output.getTimeStamp().time_since_epoch().count());
  EXPECT_FLOAT_EQ(1.0f, output.getFieldOfView().horizontal);
  EXPECT_FLOAT_EQ(0.75f, output.getFieldOfView().vertical);
}

TEST(Camera2DFrame, ValidColorSpaces) {
  for (int value = -1; value <= 30; ++value) {
    const bool valid = value == 0 || (value >= 2 && value <= 12) || (value >= 14 && value <= 18);
    EXPECT_EQ(valid, Camera2D::isColorSpaceValid(static_cast<ColorSpace>(value))) << value;
  }
}

TEST(Camera2DFrame, ChecksFireInOrderWithTheirMessages) {
  const Input vga = stampedInput();
  const Output out = image(Resolution(320, 240), ColorSpace::RGB_888);
  const Input none;
  const Output noOutput;

  // The requested size is judged before anything else, even an empty input.
  expectFailure<std::domain_error>([&] { Camera2D::convert2DImage(request(0, 480), none, noOutput); },
                                   "Can't convert input to image whose width will be zero.");
  expectFailure<std::domain_error>([&] { Camera2D::convert2DImage(request(640, 0), none, noOutput); },
                                   "Can't convert input to image whose height will be zero.");
  for (ColorSpace refused : {ColorSpace::DEPTH_16, ColorSpace::ARGB_8888, ColorSpace::UNKNOWN})
    expectFailure<std::runtime_error>(
        [&] { Camera2D::convert2DImage(request(320, 240, refused), none, noOutput); },
        "Can't convert image to the requested colorspace.");

  expectFailure<std::invalid_argument>([&] { Camera2D::convert2DImage(request(320, 240), none, noOutput); },
                                       "Can't convert image if input pointer is empty.");
  const Input noData = image(Resolution::VGA, ColorSpace::YUV_422, false);
  expectFailure<std::invalid_argument>([&] { Camera2D::convert2DImage(request(320, 240), noData, out); },
                                       "Can't convert image if input data is unavailable.");
  expectFailure<std::domain_error>(
      [&] { Camera2D::convert2DImage(request(320, 240), image(Resolution(0, 480), ColorSpace::YUV_422), out); },
      "Can't convert input image whose width is zero.");
  expectFailure<std::domain_error>(
      [&] { Camera2D::convert2DImage(request(320, 240), image(Resolution(640, 0), ColorSpace::YUV_422), out); },
      "Can't convert input image whose height is zero.");

  expectFailure<std::invalid_argument>([&] { Camera2D::convert2DImage(request(320, 240), vga, noOutput); },
                                       "Can't convert image if output pointer is empty.");
  expectFailure<std::invalid_argument>(
      [&] {
        Camera2D::convert2DImage(request(320, 240), vga, image(Resolution(320, 240), ColorSpace::RGB_888, false));
      },
      "Can't convert image if output data is unavailable.");
  const Output same = stampedInput();
  expectFailure<std::invalid_argument>([&] { Camera2D::convert2DImage(request(320, 240), same, same); },
                                       "Inplace conversion is not supported.");
  expectFailure<std::domain_error>([&] { Camera2D::convert2DImage(request(320, 200), vga, out); },
                                   "Input and Requested aspect ratio are different.");
  expectFailure<std::domain_error>([&] { Camera2D::convert2DImage(request(1280, 960), vga, out); },
                                   "Upscale conversion is not supported.");
  // Nothing was prepared by the refused calls.
  EXPECT_EQ(0, out->getTimeStamp().time_since_epoch().count());
}

TEST(Camera2DFrame, OutputIsPreparedBeforeInputFormatAndDispatchFail) {
  // An owning output without a block gets one from the checks.
  const Output fresh = std::make_shared<ImageBuffer>("pool", Resolution::VGA, ColorSpace::YUV_422, true);
  expectFailure<std::runtime_error>(
      [&] { Camera2D::convert2DImage(request(320, 240), stampedInput(ColorSpace::DEPTH_16), fresh); },
      "front: Conversion from the input buffer color space DEPTH_16 is not supported.");
  expectPrepared(*fresh, Resolution(320, 240), ColorSpace::RGB_888);

  const Output out = image(Resolution::VGA, ColorSpace::YUV_422);
  expectFailure<std::runtime_error>(
      [&] { Camera2D::convert2DImage(request(160, 120, ColorSpace::NV12_420), stampedInput(), out); },
      "front: Conversion to NV12_420 is currently not supported.");
  expectPrepared(*out, Resolution(160, 120), ColorSpace::NV12_420);
}

TEST(Camera2DFrame, ConvertsAndStamps) {
  const Output input = stampedInput();
  for (std::uint64_t i = 0; i < input->getSize(); ++i) input->getData()[i] = static_cast<std::uint8_t>(i * 7);

  // Same size, same format: a copy.
  const Output copy = image(Resolution::VGA, ColorSpace::Y_8);
  Camera2D::convert2DImage(request(640, 480, ColorSpace::YUV_422), input, copy);
  expectPrepared(*copy, Resolution::VGA, ColorSpace::YUV_422);
  EXPECT_EQ(0, std::memcmp(input->getData(), copy->getData(), input->getSize()));

  // 640 -> 320 is factor 2: luma of every second pixel of every second row.
  const Output y8 = image(Resolution(320, 240), ColorSpace::Y_8);
  Camera2D::convert2DImage(request(320, 240, ColorSpace::Y_8), input, y8);
  expectPrepared(*y8, Resolution(320, 240), ColorSpace::Y_8);
  EXPECT_EQ(input->getData()[2 * 1280 + 4 * 5], y8->getData()[320 + 5]);
}

}  // namespace
}  // namespace videoDevice
