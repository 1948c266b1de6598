// Time of the 2D converters on a VGA frame, at full size (factor 1) and at
// half size (factor 2). Bytes processed are the input frame's.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <random>

#include <videodevice/Camera2D.h>

namespace {

using videoDevice::Camera2D;
using videoDevice::ColorSpace;
using videoDevice::ImageBuffer;
using videoDevice::Resolution;
using Converter = void (*)(const Camera2D::Input&, const Camera2D::Output&);

std::shared_ptr<const ImageBuffer> vgaFrame() {
  auto frame = std::make_shared<ImageBuffer>("bench", Resolution::VGA, ColorSpace::YUV_422, true);
  std::mt19937 random(42);
  for (std::uint64_t i = 0; i < frame->getSize(); ++i)
    frame->getData()[i] = static_cast<std::uint8_t>(random());
  return frame;
}

// state.range(0) is the factor.
void convert(benchmark::State& state, ColorSpace colorSpace, Converter converter) {
  const auto input = vgaFrame();
  const std::uint64_t factor = static_cast<std::uint64_t>(state.range(0));
  const auto output = std::make_shared<ImageBuffer>(
      "bench", Resolution(640 / factor, 480 / factor), colorSpace, true);
  output->getData();
  for (auto _ : state) {
    converter(input, output);
    benchmark::DoNotOptimize(output->getData());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * input->getSize()));
}

BENCHMARK_CAPTURE(convert, RGB_888, ColorSpace::RGB_888, &Camera2D::convertYUV422toRGB888)->Arg(1)->Arg(2);
BENCHMARK_CAPTURE(convert, BGR_888, ColorSpace::BGR_888, &Camera2D::convertYUV422toBGR888)->Arg(1)->Arg(2);
BENCHMARK_CAPTURE(convert, Y_8, ColorSpace::Y_8, &Camera2D::convertYUV422toY8)->Arg(1)->Arg(2);
BENCHMARK_CAPTURE(convert, YUV_422, ColorSpace::YUV_422, &Camera2D::convertYUV422toYUV422)->Arg(1)->Arg(2);
BENCHMARK_CAPTURE(convert, R_8, ColorSpace::R_8, &Camera2D::convertYUV422toR8)->Arg(1)->Arg(2);
BENCHMARK_CAPTURE(convert, HSY_888, ColorSpace::HSY_888, &Camera2D::convertYUV422toHSY888)->Arg(1)->Arg(2);
BENCHMARK_CAPTURE(convert, H2RGB_888, ColorSpace::H2RGB_888, &Camera2D::convertYUV422toH2RGB)->Arg(1)->Arg(2);

}  // namespace
