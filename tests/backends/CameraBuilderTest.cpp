// The model catalogue and the builder: every set-up's values, the
// configuration of a built camera, the three failure paths, and bad input
// handed to built cameras.

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <tuple>
#include <vector>

#include "BackendsTestSupport.h"
#include "videodevice/CameraBuilder.h"
#include "videodevice/VideoDevice.h"

using namespace videoDevice;
using videoDevice::test::expectFailure;

namespace {
const char* kCategory = "vision.videodevice.camerabuilder";
std::set<unsigned short> range(unsigned short first, unsigned short last) {
  std::set<unsigned short> rates;
  for (unsigned short rate = first; rate <= last; ++rate) rates.insert(rate);
  return rates;
}
}  // namespace

TEST(CameraBuilder, CatalogueDescribesEveryModel) {
  const FieldOfView f609{1.0629055500030518f, 0.8307767510414124f}, f572{0.9983283877372742f, 0.7731809020042419f},
      f88{1.5358898639678955f, 1.2566370964050293f}, fXtion{1.0226058959960938f, 0.7966206669807434f};
  const ColorSpace yuv = ColorSpace::YUV_422, depth = ColorSpace::DEPTH_16;
  const struct {
    void (*setup)(CameraInfo&);
    std::string backend, model;
    std::set<Resolution> resolutions;
    ColorSpace colorSpace;
    std::set<unsigned short> frameRates;
    FieldOfView fov;
    std::vector<std::string> calibration;
  } models[] = {
      {CameraBuilder::setupSimulatorMT9M114, "Simulator2D", "MT9M114", {{320, 240}, {640, 480}, {1280, 960}}, yuv,
       range(5, 30), f609, {}},
      {CameraBuilder::setupSimulatorVelaStereo, "Simulator3D", "Stereo",
       {{160, 120}, {320, 240}, {640, 480}, {1280, 960}}, depth, range(1, 30), f609, {}},
      {CameraBuilder::setupSimulatorOV5640, "Simulator2D", "OV5640", {{320, 240}, {640, 480}, {2560, 1920}}, yuv,
       range(5, 30), f572, {}},
      {CameraBuilder::setupSimulatorLIOV5640, "Simulator2D", "OV5640", {{640, 480}, {1280, 960}, {2560, 1920}}, yuv,
       {15, 30}, f572, {}},
      {CameraBuilder::setupSimulatorLIOV4689, "Simulator2D", "OV4689", {{1344, 376}, {2560, 720}}, yuv,
       {10, 15}, f88, {}},
      {CameraBuilder::setupSimulatorXTION, "Simulator3D", "XTION", {{160, 120}, {320, 240}, {640, 480}}, depth,
       range(1, 30), fXtion, {}},
      {CameraBuilder::setupSimulatorQuillStereo, "Simulator3D", "Stereo",
       {{80, 45}, {160, 90}, {320, 180}, {640, 360}, {1280, 720}}, depth, range(1, 15), f88, {}},
      {CameraBuilder::setupVelaStereo, "VelaStereo", "keep", {{80, 60}, {160, 120}, {320, 240}, {640, 480}}, depth,
       range(5, 30), f609, {"calibration_stereo_left.yml", "calibration_stereo_right.yml"}},
      {CameraBuilder::setupQuillStereo, "QuillStereo", "keep", {{160, 90}, {320, 180}, {640, 360}, {1280, 720}},
       depth, range(1, 15), f88, {"calibration_liov4689_left.yml", "calibration_liov4689_right.yml"}},
  };
  for (const auto& m : models) {
    SCOPED_TRACE(m.backend + " " + m.model);
    CameraInfo info;  // what the caller set stays, except the real cameras' free text
    info.name = "cam";
    info.model = "keep";
    info.extra = "extra";
    info.horizontalFlip = true;
    for (int round = 0; round < 2; ++round) {  // applied twice: the second changes nothing
      m.setup(info);
      EXPECT_EQ(std::tie(info.name, info.backend, info.model, info.extra, info.colorSpaces, info.frameRates,
                         info.calibrationFiles, info.horizontalFlip, info.verticalFlip),
                std::make_tuple("cam", m.backend, m.model, m.calibration.empty() ? "extra" : "",
                                std::set<ColorSpace>{m.colorSpace}, m.frameRates, m.calibration, true, false));
      EXPECT_TRUE(info.resolutions == m.resolutions);
      EXPECT_EQ(std::make_pair(info.fieldOfView.horizontal, info.fieldOfView.vertical),
                std::make_pair(m.fov.horizontal, m.fov.vertical));
    }
  }
}

TEST(CameraBuilder, BuildsConfiguresAndReportsFailures) {
  videoDevice::test::LogCapture capture;
  CameraInfo info;
  info.name = "top";
  CameraBuilder::setupSimulatorLIOV5640(info);
  info.verticalFlip = true;
  std::shared_ptr<Camera> camera = CameraBuilder::createCamera({}, info);
  EXPECT_EQ(camera->getDefaultFlip(), std::make_pair(false, true));
  EXPECT_TRUE(camera->getNativelySupportedResolutions() == info.resolutions);
  EXPECT_EQ(camera->getNativelySupportedFrameRates(), info.frameRates);
  // The base camera logs calibration as unsupported: only a non-empty list reaches it.
  EXPECT_FALSE(capture.hasMessage(3, "top: Calibration is not supported."));
  info.calibrationFiles = {"left.yml"};
  CameraBuilder::createCamera({}, info);
  EXPECT_TRUE(capture.hasMessage(3, "top: Calibration is not supported."));
  info = CameraInfo();
  info.name = "stereo";
  CameraBuilder::setupVelaStereo(info);
  // A real backend is not built here: the log names it, callers match the short text.
  expectFailure<std::invalid_argument>([&] { CameraBuilder::createCamera({}, info); }, "Camera not supported");
  EXPECT_TRUE(capture.contains(2, kCategory, "createCamera",
                               "Can't create camera backend,  model \"VelaStereo\" unsupported."));
  // An invalid field of view stops the configuration, yet the camera is registered.
  auto device = std::make_shared<VideoDevice>();
  info = CameraInfo();
  info.name = "broken";
  CameraBuilder::setupSimulatorMT9M114(info);
  info.fieldOfView = {0.0f, 0.0f};
  CameraBuilder{device, info};
  EXPECT_TRUE(capture.contains(3, kCategory, "createCamera",
                               "broken: Error at construction: Field of View must be strictly positive."));
  ASSERT_NE(device->getCamera("broken"), nullptr);
  EXPECT_TRUE(device->getCamera("broken")->getNativelySupportedResolutions().empty());
  std::weak_ptr<VideoDevice> gone = device;
  device.reset();
  info.name = "late";
  info.fieldOfView = {1.0f, 0.75f};
  expectFailure<std::runtime_error>([&] { CameraBuilder{gone, info}; }, "Can't lock VideoDevice");
}

TEST(CameraBuilder, BuiltCamerasServeOrRefuseBadInputWithStandardExceptions) {
  using Time = lumo::Clock::time_point;
  const auto unknownColorSpace = static_cast<ColorSpace>(9999);
  auto device = std::make_shared<VideoDevice>();
  for (auto [setup, name, pushed] : {std::tuple{&CameraBuilder::setupSimulatorMT9M114, "top", ColorSpace::RGB_888},
                                     std::tuple{&CameraBuilder::setupSimulatorXTION, "depth", ColorSpace::DEPTH_16}}) {
    CameraInfo info;
    info.name = name;
    setup(info);
    CameraBuilder(device, info);
    const std::string me = device->subscribeCamera("client", name, {320, 240}, ColorSpace::RGB_888, 15);
    // Time stamps and request times at both ends of the clock are served.
    for (Time stamp : {Time::min(), Time::max()}) {
      auto frame = std::make_shared<ImageBuffer>(name, Resolution::VGA, pushed, true);
      std::fill_n(frame->getData(), frame->getSize(), 100);
      frame->setTimeStamp(stamp);
      device->putImage(frame);
      for (Time request : {Time::min(), lumo::Clock::now(), Time::max()}) {
        EXPECT_EQ(device->getImage(request, me)->getResolution(), Resolution(320, 240)) << name;
        device->releaseImage(me);
      }
    }
    // Unknown enumerators are refused and change nothing.
    EXPECT_THROW(device->setCameraParameter(name, static_cast<Parameter>(9999), 1), std::runtime_error);
    EXPECT_THROW(device->setColorSpace(me, unknownColorSpace), std::out_of_range);
    EXPECT_EQ(device->getColorSpace(me), ColorSpace::RGB_888);
    EXPECT_THROW(device->putImage(std::make_shared<ImageBuffer>(name, Resolution::VGA, unknownColorSpace, true)),
                 std::invalid_argument);
    device->unsubscribe(me);
  }
  // A largest mode of 2^64 pixels: its raw buffer is refused, not allocated
  // for a wrapped byte count and overrun.
  for (auto [backend, native] :
       {std::pair{"Simulator2D", ColorSpace::YUV_422}, std::pair{"Simulator3D", ColorSpace::DEPTH_16}}) {
    // Named after its backend; no flips, calibration nor extra.
    const CameraInfo info{backend, backend, "huge", "", {1.0f, 0.75f}, false, false, {},
                          {{320, 240}, {1ull << 33, 1ull << 31}}, {native}, {15}};
    CameraBuilder(device, info);
    const std::string me = device->subscribeCamera("client", backend, {320, 240}, ColorSpace::RGB_888, 15);
    EXPECT_THROW(device->getImage(lumo::Clock::now(), me), std::invalid_argument) << backend;
    device->unsubscribe(me);
  }
}
