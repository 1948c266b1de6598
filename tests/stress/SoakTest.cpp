// A soak of the whole device: a 2D and a depth simulator from the catalogue,
// one thread per camera pushing uniform frames at the camera's rate, and
// client threads that subscribe, fetch, release, change their settings,
// switch cameras and leave, in an order drawn from a seeded generator.
//
// It checks what a client relies on: each image has the size and colour
// space its subscriber asked for, a uniform frame comes out uniform (no
// writer rewrites a buffer that a reader holds), the pools stay bounded, no
// undocumented exception escapes, and once everyone has left no buffer is
// held. Run under ThreadSanitizer it also checks every shared access.
//
//   stress_soak [--seconds S] [--clients N] [--seed K] [--report-every S]

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <opencv2/core.hpp>

#include <lumo/Log.h>
#include <videodevice/CameraBuilder.h>
#include <videodevice/CameraInfo.h>
#include <videodevice/ImageBuffer.h>
#include <videodevice/VideoDevice.h>

#include "backends/CameraSimulator2D.h"
#include "backends/CameraSimulator3D.h"

namespace videoDevice {
namespace {

using Clock = std::chrono::steady_clock;
using Image = std::shared_ptr<const ImageBuffer>;

struct PoolState {
  std::size_t raw = 0;
  std::size_t converted = 0;
  std::int32_t held = 0;  // sum of the use counts
  std::int32_t lowest = 0;
};

// A catalogue simulator whose pools the soak can look at.
template <typename Simulator>
class Inspectable : public Simulator {
 public:
  using Simulator::Simulator;
  PoolState pools() const {
    PoolState state;
    const auto visit = [&state](const auto& pool) {
      for (const auto& buffer : pool) {
        const std::int32_t count = buffer->useCount.load();
        state.held += count;
        state.lowest = std::min(state.lowest, count);
      }
    };
    {
      std::lock_guard<std::mutex> lock(this->_rawBuffersMutex);
      state.raw = this->_rawBuffers.size();
      visit(this->_rawBuffers);
    }
    std::lock_guard<std::mutex> lock(this->_buffersMutex);
    state.converted = this->_buffers.size();
    visit(this->_buffers);
    return state;
  }
};

// Builds the simulator the way the camera builder does, from a catalogue record.
template <typename Simulator>
std::shared_ptr<Inspectable<Simulator>> addCamera(const std::shared_ptr<VideoDevice>& device,
                                                  const std::string& name,
                                                  void (*setup)(CameraInfo&)) {
  CameraInfo info;
  setup(info);
  auto camera = std::make_shared<Inspectable<Simulator>>(device, info.model, name);
  camera->init();
  camera->setFieldOfView(info.fieldOfView);
  camera->setDefaultFlip(info.horizontalFlip, info.verticalFlip);
  camera->setNativelySupportedResolutions(info.resolutions);
  camera->setNativelySupportedColorSpaces(info.colorSpaces);
  camera->setNativelySupportedFrameRates(info.frameRates);
  if (!info.calibrationFiles.empty()) camera->setCalibration(info.calibrationFiles);
  device->addCamera(camera);
  return camera;
}

const std::vector<Resolution> kSizes{{160, 120}, {320, 240}, {640, 480}};
// Colour spaces each camera can serve from a uniform frame as a uniform image
// (positions play no part in them); the first two serve on either camera.
const std::vector<ColorSpace> kSpaces2D{ColorSpace::Y_8, ColorSpace::RGB_888, ColorSpace::BGR_888,
                                        ColorSpace::YUV_422};
const std::vector<ColorSpace> kSpacesDepth{ColorSpace::Y_8, ColorSpace::RGB_888,
                                           ColorSpace::DEPTH_16};
const std::vector<ColorSpace> kSpacesEither{ColorSpace::Y_8, ColorSpace::RGB_888};
const std::vector<std::string> kCameras{"front", "depth"};

// Counts of everything that went wrong or was refused, by kind.
class Tally {
 public:
  void refused(const std::string& kind, const std::string& what) { add(_refusals, kind, what); }
  void fault(const std::string& what) {
    std::lock_guard<std::mutex> lock(_mutex);
    if (_faults.size() < 20) _faults.push_back(what);
    ++_faultCount;
  }
  long faults() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _faultCount;
  }
  void print(std::ostream& out) const {
    std::lock_guard<std::mutex> lock(_mutex);
    out << "documented exceptions, by kind:\n";
    for (const auto& entry : _refusals) out << "  " << entry.second << "  " << entry.first << "\n";
    out << "faults: " << _faultCount << "\n";
    for (const auto& fault : _faults) out << "  FAULT " << fault << "\n";
  }

 private:
  // Names of subscribers and numbers vary: the kind is the text without digits.
  void add(std::map<std::string, long>& counts, const std::string& kind, const std::string& what) {
    std::string key = kind + ": ";
    for (char c : what) key += (c >= '0' && c <= '9') ? '#' : (c == '\n' ? ' ' : c);
    std::lock_guard<std::mutex> lock(_mutex);
    ++counts[key];
  }
  mutable std::mutex _mutex;
  std::map<std::string, long> _refusals;
  std::vector<std::string> _faults;
  long _faultCount = 0;
};

// Runs one device call; documented exceptions are counted, anything else is a fault.
template <typename Call>
bool attempt(Tally& tally, const char* what, Call call) {
  try {
    call();
    return true;
  } catch (const cv::Exception& error) {
    tally.fault(std::string(what) + ": OpenCV exception escaped: " + error.what());
  } catch (const std::invalid_argument& error) {
    tally.refused("invalid_argument", error.what());
  } catch (const std::out_of_range& error) {
    tally.refused("out_of_range", error.what());
  } catch (const std::domain_error& error) {
    tally.refused("domain_error", error.what());
  } catch (const std::runtime_error& error) {
    tally.refused("runtime_error", error.what());
  } catch (const std::exception& error) {
    tally.fault(std::string(what) + ": undocumented exception: " + error.what());
  } catch (...) {
    tally.fault(std::string(what) + ": non-standard exception");
  }
  return false;
}

// Whether every pixel of `image` equals the first one, looking at up to a few
// thousand pixels spread over the whole frame. YUV 4:2:2 repeats per pair.
bool isUniform(const ImageBuffer& image) {
  const std::uint64_t unit = image.getColorSpace() == ColorSpace::YUV_422
                                 ? 4
                                 : static_cast<std::uint64_t>(getColorSpaceDepth(image.getColorSpace()));
  const std::uint64_t units = image.getSize() / unit;
  if (units == 0) return true;
  const unsigned char* data = image.getData();
  const std::uint64_t step = std::max<std::uint64_t>(1, units / 4096);
  for (std::uint64_t i = step; i < units; i += step)
    if (std::memcmp(data, data + i * unit, unit) != 0) return false;
  return std::memcmp(data, data + (units - 1) * unit, unit) == 0;
}

struct Options {
  double seconds = 3;
  int clients = 8;
  unsigned seed = 20261125;
  double reportEvery = 0;  // 0: only the final report
};

struct Totals {
  std::atomic<long> operations{0};
  std::atomic<long> images{0};
  std::atomic<long> pushes{0};
};

class Soak {
 public:
  explicit Soak(const Options& options) : _options(options) {
    _front = addCamera<CameraSimulator2D>(_device, "front", &CameraBuilder::setupSimulatorMT9M114);
    _depth = addCamera<CameraSimulator3D>(_device, "depth", &CameraBuilder::setupSimulatorXTION);
  }

  int run() {
    const auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                             std::chrono::duration<double>(_options.seconds));
    std::vector<std::thread> threads;
    threads.emplace_back([this] { pushFrames("front", false); });
    threads.emplace_back([this] { pushFrames("depth", true); });
    for (int i = 0; i < _options.clients; ++i)
      threads.emplace_back([this, i, deadline] { client(i, deadline); });
    monitor(deadline);
    for (std::size_t i = 2; i < threads.size(); ++i) threads[i].join();
    _stopPushing = true;
    threads[0].join();
    threads[1].join();
    return finish();
  }

 private:
  // One subscription as its client sees it: what each entry must deliver.
  struct Subscription {
    std::string name;
    bool multi = false;
    bool followsDefault = false;  // its requests suit either camera
    std::vector<std::string> cameras;
    std::vector<Resolution> sizes;
    std::vector<ColorSpace> spaces;
  };

  static const std::vector<ColorSpace>& spacesOf(const std::string& camera) {
    return camera == "depth" ? kSpacesDepth : kSpaces2D;
  }

  void pushFrames(const std::string& camera, bool depth) {
    std::mt19937 random(_options.seed ^ (depth ? 0xD0u : 0xF0u));
    while (!_stopPushing) {
      unsigned short rate = 30;
      attempt(_tally, "push", [&] {
        const CameraPreferences expected = _device->getExpectedImageParameters(camera);
        rate = std::max<unsigned short>(expected.getRefreshRate(), 1);
        auto frame = std::make_shared<ImageBuffer>(
            camera, expected.getResolution(), depth ? ColorSpace::DEPTH_16 : ColorSpace::RGB_888,
            true);
        if (depth) {
          auto* pixels = reinterpret_cast<std::uint16_t*>(frame->getData());
          std::fill(pixels, pixels + frame->getSize() / 2,
                    static_cast<std::uint16_t>(500 + random() % 4000));
        } else {
          const unsigned char rgb[3] = {static_cast<unsigned char>(random()),
                                        static_cast<unsigned char>(random()),
                                        static_cast<unsigned char>(random())};
          unsigned char* data = frame->getData();
          for (std::uint64_t i = 0; i < frame->getSize(); ++i) data[i] = rgb[i % 3];
        }
        frame->setTimeStamp(lumo::Clock::now());
        _device->putImage(frame);
        ++_totals.pushes;
      });
      std::this_thread::sleep_for(std::chrono::microseconds(1000000 / rate));
    }
  }

  Subscription subscribe(std::mt19937& random, int index) {
    Subscription s;
    const auto pick = [&random](const auto& values) { return values[random() % values.size()]; };
    const std::string requested = "client" + std::to_string(index);
    const unsigned short rate = static_cast<unsigned short>(5 + random() % 26);
    if (random() % 2 == 0) {
      const int kind = random() % 3;  // a camera by name, or the default one
      s.followsDefault = kind == 2;
      s.cameras = {s.followsDefault ? std::string("Default") : kCameras[kind]};
      s.sizes = {pick(kSizes)};
      s.spaces = {s.followsDefault ? pick(kSpacesEither)
                                   : pick(spacesOf(s.cameras[0]))};
      attempt(_tally, "subscribeCamera", [&] {
        s.name = _device->subscribeCamera(requested, s.cameras[0], s.sizes[0], s.spaces[0], rate);
      });
    } else {
      s.multi = true;
      // Now and then a camera listed twice, by name and as "Default".
      s.cameras = random() % 4 == 0 ? std::vector<std::string>{"front", "Default"}
                  : random() % 2    ? std::vector<std::string>{"front", "depth"}
                                    : std::vector<std::string>{"depth", "front"};
      for (const std::string& camera : s.cameras) {
        s.sizes.push_back(pick(kSizes));
        s.spaces.push_back(camera == "Default"
                               ? pick(kSpacesEither)
                               : pick(spacesOf(camera)));
      }
      attempt(_tally, "subscribeCameras", [&] {
        s.name = _device->subscribeCameras(requested, s.cameras, s.sizes, s.spaces, rate);
      });
    }
    if (!s.name.empty()) readBack(s);
    return s;
  }

  // What the subscriber asks for now, as its fetches will read it.
  void readBack(Subscription& s) {
    attempt(_tally, "read settings", [&] {
      if (s.multi) {
        s.sizes = _device->getResolutions(s.name);
        s.spaces = _device->getColorSpaces(s.name);
      } else {
        s.sizes = {_device->getResolution(s.name)};
        s.spaces = {_device->getColorSpace(s.name)};
      }
    });
  }

  void check(const Subscription& s, const std::vector<Image>& images, bool raw) {
    for (std::size_t i = 0; i < images.size(); ++i) {
      const Image& image = images[i];
      if (!image) {
        _tally.fault(s.name + ": a null image");
        continue;
      }
      ++_totals.images;
      const std::string camera = image->getCameraName();
      if (raw) {
        const ColorSpace native = camera == "depth" ? ColorSpace::DEPTH_16 : ColorSpace::YUV_422;
        if (image->getColorSpace() != native)
          _tally.fault(s.name + ": raw image of " + camera + " is not in its native colour space");
      } else if (i < s.sizes.size() &&
                 (image->getResolution() != s.sizes[i] || image->getColorSpace() != s.spaces[i])) {
        std::ostringstream what;
        what << s.name << ": asked " << s.sizes[i].width << "x" << s.sizes[i].height << " "
             << s.spaces[i] << " of " << camera << ", got " << image->getResolution().width << "x"
             << image->getResolution().height << " " << image->getColorSpace();
        _tally.fault(what.str());
      }
      if (image->getSize() != image->getResolution().width * image->getResolution().height *
                                  static_cast<std::uint64_t>(getColorSpaceDepth(image->getColorSpace())))
        _tally.fault(s.name + ": image size disagrees with its description");
      else if (!isUniform(*image))
        _tally.fault(s.name + ": a uniform frame of " + camera + " came out torn");
    }
  }

  void fetchAndRelease(Subscription& s, bool raw) {
    std::vector<Image> images;
    const auto time = lumo::Clock::now();
    const bool fetched = attempt(_tally, "fetch", [&] {
      if (s.multi)
        images = raw ? _device->getDirectRawImages(time, s.name) : _device->getImages(time, s.name);
      else
        images = {raw ? _device->getDirectRawImage(time, s.name) : _device->getImage(time, s.name)};
    });
    if (fetched) check(s, images, raw);
    // Always released, also after a failed fetch that kept some images.
    attempt(_tally, "release", [&] {
      if (s.multi)
        raw ? _device->releaseDirectRawImages(s.name) : _device->releaseImages(s.name);
      else
        raw ? _device->releaseDirectRawImage(s.name) : _device->releaseImage(s.name);
    });
  }

  void changeSomething(Subscription& s, std::mt19937& random) {
    const auto pick = [&random](const auto& values) { return values[random() % values.size()]; };
    const unsigned choice = random() % 7;
    if (choice == 0) {
      attempt(_tally, "setFrameRate", [&] {
        _device->setFrameRate(s.name, static_cast<unsigned short>(1 + random() % 35));
      });
    } else if (choice == 1 && !s.followsDefault) {
      attempt(_tally, "setResolution", [&] {
        if (s.multi) {
          std::vector<Resolution> sizes;
          for (std::size_t i = 0; i < s.cameras.size(); ++i) sizes.push_back(pick(kSizes));
          _device->setResolutions(s.name, sizes);
        } else {
          _device->setResolution(s.name, pick(kSizes));
        }
      });
    } else if (choice == 2 && !s.followsDefault) {
      attempt(_tally, "setColorSpace", [&] {
        if (s.multi) {
          std::vector<ColorSpace> spaces;
          for (const std::string& camera : s.cameras)
            spaces.push_back(pick(camera == "Default" ? kSpacesEither : spacesOf(camera)));
          _device->setColorSpaces(s.name, spaces);
        } else {
          _device->setColorSpace(s.name, pick(spacesOf(s.cameras[0])));
        }
      });
    } else if (choice == 3 && !s.followsDefault && !s.multi) {
      attempt(_tally, "setActiveCamera", [&] {
        const std::string camera = pick(kCameras);
        _device->setActiveCamera(s.name, camera);
        s.cameras = {camera};
      });
    } else if (choice == 4 && s.multi && s.cameras[1] != "Default") {
      attempt(_tally, "setActiveCameras", [&] {
        std::vector<std::string> cameras{s.cameras[1], s.cameras[0]};
        _device->setActiveCameras(s.name, cameras);
        s.cameras = cameras;
      });
    } else if (choice == 5) {
      attempt(_tally, "setCameraParameter", [&] {
        const std::string camera = pick(kCameras);
        const std::vector<Parameter> parameters = _device->getCameraParameterList(camera);
        if (parameters.empty()) return;
        const Parameter parameter = pick(parameters);
        const ParameterInfo info = _device->getCameraParameterInfo(camera, parameter);
        // Now and then a value out of range, refused with its documented error.
        const long span = static_cast<long>(info.max) - info.min + 1;
        const int value = random() % 8 == 0 || span <= 0
                              ? info.max + (info.max < INT32_MAX ? 1 : 0)
                              : static_cast<int>(info.min + static_cast<long>(random() % span));
        _device->setCameraParameter(camera, parameter, value);
      });
    } else if (choice == 6) {
      attempt(_tally, "setDefaultActiveCamera",
              [&] { _device->setDefaultActiveCamera(pick(kCameras)); });
    }
    readBack(s);
  }

  void leave(Subscription& s) {
    // Released first: a subscriber still holding images may not leave.
    attempt(_tally, "release", [&] {
      s.multi ? _device->releaseImages(s.name) : _device->releaseImage(s.name);
    });
    attempt(_tally, "unsubscribe", [&] { _device->unsubscribe(s.name); });
    s = Subscription();
  }

  void client(int index, Clock::time_point deadline) {
    std::mt19937 random(_options.seed + 7919u * static_cast<unsigned>(index));
    Subscription s;
    while (Clock::now() < deadline && _tally.faults() == 0) {
      ++_totals.operations;
      if (s.name.empty()) {
        s = subscribe(random, index);
        continue;
      }
      const unsigned roll = random() % 100;
      if (roll < 55) fetchAndRelease(s, false);
      else if (roll < 70) fetchAndRelease(s, true);
      else if (roll < 92) changeSomething(s, random);
      else leave(s);
    }
    if (!s.name.empty()) leave(s);
  }

  PoolState pools(const std::string& camera) const {
    return camera == "depth" ? _depth->pools() : _front->pools();
  }

  // Bounds on the pools: a raw buffer per concurrent holder (each client, the
  // grab and the conversion), a converted buffer per concurrent holder of each
  // kind of request.
  void checkBounds(const std::string& camera, const PoolState& state) {
    const std::size_t holders = 2 * static_cast<std::size_t>(_options.clients) + 2;
    const std::size_t kinds = kSizes.size() * spacesOf(camera).size();
    if (state.raw > holders || state.converted > kinds * holders)
      _tally.fault(camera + ": pools grew past their bound (raw " + std::to_string(state.raw) +
                   ", converted " + std::to_string(state.converted) + ")");
    if (state.lowest < 0) _tally.fault(camera + ": a use count went below zero");
  }

  void report(const char* when) {
    std::cout << when << ": " << _totals.operations << " operations, " << _totals.images
              << " images delivered, " << _totals.pushes << " frames pushed; pools";
    for (const std::string& camera : kCameras) {
      const PoolState state = pools(camera);
      std::cout << " " << camera << " raw " << state.raw << " converted " << state.converted
                << " held " << state.held;
    }
    std::cout << std::endl;
  }

  void monitor(Clock::time_point deadline) {
    auto nextReport = Clock::now();
    int seconds = 0;
    while (Clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      for (const std::string& camera : kCameras) checkBounds(camera, pools(camera));
      if (_options.reportEvery > 0 && Clock::now() >= nextReport) {
        report(("t=" + std::to_string(seconds) + "s").c_str());
        nextReport += std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(_options.reportEvery));
        seconds += static_cast<int>(_options.reportEvery);
      }
    }
  }

  int finish() {
    report("end");
    for (const std::string& camera : kCameras) {
      const PoolState state = pools(camera);
      checkBounds(camera, state);
      if (state.held != 0)
        _tally.fault(camera + ": buffers still held after every client left (" +
                     std::to_string(state.held) + ")");
    }
    if (_totals.images == 0) _tally.fault("no image was delivered");
    _tally.print(std::cout);
    const bool passed = _tally.faults() == 0;
    std::cout << (passed ? "1 passed, 0 failed" : "0 passed, 1 failed") << std::endl;
    return passed ? 0 : 1;
  }

  Options _options;
  std::shared_ptr<VideoDevice> _device = std::make_shared<VideoDevice>();
  std::shared_ptr<Inspectable<CameraSimulator2D>> _front;
  std::shared_ptr<Inspectable<CameraSimulator3D>> _depth;
  Tally _tally;
  Totals _totals;
  std::atomic<bool> _stopPushing{false};
};

Options parse(int argc, char** argv) {
  Options options;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string flag = argv[i];
    const char* value = argv[i + 1];
    if (flag == "--seconds") options.seconds = std::atof(value);
    else if (flag == "--clients") options.clients = std::max(1, std::atoi(value));
    else if (flag == "--seed") options.seed = static_cast<unsigned>(std::strtoul(value, nullptr, 10));
    else if (flag == "--report-every") options.reportEvery = std::atof(value);
    else throw std::invalid_argument("unknown option " + flag);
  }
  return options;
}

}  // namespace
}  // namespace videoDevice

int main(int argc, char** argv) {
  try {
    const videoDevice::Options options = videoDevice::parse(argc, argv);
    // Refusals are counted and printed at the end; their log lines would drown the report.
    lumo::log::setVerbosity(1);
    std::cout << "soak: " << options.seconds << " s, " << options.clients << " clients, seed "
              << options.seed << std::endl;
    return videoDevice::Soak(options).run();
  } catch (const std::exception& error) {
    std::cerr << "stress_soak: " << error.what() << "\n";
    return 2;
  }
}
