#pragma once
// A device with simulated cameras from the catalogue, driven call by call
// from the fuzzer's bytes, and the checks made when the session ends: once
// every subscriber has released what it holds and unsubscribed, no pool
// buffer is held any more, and destroying the device frees every camera.

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include <videodevice/videodevice.h>

#include "FuzzSupport.h"

namespace fuzz {

using videoDevice::CameraBase;
using videoDevice::CameraBuilder;
using videoDevice::CameraInfo;
using videoDevice::VideoDevice;

using Setup = void (*)(CameraInfo&);

// Any simulated model of the catalogue, 2D or depth.
inline Setup any2DModel(FuzzedDataProvider& in) {
  static const Setup setups[] = {
      &CameraBuilder::setupSimulatorMT9M114, &CameraBuilder::setupSimulatorOV5640,
      &CameraBuilder::setupSimulatorLIOV5640, &CameraBuilder::setupSimulatorLIOV4689};
  return setups[in.ConsumeIntegralInRange<std::size_t>(0, std::size(setups) - 1)];
}

inline Setup anyDepthModel(FuzzedDataProvider& in) {
  static const Setup setups[] = {&CameraBuilder::setupSimulatorVelaStereo,
                                 &CameraBuilder::setupSimulatorXTION,
                                 &CameraBuilder::setupSimulatorQuillStereo};
  return setups[in.ConsumeIntegralInRange<std::size_t>(0, std::size(setups) - 1)];
}

// CameraBase keeps its pools protected, for backends and tests. A pointer to
// member formed through a derived class reaches them on any camera, so the
// cameras the real builder made can be inspected as they are.
struct PoolAccess : CameraBase {
  // "camera: raw 640x480@YUV_422 held 1" for each held buffer; empty if none.
  static std::string heldBuffers(CameraBase& camera) {
    std::ostringstream held;
    const auto report = [&](const char* pool, std::mutex& mutex,
                            const std::set<std::shared_ptr<ImageBuffer>>& buffers) {
      std::lock_guard<std::mutex> lock(mutex);
      for (const auto& buffer : buffers)
        if (buffer->useCount.load() != 0)
          held << camera.getName() << ": " << pool << " " << *buffer << " held "
               << buffer->useCount.load() << "; ";
    };
    report("raw", camera.*(&PoolAccess::_rawBuffersMutex), camera.*(&PoolAccess::_rawBuffers));
    report("converted", camera.*(&PoolAccess::_buffersMutex), camera.*(&PoolAccess::_buffers));
    return held.str();
  }
};

class Session {
 public:
  // Builds one camera per (name, set-up) on a new device.
  Session(const std::vector<std::pair<std::string, Setup>>& cameras)
      : _device(std::make_shared<VideoDevice>()) {
    for (const auto& camera : cameras) {
      CameraInfo info;
      info.name = camera.first;
      camera.second(info);
      CameraBuilder(_device, info);
      _cameras.push_back(camera.first);
    }
  }

  VideoDevice& device() { return *_device; }

  // A built camera most of the time, else the alias, an empty or unknown name.
  std::string cameraName(FuzzedDataProvider& in) const {
    switch (in.ConsumeIntegralInRange<int>(0, 9)) {
      case 0: return "Default";
      case 1: return in.ConsumeBool() ? std::string() : in.ConsumeRandomLengthString(12);
      default: return _cameras[in.ConsumeIntegralInRange<std::size_t>(0, _cameras.size() - 1)];
    }
  }

  // A built camera, by its name or through the alias.
  bool isCamera(const std::string& name) const {
    return name == "Default" || std::find(_cameras.begin(), _cameras.end(), name) != _cameras.end();
  }

  // A name some subscription returned (current or gone), or any other name.
  std::string subscriberName(FuzzedDataProvider& in) const {
    if (_subscribers.empty() || in.ConsumeIntegralInRange<int>(0, 9) == 0)
      return in.ConsumeBool() ? std::string("Default") : in.ConsumeRandomLengthString(12);
    return _subscribers[in.ConsumeIntegralInRange<std::size_t>(0, _subscribers.size() - 1)];
  }

  // A size around what the named camera supports (any built camera when the
  // name is not one): supported, scaled down, swapped, small, or anything.
  Resolution resolutionFor(FuzzedDataProvider& in, const std::string& cameraName) {
    std::shared_ptr<videoDevice::Camera> camera;
    run([&] { camera = _device->getCamera(cameraName); });
    if (!camera)
      camera = _device->getCamera(
          _cameras[in.ConsumeIntegralInRange<std::size_t>(0, _cameras.size() - 1)]);
    const auto supported = camera->getNativelySupportedResolutions();
    auto it = supported.begin();
    std::advance(it, in.ConsumeIntegralInRange<std::size_t>(0, supported.size() - 1));
    const Resolution size = *it;
    switch (in.ConsumeIntegralInRange<int>(0, 9)) {
      case 0:
      case 1: {
        const std::uint64_t factor = std::uint64_t{1} << in.ConsumeIntegralInRange<int>(1, 3);
        return {size.width / factor, size.height / factor};
      }
      case 2: return {size.height, size.width};
      case 3:
        return {in.ConsumeIntegralInRange<std::uint64_t>(0, 64),
                in.ConsumeIntegralInRange<std::uint64_t>(0, 64)};
      case 4:
        return {in.ConsumeIntegralInRange<std::uint64_t>(0, 3000),
                in.ConsumeIntegralInRange<std::uint64_t>(0, 3000)};
      case 5: return {in.ConsumeIntegral<std::uint64_t>(), in.ConsumeIntegral<std::uint64_t>()};
      default: return size;
    }
  }

  // A request's colour space: one a 2D or a depth camera converts to, or any.
  static ColorSpace requestColorSpace(FuzzedDataProvider& in) {
    return in.ConsumeBool() ? static_cast<ColorSpace>(in.ConsumeIntegralInRange<int>(0, 23))
                            : anyColorSpace(in);
  }

  void subscribeCamera(FuzzedDataProvider& in) {
    const std::string name =
        in.ConsumeBool() ? std::string("client") : in.ConsumeRandomLengthString(8);
    const std::string camera = cameraName(in);
    const Resolution resolution = resolutionFor(in, camera);
    const ColorSpace colorSpace = requestColorSpace(in);
    const unsigned short rate = anyFrameRate(in);
    run([&] {
      _subscribers.push_back(
          _device->subscribeCamera(name, camera, resolution, colorSpace, rate));
    });
  }

  void subscribeCameras(FuzzedDataProvider& in) {
    const std::string name =
        in.ConsumeBool() ? std::string("fusion") : in.ConsumeRandomLengthString(8);
    const std::size_t count = in.ConsumeIntegralInRange<std::size_t>(0, 4);
    std::vector<std::string> cameras;
    std::vector<Resolution> resolutions;
    std::vector<ColorSpace> colorSpaces;
    for (std::size_t i = 0; i < count; ++i) {
      cameras.push_back(cameraName(in));
      resolutions.push_back(resolutionFor(in, cameras.back()));
      colorSpaces.push_back(requestColorSpace(in));
    }
    // Lists of unequal lengths now and then.
    if (in.ConsumeIntegralInRange<int>(0, 7) == 0 && !resolutions.empty()) resolutions.pop_back();
    if (in.ConsumeIntegralInRange<int>(0, 7) == 0) colorSpaces.push_back(requestColorSpace(in));
    const unsigned short rate = anyFrameRate(in);
    run([&] {
      _subscribers.push_back(
          _device->subscribeCameras(name, cameras, resolutions, colorSpaces, rate));
    });
  }

  // One of the four fetches; every image handed out must hold the bytes it
  // declares, and a converted single image must be what the subscriber asked.
  void fetch(FuzzedDataProvider& in) {
    const std::string name = subscriberName(in);
    const lumo::Clock::time_point when =
        in.ConsumeIntegralInRange<int>(0, 3) == 0 ? anyTimePoint(in) : lumo::Clock::now();
    switch (in.ConsumeIntegralInRange<int>(0, 3)) {
      case 0: {
        std::shared_ptr<const ImageBuffer> image;
        if (run([&] { image = _device->getImage(when, name); }) != Outcome::Completed) return;
        if (!image) fail("getImage completed without an image");
        expectReadable(*image);
        Resolution wanted;
        ColorSpace wantedColorSpace = ColorSpace::UNKNOWN;
        if (run([&] {
              wanted = _device->getResolution(name);
              wantedColorSpace = _device->getColorSpace(name);
            }) == Outcome::Completed &&
            (image->getResolution() != wanted || image->getColorSpace() != wantedColorSpace)) {
          std::ostringstream what;
          what << name << " asked for " << wanted.width << "x" << wanted.height << "@"
               << wantedColorSpace << " and received " << *image;
          fail(what.str());
        }
        return;
      }
      case 1: {
        std::shared_ptr<const ImageBuffer> image;
        if (run([&] { image = _device->getDirectRawImage(when, name); }) != Outcome::Completed)
          return;
        if (!image) fail("getDirectRawImage completed without an image");
        expectReadable(*image);
        return;
      }
      default: {
        std::vector<std::shared_ptr<const ImageBuffer>> images;
        const bool raw = in.ConsumeBool();
        if (run([&] {
              images = raw ? _device->getDirectRawImages(when, name)
                           : _device->getImages(when, name);
            }) != Outcome::Completed)
          return;
        for (const auto& image : images) {
          if (!image) fail("a multi-camera fetch completed with a missing image");
          expectReadable(*image);
        }
        return;
      }
    }
  }

  void release(FuzzedDataProvider& in) {
    const std::string name = subscriberName(in);
    switch (in.ConsumeIntegralInRange<int>(0, 3)) {
      case 0: run([&] { _device->releaseImage(name); }); break;
      case 1: run([&] { _device->releaseDirectRawImage(name); }); break;
      case 2: run([&] { _device->releaseImages(name); }); break;
      default: run([&] { _device->releaseDirectRawImages(name); }); break;
    }
  }

  void unsubscribe(FuzzedDataProvider& in) {
    const std::string name = subscriberName(in);
    run([&] { _device->unsubscribe(name); });
  }

  // Releases and unsubscribes everyone, then checks that no pool buffer is
  // held, and that the device and its cameras go once dropped.
  void finish() {
    for (const std::string& name : _device->getSubscribers()) {
      run([&] { _device->releaseImage(name); });
      run([&] { _device->releaseImages(name); });
      run([&] { _device->unsubscribe(name); });
    }
    const auto left = _device->getSubscribers();
    if (!left.empty()) fail("subscriber " + left.front() + " is still there after its release");

    std::vector<std::weak_ptr<videoDevice::Camera>> cameras;
    std::string held;
    for (const std::string& name : _device->getCameraIndexes()) {
      const auto camera = _device->getCamera(name);
      cameras.push_back(camera);
      if (auto* base = dynamic_cast<CameraBase*>(camera.get()))
        held += PoolAccess::heldBuffers(*base);
    }
    if (!held.empty()) fail("buffers still held once everyone left: " + held);

    std::weak_ptr<VideoDevice> device = _device;
    _device.reset();
    if (!device.expired()) fail("the device outlives its last owner");
    for (const auto& camera : cameras)
      if (!camera.expired()) fail("a camera outlives its device");
  }

 private:
  std::shared_ptr<VideoDevice> _device;
  std::vector<std::string> _cameras;
  std::vector<std::string> _subscribers;
};

}  // namespace fuzz
