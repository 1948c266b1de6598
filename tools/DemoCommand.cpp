// `videodevice demo`: a simulated robot. A simulator thread renders a moving
// scene and pushes it into a 2D camera and a depth camera at 30 frames a
// second; three client modules fetch from them in their own threads, at their
// own rates and formats, as the modules of a real robot would.

#include <atomic>
#include <chrono>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <lumo/Clock.h>
#include <opencv2/imgproc.hpp>
#include <videodevice/CameraBuilder.h>
#include <videodevice/VideoDevice.h>

#include "Catalogue.h"
#include "Commands.h"
#include "ImageFiles.h"
#include "Progress.h"
#include "Scene.h"
#include "Table.h"

namespace videoDeviceTool {

using videoDevice::ColorSpace;
using videoDevice::ImageBuffer;
using videoDevice::Resolution;
using videoDevice::VideoDevice;
using SteadyClock = std::chrono::steady_clock;

namespace {

const std::string topCamera = "top";
const std::string depthCamera = "depth";
constexpr int samplesPerClient = 6;

struct Stream {
  std::string camera;
  Resolution resolution;
  ColorSpace colorSpace;
};

struct ClientPlan {
  std::string name;
  std::vector<Stream> streams;
  unsigned short fps;
};

// The robot's client modules.
std::vector<ClientPlan> clientSpecs() {
  return {
      {"tracker", {{topCamera, {320, 240}, ColorSpace::RGB_888}}, 15},
      {"segmenter", {{topCamera, {160, 120}, ColorSpace::H2RGB_888}}, 5},
      {"fusion",
       {{topCamera, {320, 240}, ColorSpace::RGB_888}, {depthCamera, {320, 240}, ColorSpace::RGB_888}},
       10},
  };
}

std::string describeStreams(const ClientPlan& plan) {
  std::string out;
  for (const auto& stream : plan.streams) {
    if (!out.empty()) out += " + ";
    out += stream.camera + " " + toString(stream.colorSpace) + " " + toString(stream.resolution);
  }
  return out;
}

// One converted buffer as a client received it: the same buffer with the same
// time stamp handed to two clients is one conversion serving both.
using Delivery = std::tuple<const ImageBuffer*, long long>;

class DeliveryLog {
 public:
  void record(const Delivery& delivery, int client) {
    std::lock_guard<std::mutex> lock(_mutex);
    _receivers[delivery].insert(client);
  }
  bool isShared(const Delivery& delivery) const {
    std::lock_guard<std::mutex> lock(_mutex);
    const auto it = _receivers.find(delivery);
    return it != _receivers.end() && it->second.size() > 1;
  }

 private:
  mutable std::mutex _mutex;
  std::map<Delivery, std::set<int>> _receivers;
};

struct Sample {
  double seconds;
  std::vector<cv::Mat> pictures;  // one per stream
};

struct Client {
  ClientPlan plan;
  std::string registered;
  std::atomic<long> fetches{0};
  // Written by the client's thread only, read after it has joined.
  long newFrames = 0;
  long failures = 0;
  std::string lastFailure;
  double latencySumMs = 0.0;
  double latencyMaxMs = 0.0;
  std::vector<Delivery> deliveries;
  std::vector<Sample> samples;
};

struct Run {
  std::shared_ptr<VideoDevice> device;
  SteadyClock::time_point start;
  SteadyClock::time_point end;
  double seconds;
  std::atomic<bool> stop{false};
  std::atomic<long> framesPushed{0};
  DeliveryLog deliveries;
};

double secondsSince(SteadyClock::time_point start) {
  return std::chrono::duration<double>(SteadyClock::now() - start).count();
}

// Renders frame `frame` for both cameras at the size each expects and pushes it.
void pushFrame(VideoDevice& device, long frame) {
  const auto colourSize = device.getExpectedImageParameters(topCamera).getResolution();
  const auto colour =
      Scene::renderColour(frame, colourSize, device.getCameraFieldOfView(topCamera));
  auto colourImage = toImageBuffer(colour, ColorSpace::RGB_888, topCamera);
  colourImage->setTimeStamp(lumo::Clock::now());
  device.putImage(colourImage);

  const auto depthSize = device.getExpectedImageParameters(depthCamera).getResolution();
  const auto depth = Scene::renderDepth(frame, depthSize, device.getCameraFieldOfView(depthCamera));
  auto depthImage = toImageBuffer(depth, ColorSpace::DEPTH_16, depthCamera);
  depthImage->setTimeStamp(colourImage->getTimeStamp());
  device.putImage(depthImage);
}

void runSimulator(Run& run) {
  const auto period = std::chrono::nanoseconds(1000000000 / Scene::framesPerSecond);
  auto next = run.start;
  for (long frame = 1; !run.stop.load(); ++frame) {
    next += period;
    std::this_thread::sleep_until(next);
    if (run.stop.load()) break;
    pushFrame(*run.device, frame);
    ++run.framesPushed;
    if (SteadyClock::now() > next + period) next = SteadyClock::now();  // fell behind: no burst
  }
}

void runClient(Run& run, Client& client, int index) {
  const auto period = std::chrono::nanoseconds(1000000000 / client.plan.fps);
  const bool multi = client.plan.streams.size() > 1;
  std::vector<long long> lastStamps(client.plan.streams.size(), -1);
  int nextSample = 0;
  for (auto next = run.start; SteadyClock::now() < run.end; next += period) {
    std::this_thread::sleep_until(next);
    if (SteadyClock::now() >= run.end) break;
    const auto before = SteadyClock::now();
    std::vector<std::shared_ptr<const ImageBuffer>> images;
    try {
      if (multi) {
        images = run.device->getImages(lumo::Clock::now(), client.registered);
      } else {
        images.push_back(run.device->getImage(lumo::Clock::now(), client.registered));
      }
    } catch (const std::exception& error) {
      ++client.failures;
      client.lastFailure = error.what();
      if (multi) run.device->releaseImages(client.registered);
      continue;
    }
    const double latencyMs =
        std::chrono::duration<double, std::milli>(SteadyClock::now() - before).count();
    ++client.fetches;
    client.latencySumMs += latencyMs;
    client.latencyMaxMs = std::max(client.latencyMaxMs, latencyMs);

    bool fresh = false;
    for (std::size_t i = 0; i < images.size(); ++i) {
      const long long stamp = images[i]->getTimeStamp().time_since_epoch().count();
      fresh = fresh || stamp != lastStamps[i];
      lastStamps[i] = stamp;
      const Delivery delivery{images[i].get(), stamp};
      client.deliveries.push_back(delivery);
      run.deliveries.record(delivery, index);
    }
    if (fresh) ++client.newFrames;

    const double elapsed = secondsSince(run.start);
    if (nextSample < samplesPerClient &&
        elapsed >= (nextSample + 0.5) * run.seconds / samplesPerClient) {
      Sample sample{elapsed, {}};
      for (const auto& image : images) sample.pictures.push_back(visualise(*image));
      client.samples.push_back(std::move(sample));
      ++nextSample;
    }
    if (multi) {
      run.device->releaseImages(client.registered);
    } else {
      run.device->releaseImage(client.registered);
    }
  }
}

void drawLabel(cv::Mat& picture, const std::string& text, cv::Point origin, double scale) {
  cv::putText(picture, text, origin, cv::FONT_HERSHEY_SIMPLEX, scale, cv::Scalar::all(0), 3,
              cv::LINE_AA);
  cv::putText(picture, text, origin, cv::FONT_HERSHEY_SIMPLEX, scale, cv::Scalar::all(255), 1,
              cv::LINE_AA);
}

// The frames a client received, left to right in time, one row per camera.
cv::Mat makeStrip(const Client& client) {
  constexpr int cellHeight = 240;
  constexpr int titleHeight = 30;
  const std::size_t rows = client.plan.streams.size();
  std::vector<std::vector<cv::Mat>> cells(rows);
  int width = 0;
  for (std::size_t row = 0; row < rows; ++row) {
    int rowWidth = 0;
    for (const auto& sample : client.samples) {
      cv::Mat picture = sample.pictures[row];
      if (picture.channels() == 1) cv::cvtColor(picture, picture, cv::COLOR_GRAY2BGR);
      const int cellWidth = picture.cols * cellHeight / std::max(picture.rows, 1);
      cv::Mat cell;
      cv::resize(picture, cell, cv::Size(cellWidth, cellHeight), 0, 0, cv::INTER_NEAREST);
      drawLabel(cell, formatFixed(sample.seconds, 1) + " s", cv::Point(6, cellHeight - 8), 0.5);
      rowWidth += cell.cols + (rowWidth > 0 ? 2 : 0);
      cells[row].push_back(cell);
    }
    width = std::max(width, rowWidth);
  }
  width = std::max(width, 480);
  cv::Mat strip(titleHeight + static_cast<int>(rows) * (cellHeight + 2), width, CV_8UC3,
                cv::Scalar(40, 40, 40));
  drawLabel(strip,
            client.registered + ": " + describeStreams(client.plan) + " @ " +
                std::to_string(client.plan.fps) + " fps",
            cv::Point(8, 21), 0.55);
  for (std::size_t row = 0; row < rows; ++row) {
    int x = 0;
    const int y = titleHeight + static_cast<int>(row) * (cellHeight + 2);
    for (const auto& cell : cells[row]) {
      cell.copyTo(strip(cv::Rect(x, y, cell.cols, cell.rows)));
      x += cell.cols + 2;
    }
  }
  return strip;
}

void printReport(const Run& run, const std::vector<std::unique_ptr<Client>>& clients) {
  std::cout << "\nClients\n";
  Table clientTable({"client", "streams", "fps", "fetches", "new frames", "mean ms", "max ms",
                     "shared", "failures"});
  for (const auto& client : clients) {
    long shared = 0;
    for (const auto& delivery : client->deliveries) {
      if (run.deliveries.isShared(delivery)) ++shared;
    }
    const long fetches = client->fetches.load();
    clientTable.addRow({client->registered, describeStreams(client->plan),
                        std::to_string(client->plan.fps), std::to_string(fetches),
                        std::to_string(client->newFrames),
                        formatFixed(fetches > 0 ? client->latencySumMs / fetches : 0.0, 3),
                        formatFixed(client->latencyMaxMs, 3), std::to_string(shared),
                        std::to_string(client->failures)});
  }
  clientTable.print(std::cout);
  std::cout << "(new frames: fetches that brought a frame the client had not seen; shared: "
               "images that were the\n same converted buffer another client received)\n";
  for (const auto& client : clients) {
    if (client->failures > 0) {
      std::cout << client->registered << " last failure: " << client->lastFailure << "\n";
    }
  }

  std::cout << "\nCameras\n";
  Table cameraTable({"camera", "model", "native resolution", "native colour space", "native fps",
                     "frames pushed", "field of view (deg)"});
  for (const auto& camera : {topCamera, depthCamera}) {
    const auto& device = *run.device;
    const auto fieldOfView = device.getCameraFieldOfView(camera);
    cameraTable.addRow({camera, device.getCameraModel(camera),
                        toString(device.getCameraNativeResolution(camera)),
                        toString(device.getCameraNativeColorSpace(camera)),
                        std::to_string(device.getCameraNativeFrameRate(camera)),
                        std::to_string(run.framesPushed.load()),
                        formatFixed(toDegrees(fieldOfView.horizontal), 1) + " x " +
                            formatFixed(toDegrees(fieldOfView.vertical), 1)});
  }
  cameraTable.print(std::cout);
}

struct DemoOptions {
  std::string out = "out/demo";
  double seconds = 5.0;
};

int runDemo(const DemoOptions& options) {
  Run run;
  run.device = std::make_shared<VideoDevice>();
  run.seconds = options.seconds;
  videoDevice::CameraBuilder(run.device, describe(findModel("MT9M114"), topCamera));
  videoDevice::CameraBuilder(run.device, describe(findModel("XTION"), depthCamera));

  std::vector<std::unique_ptr<Client>> clients;
  for (const auto& plan : clientSpecs()) {
    auto client = std::make_unique<Client>();
    client->plan = plan;
    if (plan.streams.size() == 1) {
      const auto& stream = plan.streams.front();
      client->registered = run.device->subscribeCamera(plan.name, stream.camera, stream.resolution,
                                                       stream.colorSpace, plan.fps);
    } else {
      std::vector<std::string> cameras;
      std::vector<Resolution> resolutions;
      std::vector<ColorSpace> colorSpaces;
      for (const auto& stream : plan.streams) {
        cameras.push_back(stream.camera);
        resolutions.push_back(stream.resolution);
        colorSpaces.push_back(stream.colorSpace);
      }
      client->registered =
          run.device->subscribeCameras(plan.name, cameras, resolutions, colorSpaces, plan.fps);
    }
    clients.push_back(std::move(client));
  }
  const auto unsubscribeAll = [&] {
    for (const auto& client : clients) run.device->unsubscribe(client->registered);
  };

  std::cout << "Simulated robot: cameras \"" << topCamera << "\" (MT9M114) and \"" << depthCamera
            << "\" (XTION), " << clients.size() << " client modules, "
            << formatFixed(options.seconds, 1) << " s\n";

  // The first frame is in the cameras before any client asks.
  try {
    pushFrame(*run.device, 0);
  } catch (...) {
    unsubscribeAll();
    throw;
  }
  run.framesPushed = 1;
  run.start = SteadyClock::now();
  run.end = run.start + std::chrono::duration_cast<SteadyClock::duration>(
                            std::chrono::duration<double>(options.seconds));

  std::vector<std::exception_ptr> errors(clients.size() + 1);
  std::vector<std::thread> threads;
  threads.emplace_back([&] {
    try {
      runSimulator(run);
    } catch (...) {
      errors[0] = std::current_exception();
    }
  });
  for (std::size_t i = 0; i < clients.size(); ++i) {
    threads.emplace_back([&, i] {
      try {
        runClient(run, *clients[i], static_cast<int>(i));
      } catch (...) {
        errors[i + 1] = std::current_exception();
      }
    });
  }

  Progress progress("demo", options.seconds);
  const auto detail = [&] {
    std::string text = "pushed " + std::to_string(run.framesPushed.load());
    for (const auto& client : clients) {
      text += "  " + client->plan.name + " " + std::to_string(client->fetches.load());
    }
    return text;
  };
  while (SteadyClock::now() < run.end) {
    progress.update(secondsSince(run.start), detail());
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  run.stop = true;
  for (auto& thread : threads) thread.join();
  progress.finish(detail());

  try {
    for (const auto& error : errors) {
      if (error) std::rethrow_exception(error);
    }
    printReport(run, clients);
  } catch (...) {
    unsubscribeAll();
    throw;
  }
  unsubscribeAll();

  // Pictures are made before anything is written, so a failure leaves no
  // half-written folder.
  std::vector<std::pair<std::string, cv::Mat>> pictures;
  for (const auto& client : clients) {
    if (client->samples.empty()) {
      throw std::runtime_error(client->registered + " received no image to show");
    }
    pictures.emplace_back(client->plan.name + ".png", makeStrip(*client));
  }
  std::filesystem::create_directories(options.out);
  std::cout << "\n";
  for (const auto& [name, picture] : pictures) {
    const std::string path = (std::filesystem::path(options.out) / name).string();
    writePicture(path, picture);
    std::cout << "Wrote " << path << "\n";
  }
  return 0;
}

}  // namespace

Command addDemoCommand(CLI::App& parent) {
  auto options = std::make_shared<DemoOptions>();
  CLI::App* app = parent.add_subcommand(
      "demo", "Run a simulated robot: a 2D and a depth camera fed by a simulator, three clients");
  app->footer(
      "A simulator thread renders a moving scene and pushes it at 30 fps into a 2D camera\n"
      "(MT9M114 set-up, RGB_888 frames) and a depth camera (XTION set-up, DEPTH_16 frames).\n"
      "Three client modules fetch in their own threads: \"tracker\" (RGB_888 320x240, 15 fps),\n"
      "\"segmenter\" (H2RGB_888 160x120, 5 fps) and \"fusion\" (both cameras, 10 fps).\n"
      "At the end each client's frames are written as one picture in the output folder,\n"
      "and the tables tell what each client got and which native mode each camera chose.");
  app->add_option("-o,--out", options->out, "Folder for the pictures")->capture_default_str();
  app->add_option("-s,--seconds", options->seconds, "How long the robot runs")
      ->check(CLI::Range(0.5, 20.0))
      ->capture_default_str();
  return {app, [options] { return runDemo(*options); }};
}

}  // namespace videoDeviceTool
