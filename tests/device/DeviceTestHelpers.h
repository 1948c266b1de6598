#pragma once
// Shared by the device tests: a failure checker, a device on mock cameras that
// accept every request, and catalogue simulators.

#include <exception>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <videodevice/CameraBuilder.h>
#include <videodevice/CameraInfo.h>
#include <videodevice/ImageBuffer.h>
#include <videodevice/VideoDevice.h>

#include "support/MockCamera.h"

namespace videoDevice {
namespace test {

const Resolution qvga(320, 240);
const ColorSpace rgb = ColorSpace::RGB_888;
const char* const streamKindMessage =
    "Only mono stream subscribers can call this method. Please verify you have subscribed to "
    "VideoDevice using subscribeCamera().";

inline std::string stillProcessingMessage(const std::string& subscriber) {
  return "Subscriber \"" + subscriber +
         "\" is still processing. Please verify you have release previous image(s).";
}

// Runs `call` and expects exception E carrying exactly `message`.
template <typename E, typename F>
void expectFailure(F call, const std::string& message) {
  try {
    call();
    ADD_FAILURE() << "no exception, expected: " << message;
  } catch (const E& error) {
    EXPECT_EQ(error.what(), message);
  } catch (const std::exception& error) {
    ADD_FAILURE() << "wrong exception type, message: " << error.what();
  }
}

using NiceCamera = ::testing::NiceMock<MockCamera>;

// Accepts every request and answers fetches with a fresh buffer made to the
// request, carrying its own name. Defaults: 160x120 YUV_422 at 5 fps.
inline std::shared_ptr<NiceCamera> acceptingCamera(const std::string& name) {
  using ::testing::_;
  auto camera = std::make_shared<NiceCamera>(name);
  ON_CALL(*camera, isValidRequest(_)).WillByDefault(::testing::Return(true));
  const auto makeBuffer = [name](const lumo::Clock::time_point&, const CameraPreferences& p) {
    return std::shared_ptr<const ImageBuffer>(
        std::make_shared<ImageBuffer>(name, p.getResolution(), p.getColorSpace(), true));
  };
  ON_CALL(*camera, getImageBuffer(_, _)).WillByDefault(makeBuffer);
  ON_CALL(*camera, getDirectRawImageBuffer(_, _)).WillByDefault(makeBuffer);
  ON_CALL(*camera, getDirectRawExtraColorSpaceImageBuffer(_, _)).WillByDefault(makeBuffer);
  ON_CALL(*camera, buildDefaultPreferences()).WillByDefault([] {
    return std::make_shared<CameraPreferences>(Resolution(160, 120), ColorSpace::YUV_422, 5);
  });
  return camera;
}

// A device with accepting cameras A (the default), B and C.
struct MockedDevice : ::testing::Test {
  MockedDevice() {
    for (const auto& camera : {a, b, c}) device->addCamera(camera);
  }
  void verify() {
    for (const auto& camera : {a, b, c}) ::testing::Mock::VerifyAndClearExpectations(camera.get());
  }
  std::shared_ptr<VideoDevice> device = std::make_shared<VideoDevice>();
  std::shared_ptr<NiceCamera> a = acceptingCamera("A"), b = acceptingCamera("B"),
                              c = acceptingCamera("C");
};

// Adds a catalogue simulator (e.g. CameraBuilder::setupSimulatorMT9M114) named `name`.
inline void addSimulator(const std::shared_ptr<VideoDevice>& device, const std::string& name,
                         void (*setup)(CameraInfo&)) {
  CameraInfo info;
  setup(info);
  info.name = name;
  CameraBuilder(device, info);
}

}  // namespace test
}  // namespace videoDevice
