// A whole frame's way through the library: a simulated 1280x960 2D camera in
// a VideoDevice receives a new RGB frame, then 1 to 16 clients fetch the same
// 320x240 RGB_888 request and give it back. The first fetch converts the
// frame; the others share the converted buffer.

#include <cstdint>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include <lumo/Clock.h>
#include <videodevice/CameraBuilder.h>
#include <videodevice/VideoDevice.h>

#include "Catalogue.h"
#include "Frames.h"
#include "Measure.h"

namespace bench {

namespace {

using videoDevice::CameraBuilder;
using videoDevice::CameraInfo;
using videoDevice::VideoDevice;

const Resolution kNative(1280, 960);
const Resolution kRequest(320, 240);
constexpr unsigned short kClientRate = 30;
// Frames are stamped this far apart, longer than a client's frame period: at
// each push the previous conversion is stale, so every frame is converted
// once, as from a camera running slower than its clients ask.
const lumo::Clock::duration kFramePeriod(100 * 1000 * 1000);
// Frames run before timing, so that the pools have grown to their steady size.
constexpr int kWarmUpFrames = 4;

class Scene {
 public:
  explicit Scene(int subscribers) : _device(std::make_shared<VideoDevice>()) {
    CameraInfo info;
    info.name = "top";
    CameraBuilder::setupSimulatorMT9M114(info);
    CameraBuilder(_device, info);
    // A client that records whole frames keeps the native mode at 1280x960;
    // it never fetches here.
    _recorder =
        _device->subscribeCamera("recorder", "top", kNative, ColorSpace::YUV_422, kClientRate);
    for (int i = 0; i < subscribers; ++i)
      _clients.push_back(_device->subscribeCamera("client" + std::to_string(i), "top", kRequest,
                                                  ColorSpace::RGB_888, kClientRate));
    // Two pictures pushed in turn, each as a new frame by its time stamp.
    for (int variant = 0; variant < 2; ++variant) {
      auto frame = std::make_shared<ImageBuffer>("top", kNative, ColorSpace::RGB_888, true);
      std::memcpy(frame->getData(), rgbFrame(kNative, variant)->getData(), frame->getSize());
      _frames.push_back(std::move(frame));
    }
    _stamp = lumo::Clock::now();
  }

  ~Scene() {
    // Leaving clients give their buffers back; a device destroyed with
    // subscribers still attached complains.
    try {
      for (const std::string& client : _clients) _device->unsubscribe(client);
      _device->unsubscribe(_recorder);
    } catch (const std::exception&) {
    }
  }

  Scene(const Scene&) = delete;
  Scene& operator=(const Scene&) = delete;

  void push() {
    _stamp += kFramePeriod;
    const auto& frame = _frames[_count++ % _frames.size()];
    frame->setTimeStamp(_stamp);
    _device->putImage(frame);
  }

  void fetchAndRelease() {
    for (const std::string& client : _clients) _device->getImage(_stamp, client);
    for (const std::string& client : _clients) _device->releaseImage(client);
  }

  // Empty if every client receives the pushed frame as it asked; else why not.
  std::string checkDelivery() {
    for (const std::string& client : _clients) {
      const auto image = _device->getImage(_stamp, client);
      const bool right = image && image->getResolution() == kRequest &&
                         image->getColorSpace() == ColorSpace::RGB_888 &&
                         image->getTimeStamp() == _stamp;
      _device->releaseImage(client);
      if (!right) return client + " did not receive the pushed frame as 320x240 RGB_888";
    }
    return {};
  }

 private:
  std::shared_ptr<VideoDevice> _device;
  std::string _recorder;
  std::vector<std::string> _clients;
  std::vector<std::shared_ptr<ImageBuffer>> _frames;
  lumo::Clock::time_point _stamp;
  std::uint64_t _count = 0;
};

// With no subscribers, the push alone.
void run(benchmark::State& state, int subscribers, std::uint64_t bytes) {
  std::unique_ptr<Scene> scene;
  try {
    scene = std::make_unique<Scene>(subscribers);
    for (int i = 0; i < kWarmUpFrames; ++i) {
      scene->push();
      scene->fetchAndRelease();
    }
    scene->push();
    const std::string wrong = scene->checkDelivery();
    if (!wrong.empty()) {
      state.SkipWithError(wrong.c_str());
      return;
    }
  } catch (const std::exception& error) {
    state.SkipWithError(error.what());
    return;
  }
  measure(state, bytes, [&] {
    scene->push();
    scene->fetchAndRelease();
  });
}

Entry endToEnd(std::string name, std::string what, int subscribers) {
  Entry entry;
  entry.name = std::move(name);
  entry.section = Section::EndToEnd;
  entry.what = std::move(what);
  entry.size = sizeName(kNative) + " RGB → " + sizeName(kRequest) + " RGB_888";
  entry.bytes = imageBytes(kNative, ColorSpace::RGB_888) +
                static_cast<std::uint64_t>(subscribers) * imageBytes(kRequest, ColorSpace::RGB_888);
  entry.goal = {Goal::Kind::EndToEnd, 0.0};
  entry.subscribers = subscribers;
  return entry;
}

}  // namespace

void addEndToEnd(Catalogue& catalogue) {
  for (int subscribers : {0, 1, 2, 4, 8, 16}) {
    const std::string count = std::to_string(subscribers);
    Entry entry = subscribers == 0
                      ? endToEnd("e2e/push", "push alone", 0)
                      : endToEnd("e2e/push_fetch/subscribers:" + count,
                                 "push + " + count + (subscribers == 1 ? " client" : " clients"),
                                 subscribers);
    const std::uint64_t bytes = entry.bytes;
    catalogue.add(std::move(entry), [subscribers, bytes](benchmark::State& state) {
      run(state, subscribers, bytes);
    });
  }
}

}  // namespace bench
