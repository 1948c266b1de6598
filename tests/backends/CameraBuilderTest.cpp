// The model catalogue and the builder: every set-up's values, the
// configuration of a built camera, and the three failure paths.

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "videodevice/CameraBuilder.h"
#include "videodevice/VideoDevice.h"

using namespace videoDevice;

namespace {

const char* kCategory = "vision.videodevice.camerabuilder";

struct Model {
  void (*setup)(CameraInfo&);
  std::string backend, model;
  std::set<Resolution> resolutions;
  ColorSpace colorSpace;
  std::set<unsigned short> frameRates;
  FieldOfView fov;
  std::vector<std::string> calibration;
};

std::set<std::pair<std::uint64_t, std::uint64_t>> sizes(const std::set<Resolution>& resolutions) {
  std::set<std::pair<std::uint64_t, std::uint64_t>> result;
  for (const Resolution& r : resolutions) result.insert({r.width, r.height});
  return result;
}

std::set<unsigned short> range(unsigned short first, unsigned short last) {
  std::set<unsigned short> rates;
  for (unsigned short rate = first; rate <= last; ++rate) rates.insert(rate);
  return rates;
}

}  // namespace

TEST(CameraBuilder, CatalogueDescribesEveryModel) {
  const FieldOfView fov609{1.0629055500030518f, 0.8307767510414124f};
  const FieldOfView fov572{0.9983283877372742f, 0.7731809020042419f};
  const FieldOfView fov88{1.5358898639678955f, 1.2566370964050293f};
  const FieldOfView fovXtion{1.0226058959960938f, 0.7966206669807434f};
  const ColorSpace yuv = ColorSpace::YUV_422, depth = ColorSpace::DEPTH_16;
  // clang-format off
  const std::vector<Model> models = {
      {CameraBuilder::setupSimulatorMT9M114, "Simulator2D", "MT9M114",
       {{320, 240}, {640, 480}, {1280, 960}}, yuv, range(5, 30), fov609, {}},
      {CameraBuilder::setupSimulatorVelaStereo, "Simulator3D", "Stereo",
       {{160, 120}, {320, 240}, {640, 480}, {1280, 960}}, depth, range(1, 30), fov609, {}},
      {CameraBuilder::setupSimulatorOV5640, "Simulator2D", "OV5640",
       {{320, 240}, {640, 480}, {2560, 1920}}, yuv, range(5, 30), fov572, {}},
      {CameraBuilder::setupSimulatorLIOV5640, "Simulator2D", "OV5640",
       {{640, 480}, {1280, 960}, {2560, 1920}}, yuv, {15, 30}, fov572, {}},
      {CameraBuilder::setupSimulatorLIOV4689, "Simulator2D", "OV4689",
       {{1344, 376}, {2560, 720}}, yuv, {10, 15}, fov88, {}},
      {CameraBuilder::setupSimulatorXTION, "Simulator3D", "XTION",
       {{160, 120}, {320, 240}, {640, 480}}, depth, range(1, 30), fovXtion, {}},
      {CameraBuilder::setupSimulatorQuillStereo, "Simulator3D", "Stereo",
       {{80, 45}, {160, 90}, {320, 180}, {640, 360}, {1280, 720}}, depth, range(1, 15), fov88, {}},
      {CameraBuilder::setupVelaStereo, "VelaStereo", "keep",
       {{80, 60}, {160, 120}, {320, 240}, {640, 480}}, depth, range(5, 30), fov609,
       {"calibration_stereo_left.yml", "calibration_stereo_right.yml"}},
      {CameraBuilder::setupQuillStereo, "QuillStereo", "keep",
       {{160, 90}, {320, 180}, {640, 360}, {1280, 720}}, depth, range(1, 15), fov88,
       {"calibration_liov4689_left.yml", "calibration_liov4689_right.yml"}},
  };
  // clang-format on
  for (const Model& m : models) {
    SCOPED_TRACE(m.backend + " " + m.model);
    CameraInfo info;
    info.name = "cam";
    info.model = "keep";
    info.extra = "extra";
    m.setup(info);
    const bool real = !m.calibration.empty();
    EXPECT_EQ(info.name, "cam");
    EXPECT_EQ(info.backend, m.backend);
    EXPECT_EQ(info.model, m.model);
    EXPECT_EQ(info.extra, real ? "" : "extra");
    EXPECT_EQ(sizes(info.resolutions), sizes(m.resolutions));
    EXPECT_EQ(info.colorSpaces, std::set<ColorSpace>{m.colorSpace});
    EXPECT_EQ(info.frameRates, m.frameRates);
    EXPECT_EQ(info.fieldOfView.horizontal, m.fov.horizontal);
    EXPECT_EQ(info.fieldOfView.vertical, m.fov.vertical);
    EXPECT_FALSE(info.horizontalFlip || info.verticalFlip);
    EXPECT_EQ(info.calibrationFiles, m.calibration);

    const CameraInfo once = info;
    m.setup(info);
    EXPECT_EQ(sizes(info.resolutions), sizes(once.resolutions));
    EXPECT_EQ(info.frameRates, once.frameRates);
    EXPECT_EQ(info.colorSpaces, once.colorSpaces);
    EXPECT_EQ(info.calibrationFiles, once.calibrationFiles);
  }
}

TEST(CameraBuilder, BuildsAndConfiguresSimulators) {
  videoDevice::test::LogCapture capture;
  CameraInfo info;
  info.name = "top";
  CameraBuilder::setupSimulatorLIOV5640(info);
  info.verticalFlip = true;
  std::shared_ptr<Camera> camera = CameraBuilder::createCamera({}, info);
  EXPECT_TRUE(
      capture.contains(4, kCategory, "createCamera", "Building top (backend: Simulator2D)"));
  EXPECT_EQ(camera->getName(), "top");
  EXPECT_EQ(camera->getModel(), "OV5640");
  EXPECT_TRUE(camera->isSimulated());
  EXPECT_EQ(camera->getFieldOfView().horizontal, 0.9983283877372742f);
  EXPECT_EQ(camera->getDefaultFlip(), std::make_pair(false, true));
  EXPECT_EQ(sizes(camera->getNativelySupportedResolutions()), sizes(info.resolutions));
  EXPECT_EQ(camera->getNativelySupportedColorSpaces(), info.colorSpaces);
  EXPECT_EQ(camera->getNativelySupportedFrameRates(), info.frameRates);
  EXPECT_EQ(camera->getParameterList(), std::vector<Parameter>{Parameter::KEEP_ALIVE});
  // The base camera reports calibration as unsupported: only a list reaches it.
  EXPECT_FALSE(capture.hasMessage(3, "top: Calibration is not supported."));
  info.calibrationFiles = {"left.yml"};
  CameraBuilder::createCamera({}, info);
  EXPECT_TRUE(capture.hasMessage(3, "top: Calibration is not supported."));

  CameraInfo depth;
  depth.name = "depth";
  CameraBuilder::setupSimulatorXTION(depth);
  camera = CameraBuilder::createCamera({}, depth);
  EXPECT_EQ(camera->getModel(), "XTION");
  EXPECT_TRUE(camera->isSimulated());
}

TEST(CameraBuilder, ReportsUnsupportedBackendsFailedConfigurationAndLostDevice) {
  videoDevice::test::LogCapture capture;
  CameraInfo real;
  real.name = "stereo";
  CameraBuilder::setupVelaStereo(real);
  try {
    CameraBuilder::createCamera({}, real);
    ADD_FAILURE() << "a real stereo backend was built";
  } catch (const std::invalid_argument& error) {
    EXPECT_STREQ(error.what(), "Camera not supported");
  }
  const auto messages = capture.messages();
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[0], "Building stereo (backend: VelaStereo)");
  EXPECT_TRUE(capture.contains(2, kCategory, "createCamera",
                               "Can't create camera backend,  model \"VelaStereo\" unsupported."));

  // An invalid field of view stops the configuration, yet the camera is registered.
  auto device = std::make_shared<VideoDevice>();
  CameraInfo broken;
  broken.name = "broken";
  CameraBuilder::setupSimulatorMT9M114(broken);
  broken.fieldOfView = {0.0f, 0.0f};
  const CameraBuilder registered(device, broken);
  EXPECT_TRUE(
      capture.contains(3, kCategory, "createCamera",
                       "broken: Error at construction: Field of View must be strictly positive."));
  std::shared_ptr<Camera> camera = device->getCamera("broken");
  ASSERT_NE(camera, nullptr);
  EXPECT_TRUE(camera->getNativelySupportedResolutions().empty());
  EXPECT_TRUE(camera->getNativelySupportedFrameRates().empty());

  std::weak_ptr<VideoDevice> gone = device;
  device.reset();
  CameraInfo late;
  late.name = "late";
  CameraBuilder::setupSimulatorMT9M114(late);
  try {
    const CameraBuilder orphan(gone, late);
    ADD_FAILURE() << "built without a device";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "Can't lock VideoDevice");
  }
  EXPECT_TRUE(capture.contains(1, kCategory, "CameraBuilder",
                               "Can't create new camera: can't lock VideoDevice"));
}
