#pragma once
// Shared by the device tests: a failure checker and mock cameras that accept
// every request and hand out buffers named after themselves.

#include <exception>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <videodevice/ImageBuffer.h>

#include "support/MockCamera.h"

namespace videoDevice {
namespace test {

const char* const deviceCategory = "vision.videodevice";
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

// A camera that accepts every request, answers fetches with a fresh buffer
// made to the request and carrying its own name, and offers 160x120 YUV_422
// at 5 fps as its default preferences.
inline std::shared_ptr<NiceCamera> acceptingCamera(const std::string& name) {
  using ::testing::_;
  auto camera = std::make_shared<NiceCamera>(name);
  ON_CALL(*camera, isValidRequest(_)).WillByDefault(::testing::Return(true));
  const auto makeBuffer = [name](const lumo::Clock::time_point&,
                                 const CameraPreferences& preferences) {
    return std::shared_ptr<const ImageBuffer>(std::make_shared<ImageBuffer>(
        name, preferences.getResolution(), preferences.getColorSpace(), true));
  };
  ON_CALL(*camera, getImageBuffer(_, _)).WillByDefault(makeBuffer);
  ON_CALL(*camera, getDirectRawImageBuffer(_, _)).WillByDefault(makeBuffer);
  ON_CALL(*camera, getDirectRawExtraColorSpaceImageBuffer(_, _)).WillByDefault(makeBuffer);
  ON_CALL(*camera, buildDefaultPreferences()).WillByDefault([] {
    return std::make_shared<CameraPreferences>(Resolution(160, 120), ColorSpace::YUV_422, 5);
  });
  return camera;
}

}  // namespace test
}  // namespace videoDevice
