// Describing a V4L2 camera from what its node reports, through the fake
// device: modes from discrete and stepwise enumerations, and the refusals,
// each naming the path and leaving no descriptor open.

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <videodevice/CameraInfo.h>

#include "backends/V4l2Setup.h"
#include "support/FakeV4l2Device.h"

namespace videoDevice {
namespace {

using testing::FakeV4l2Camera;
using testing::FakeV4l2Io;

TEST(V4l2Setup, DescribesDiscreteAndStepwiseCameras) {
  FakeV4l2Io io;
  io.add("/dev/video0", FakeV4l2Camera::usbWebcam());
  io.add("/dev/video2", FakeV4l2Camera::stepwiseSensor());

  CameraInfo webcam;
  webcam.name = "front";
  backends::setupV4l2Camera(io, webcam, "/dev/video0");
  EXPECT_EQ("V4L2", webcam.backend);
  EXPECT_EQ("HD Webcam C270", webcam.model);
  EXPECT_EQ("/dev/video0", webcam.devicePath);
  // 1280x720 has another shape than the largest size: left out, with its rates.
  EXPECT_EQ((std::vector<Resolution>{{640, 480}, {1280, 960}}),
            std::vector<Resolution>(webcam.resolutions.begin(), webcam.resolutions.end()));
  EXPECT_EQ((std::set<unsigned short>{5, 8, 15, 30}), webcam.frameRates);
  EXPECT_EQ((std::set<ColorSpace>{ColorSpace::YUV_422}), webcam.colorSpaces);
  EXPECT_GT(webcam.fieldOfView.horizontal, 1.0f);
  EXPECT_GT(webcam.fieldOfView.vertical, 0.8f);

  // Usual sizes on the sensor's 16 x 8 grid of the shape of its largest one
  // (not 640x360, 1280x720 ...), and that one; the usual rates between 1 and
  // 60 frames a second.
  CameraInfo sensor;
  sensor.fieldOfView = FieldOfView{0.9f, 0.7f};  // known optics are kept
  backends::setupV4l2Camera(io, sensor, "/dev/video2");
  const std::vector<Resolution> expected{{160, 120},   {320, 240},   {640, 480},  {800, 600},
                                         {1024, 768},  {1280, 960},  {1600, 1200}, {2560, 1920},
                                         {2592, 1944}};
  EXPECT_EQ(expected, std::vector<Resolution>(sensor.resolutions.begin(), sensor.resolutions.end()));
  EXPECT_EQ((std::set<unsigned short>{1, 2, 5, 10, 15, 20, 24, 25, 30, 50, 60}), sensor.frameRates);
  EXPECT_FLOAT_EQ(0.9f, sensor.fieldOfView.horizontal);
  EXPECT_EQ(0u, io.openDescriptors());
}

TEST(V4l2Setup, RefusalsNameThePathAndCloseTheNode) {
  FakeV4l2Io io;
  FakeV4l2Camera busy = FakeV4l2Camera::usbWebcam();
  busy.busy = true;
  FakeV4l2Camera output = FakeV4l2Camera::usbWebcam();
  output.capabilities = V4L2_CAP_VIDEO_OUTPUT | V4L2_CAP_STREAMING;
  FakeV4l2Camera readOnly = FakeV4l2Camera::usbWebcam();
  readOnly.capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_READWRITE;
  io.add("/dev/video1", busy);
  io.add("/dev/video3", output);
  io.add("/dev/video4", readOnly);
  io.add("/dev/video5", FakeV4l2Camera::mjpegOnly());

  const auto refusal = [&](const std::string& path) {
    CameraInfo info;
    info.name = "top";
    try {
      backends::setupV4l2Camera(io, info, path);
    } catch (const std::runtime_error& error) {
      EXPECT_TRUE(info.backend.empty()) << path;  // nothing filled in
      return std::string(error.what());
    }
    return std::string("no error");
  };
  EXPECT_EQ("top: /dev/video9 does not exist", refusal("/dev/video9"));
  EXPECT_EQ("top: /dev/video1 is busy (another program has it open)", refusal("/dev/video1"));
  EXPECT_EQ("top: /dev/video3 is not a video capture device", refusal("/dev/video3"));
  EXPECT_EQ("top: /dev/video4 is not a video capture device", refusal("/dev/video4"));
  EXPECT_EQ("top: /dev/video5 offers no YUYV (YUV 4:2:2) frames; it offers: MJPG, H264",
            refusal("/dev/video5"));
  EXPECT_EQ(0u, io.openDescriptors());
}

}  // namespace
}  // namespace videoDevice
