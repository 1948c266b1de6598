// Fuzz target: sequences of device calls on a device with three simulated
// cameras of the catalogue (two 2D, one depth): both subscription forms with
// any names, sizes, colour spaces and rates; every fetch and release; every
// subscriber setting; camera controls with any value; the default camera;
// the cameras' own lifecycle; unsubscription.
//
// Only the library's documented failures may escape; every image handed out
// holds the bytes it declares; once everyone has released and left, no pool
// buffer is held, and the device and its cameras are freed with it.

#include <cstdint>
#include <string>
#include <vector>

#include "DeviceSession.h"

using namespace videoDevice;

namespace {

// A value for a control: inside its range (on or off its step) or anything.
int controlValue(FuzzedDataProvider& in, VideoDevice& device, const std::string& camera,
                 Parameter parameter) {
  ParameterInfo info{0, 0, 0, 0};
  if (in.ConsumeBool() &&
      fuzz::run([&] { info = device.getCameraParameterInfo(camera, parameter); }) ==
          fuzz::Outcome::Completed &&
      info.min <= info.max)
    return in.ConsumeIntegralInRange<int>(info.min, info.max);
  return in.ConsumeIntegral<int>();
}

void changeSettings(FuzzedDataProvider& in, fuzz::Session& session) {
  VideoDevice& device = session.device();
  const std::string name = session.subscriberName(in);
  switch (in.ConsumeIntegralInRange<int>(0, 6)) {
    case 0: {
      const Resolution resolution = session.resolutionFor(in, session.cameraName(in));
      fuzz::run([&] { device.setResolution(name, resolution); });
      break;
    }
    case 1: {
      const ColorSpace colorSpace = fuzz::Session::requestColorSpace(in);
      fuzz::run([&] { device.setColorSpace(name, colorSpace); });
      break;
    }
    case 2: {
      const unsigned short rate = fuzz::anyFrameRate(in);
      fuzz::run([&] { device.setFrameRate(name, rate); });
      break;
    }
    case 3: {
      std::vector<Resolution> resolutions(in.ConsumeIntegralInRange<std::size_t>(0, 4));
      for (auto& resolution : resolutions)
        resolution = session.resolutionFor(in, session.cameraName(in));
      fuzz::run([&] { device.setResolutions(name, resolutions); });
      break;
    }
    case 4: {
      std::vector<ColorSpace> colorSpaces(in.ConsumeIntegralInRange<std::size_t>(0, 4));
      for (auto& colorSpace : colorSpaces) colorSpace = fuzz::Session::requestColorSpace(in);
      fuzz::run([&] { device.setColorSpaces(name, colorSpaces); });
      break;
    }
    case 5: {
      const std::string camera = session.cameraName(in);
      fuzz::run([&] { device.setActiveCamera(name, camera); });
      break;
    }
    default: {
      std::vector<std::string> cameras(in.ConsumeIntegralInRange<std::size_t>(0, 4));
      for (auto& camera : cameras) camera = session.cameraName(in);
      fuzz::run([&] { device.setActiveCameras(name, cameras); });
      break;
    }
  }
}

// Getters must answer or fail in the documented way, whatever came before.
void readSettings(FuzzedDataProvider& in, fuzz::Session& session) {
  VideoDevice& device = session.device();
  const std::string name = session.subscriberName(in);
  const std::string camera = session.cameraName(in);
  fuzz::run([&] { device.getActiveCamera(name); });
  fuzz::run([&] { device.getActiveCameras(name); });
  fuzz::run([&] { device.getResolution(name); });
  fuzz::run([&] { device.getResolutions(name); });
  fuzz::run([&] { device.getColorSpace(name); });
  fuzz::run([&] { device.getColorSpaces(name); });
  fuzz::run([&] { device.getFrameRate(name); });
  fuzz::run([&] { device.getCameraNativeResolution(camera); });
  fuzz::run([&] { device.getCameraNativeColorSpace(camera); });
  fuzz::run([&] { device.getCameraNativeFrameRate(camera); });
  fuzz::run([&] { device.getExpectedImageParameters(camera); });
  fuzz::run([&] { device.getCameraParameterList(camera); });
}

// The angle and pixel conversions never throw for a known camera: they log
// and answer an empty vector instead.
void geometry(FuzzedDataProvider& in, fuzz::Session& session) {
  VideoDevice& device = session.device();
  const std::string camera = session.cameraName(in);
  std::vector<float> values(in.ConsumeIntegralInRange<std::size_t>(0, 5));
  for (float& value : values)
    value = in.ConsumeBool() ? in.ConsumeFloatingPointInRange<float>(-2000.0f, 2000.0f)
                             : in.ConsumeFloatingPoint<float>();
  const Resolution resolution = session.resolutionFor(in, camera);
  std::vector<float> answer;
  const fuzz::Outcome outcome = fuzz::run([&] {
    switch (in.ConsumeIntegralInRange<int>(0, 5)) {
      case 0: answer = device.getAngularPositionFromImagePosition(camera, values); break;
      case 1: answer = device.getImagePositionFromAngularPosition(camera, values); break;
      case 2: answer = device.getAngularSizeFromImageSize(camera, values); break;
      case 3: answer = device.getImageSizeFromAngularSize(camera, values); break;
      case 4: answer = device.getImageInfoFromAngularInfo(camera, values); break;
      default:
        answer = device.getImageInfoFromAngularInfoWithResolution(camera, values, resolution);
        break;
    }
  });
  if (outcome != fuzz::Outcome::Completed && session.isCamera(camera))
    fuzz::fail(std::string("a geometry conversion threw ") + fuzz::toString(outcome));
}

void controls(FuzzedDataProvider& in, fuzz::Session& session) {
  VideoDevice& device = session.device();
  const std::string camera = session.cameraName(in);
  const Parameter parameter = fuzz::anyParameter(in);
  switch (in.ConsumeIntegralInRange<int>(0, 4)) {
    case 0:
    case 1: {
      const int value = controlValue(in, device, camera, parameter);
      fuzz::run([&] { device.setCameraParameter(camera, parameter, value); });
      break;
    }
    case 2: fuzz::run([&] { device.getCameraParameter(camera, parameter); }); break;
    case 3: fuzz::run([&] { device.resetCameraParameter(camera, parameter); }); break;
    default: fuzz::run([&] { device.resetAllCameraParameters(camera); }); break;
  }
}

void lifecycle(FuzzedDataProvider& in, fuzz::Session& session) {
  VideoDevice& device = session.device();
  const std::string camera = session.cameraName(in);
  switch (in.ConsumeIntegralInRange<int>(0, 4)) {
    case 0: fuzz::run([&] { device.openCamera(camera); }); break;
    case 1: fuzz::run([&] { device.closeCamera(camera); }); break;
    case 2: fuzz::run([&] { device.startCamera(camera); }); break;
    case 3: fuzz::run([&] { device.stopCamera(camera); }); break;
    default: fuzz::run([&] { device.resetCamera(camera); }); break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  fuzz::Session session(
      {{"top", fuzz::any2DModel(in)},
       {"bottom", fuzz::any2DModel(in)},
       {"depth", fuzz::anyDepthModel(in)}});

  for (int step = 0; step < 64 && in.remaining_bytes() > 0; ++step) {
    switch (in.ConsumeIntegralInRange<int>(0, 13)) {
      case 0:
      case 1: session.subscribeCamera(in); break;
      case 2: session.subscribeCameras(in); break;
      case 3:
      case 4: session.fetch(in); break;
      case 5: session.release(in); break;
      case 6: changeSettings(in, session); break;
      case 7: readSettings(in, session); break;
      case 8: controls(in, session); break;
      case 9: {
        const std::string camera = session.cameraName(in);
        fuzz::run([&] { session.device().setDefaultActiveCamera(camera); });
        break;
      }
      case 10: lifecycle(in, session); break;
      case 11: geometry(in, session); break;
      default: session.unsubscribe(in); break;
    }
  }
  session.finish();
  return 0;
}
