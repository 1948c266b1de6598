// Time of the depth converters on a VGA depth frame at full size: the colour
// ramp (RGB_888) and the table-corrected distances (DISTANCE_32). Bytes
// processed are the input frame's.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>

#include <opencv2/core.hpp>
#include <videodevice/Camera3D.h>

namespace {

using videoDevice::Camera3D;
using videoDevice::CameraPreferences;
using videoDevice::ColorSpace;
using videoDevice::ImageBuffer;
using videoDevice::Resolution;

std::shared_ptr<const ImageBuffer> vgaDepthFrame() {
  auto frame = std::make_shared<ImageBuffer>("bench", Resolution::VGA, ColorSpace::DEPTH_16, true);
  std::mt19937 random(42);
  std::uniform_int_distribution<int> depth(0, 6000);
  for (std::uint64_t i = 0; i < frame->getSize() / 2; ++i) {
    const auto d = static_cast<std::uint16_t>(depth(random));
    std::memcpy(frame->getData() + 2 * i, &d, 2);
  }
  return frame;
}

void convertDepth(benchmark::State& state, ColorSpace colorSpace) {
  const auto input = vgaDepthFrame();
  const auto output = std::make_shared<ImageBuffer>("bench", Resolution::VGA, colorSpace, true);
  output->getData();
  const cv::Mat table(480, 640, CV_32FC1, cv::Scalar(1.05f));
  const CameraPreferences request(Resolution::VGA, colorSpace, 30);
  for (auto _ : state) {
    Camera3D::convert3DImage(request, input, output, table);
    benchmark::DoNotOptimize(output->getData());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * input->getSize()));
}

BENCHMARK_CAPTURE(convertDepth, RGB_888, ColorSpace::RGB_888);
BENCHMARK_CAPTURE(convertDepth, DISTANCE_32, ColorSpace::DISTANCE_32);

}  // namespace
