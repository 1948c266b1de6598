// Two depth conversions take a shorter way than the public steps they stand
// for: 3D points in one pass instead of convertDepth16toIJZ then
// convertProjectiveToRealWorld, and depth copies at whole factors without
// OpenCV's resize. Each must give exactly the bytes of the long way.

#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <videodevice/Camera3D.h>

#include "conversion/Camera3DTestImages.h"

namespace videoDevice {
namespace {

using namespace test::depth;

// Depths over the whole 16-bit range, no pattern a sampling error could hide in.
std::uint16_t scrambled(std::uint64_t x, std::uint64_t y) {
  return static_cast<std::uint16_t>(((x * 7919 + y * 104729) * 2654435761u) >> 13);
}

std::vector<unsigned char> bytes(const ImageBuffer& image) {
  return {image.getData(), image.getData() + image.getSize()};
}

TEST(Camera3DShortcuts, PointsInOnePassEqualTheTwoPublicSteps) {
  for (const FieldOfView fieldOfView : {FieldOfView{1.0f, 0.75f}, FieldOfView{1.5f, 1.2f}})
    for (auto [in, out] : {std::pair<Resolution, Resolution>{{640, 480}, {640, 480}}, {{640, 480}, {320, 240}},
                           {{640, 480}, {160, 120}}, {{17, 13}, {17, 13}}, {{6, 2}, {3, 1}}}) {
      SCOPED_TRACE(testing::Message() << in.width << "x" << in.height << " -> " << out.width << "x" << out.height);
      const auto input = makeImage(in, ColorSpace::DEPTH_16, scrambled, fieldOfView);
      const auto onePass = makeFilled(out, ColorSpace::XYZ_323232, 0xAB);
      Camera3D::convert3DImage(CameraPreferences(out, ColorSpace::XYZ_323232, 30), input, onePass, cv::Mat());
      const auto twoSteps = makeFilled(out, ColorSpace::XYZ_323232, 0xAB);
      twoSteps->setFielOfView(fieldOfView);
      Camera3D::convertDepth16toIJZ(input, twoSteps);
      Camera3D::convertProjectiveToRealWorld(twoSteps);
      EXPECT_EQ(bytes(*onePass), bytes(*twoSteps));
    }
}

TEST(Camera3DShortcuts, DepthCopiesEqualOpenCvNearestResize) {
  // Whole factors (the shortcut), a factor OpenCV does not map to whole
  // multiples (93), other ratios and an upscale (OpenCV's own way).
  for (auto [in, out] : {std::pair<Resolution, Resolution>{{640, 480}, {640, 480}}, {{640, 480}, {320, 240}},
                         {{640, 480}, {160, 120}}, {{660, 495}, {220, 165}}, {{186, 93}, {2, 1}},
                         {{640, 480}, {480, 360}}, {{6, 4}, {3, 1}}, {{4, 2}, {8, 4}}}) {
    SCOPED_TRACE(testing::Message() << in.width << "x" << in.height << " -> " << out.width << "x" << out.height);
    const auto input = makeImage(in, ColorSpace::DEPTH_16, scrambled);
    const auto output = makeFilled(out, ColorSpace::DEPTH_16, 0xAB);
    Camera3D::convertDepth16toDepth16(input, output);
    cv::Mat expected;
    cv::resize(ImageBuffer::imageBufferToCvMat(*input), expected,
               cv::Size(static_cast<int>(out.width), static_cast<int>(out.height)), 0, 0, cv::INTER_NEAREST);
    EXPECT_EQ(bytes(*output), std::vector<unsigned char>(expected.data, expected.data + expected.total() * 2));
  }
}

}  // namespace
}  // namespace videoDevice
