#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CameraTestSupport.h"
#include "support/LogCapture.h"
#include "support/ScriptedCamera.h"

namespace videoDevice {
namespace test {
namespace {

// H = 1 rad, V = 0.75 rad on a camera whose largest mode is 640 x 480.
std::shared_ptr<ScriptedCamera> makeCamera() {
  auto camera = ScriptedCamera::make("cam", {Resolution(320, 240), Resolution(640, 480)},
                                     {ColorSpace::YUV_422}, {30});
  camera->setFieldOfView(FieldOfView{1.0f, 0.75f});
  return camera;
}

TEST(CameraGeometry, PositionsMapLinearlyBothWays) {
  auto camera = makeCamera();
  const auto centre = camera->getAngularPositionFromImagePosition({0.5f, 0.5f});
  ASSERT_EQ(centre.size(), 2u);
  EXPECT_EQ(centre[0], 0.0f);
  EXPECT_TRUE(std::signbit(centre[0]));  // -(0.5 - 0.5) * H
  EXPECT_EQ(centre[1], 0.0f);
  EXPECT_FALSE(std::signbit(centre[1]));

  // Left of the image is a positive horizontal angle, the top a negative vertical one.
  EXPECT_EQ(camera->getAngularPositionFromImagePosition({0.0f, 0.0f}),
            (std::vector<float>{0.5f, -0.375f}));
  EXPECT_EQ(camera->getImagePositionFromAngularPosition({0.5f, -0.375f}),
            (std::vector<float>{0.0f, 0.0f}));
  EXPECT_EQ(camera->getAngularPositionFromImagePosition({1.0f, 0.75f}),
            (std::vector<float>{-0.5f, 0.1875f}));
  EXPECT_EQ(camera->getImagePositionFromAngularPosition({-0.5f, 0.1875f}),
            (std::vector<float>{1.0f, 0.75f}));
}

TEST(CameraGeometry, SizesMapToFractionsOfTheFieldOfView) {
  auto camera = makeCamera();
  EXPECT_EQ(camera->getAngularSizeFromImageSize({1.0f, 1.0f}), (std::vector<float>{1.0f, 0.75f}));
  EXPECT_EQ(camera->getImageSizeFromAngularSize({0.25f, 0.375f}),
            (std::vector<float>{0.25f, 0.5f}));

  LogCapture capture;
  EXPECT_TRUE(camera->getAngularSizeFromImageSize({1.5f, 0.5f}).empty());
  EXPECT_TRUE(camera->getAngularSizeFromImageSize({0.5f, -0.1f}).empty());
  EXPECT_TRUE(capture.contains(2, kCameraCategory, "getAngularSizeFromImageSize",
                               "getAngularSizeFromImageSize(): Invalid input parameters"));
  // The check rejects out-of-range values; NaN is converted.
  EXPECT_EQ(camera->getAngularSizeFromImageSize({NAN, 0.5f}).size(), 2u);
}

TEST(CameraGeometry, WrongInputSizesAreLoggedAndAnsweredEmpty) {
  auto camera = makeCamera();
  LogCapture capture;
  const std::vector<float> three = {0.1f, 0.2f, 0.3f};
  EXPECT_TRUE(camera->getAngularPositionFromImagePosition(three).empty());
  EXPECT_TRUE(camera->getImagePositionFromAngularPosition(three).empty());
  EXPECT_TRUE(camera->getAngularSizeFromImageSize(three).empty());
  EXPECT_TRUE(camera->getImageSizeFromAngularSize({}).empty());
  EXPECT_TRUE(capture.contains(
      2, kCameraCategory, "getImagePositionFromAngularPosition",
      "getImagePositionFromAngularPosition(): Invalid parameter size\nPlease provide a 2D Point."));
  EXPECT_TRUE(capture.contains(
      2, kCameraCategory, "getImageSizeFromAngularSize",
      "getImageSizeFromAngularSize(): Invalid parameter size\nPlease provide a 2D Point."));
  EXPECT_EQ(cameraMessages(capture, 2).size(), 4u);

  EXPECT_TRUE(camera->getImageInfoFromAngularInfo(three).empty());
  EXPECT_TRUE(capture.contains(
      2, kCameraCategory, "getImageInfoFromAngularInfo",
      "getImageInfoFromAngularInfo(): Invalid parameter size (expected 4, actual 3)."));
  EXPECT_TRUE(
      camera->getImageInfoFromAngularInfoWithResolution({1, 2, 3, 4, 5}, Resolution(320, 240))
          .empty());
  EXPECT_TRUE(capture.hasMessage(
      2, "getImageInfoFromAngularInfoWithResolution(): Invalid parameter size (expected 4, actual "
         "5)."));
}

TEST(CameraGeometry, AngularInfoBecomesPixelsAtAValidResolution) {
  auto camera = makeCamera();
  EXPECT_EQ(camera->getImageInfoFromAngularInfo({0.0f, 0.0f, 1.0f, 0.75f}),
            (std::vector<float>{0.5f, 0.5f, 1.0f, 1.0f}));
  EXPECT_EQ(camera->getImageInfoFromAngularInfoWithResolution({0.0f, 0.0f, 1.0f, 0.75f},
                                                              Resolution(320, 240)),
            (std::vector<float>{160.0f, 120.0f, 320.0f, 240.0f}));
  // A quarter of H to the left and a quarter of V down, half the field wide.
  EXPECT_EQ(camera->getImageInfoFromAngularInfoWithResolution({0.25f, 0.1875f, 0.5f, 0.375f},
                                                              Resolution(640, 480)),
            (std::vector<float>{160.0f, 360.0f, 320.0f, 240.0f}));

  LogCapture capture;
  EXPECT_TRUE(camera->getImageInfoFromAngularInfoWithResolution({0.0f, 0.0f, 1.0f, 0.75f},
                                                                Resolution(320, 200))
                  .empty());
  EXPECT_TRUE(capture.contains(
      2, kCameraCategory, "getImageInfoFromAngularInfoWithResolution",
      "getImageInfoFromAngularInfoWithResolution(): Invalid resolution (actual 320x200)."));
}

}  // namespace
}  // namespace test
}  // namespace videoDevice
