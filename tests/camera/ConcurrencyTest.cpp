#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <videodevice/ImageBuffer.h>

#include "CameraTestSupport.h"
#include "support/ScriptedCamera.h"

namespace videoDevice {
namespace test {
namespace {

using Request = std::shared_ptr<CameraPreferences>;

// What a fetcher saw wrong; counted, not asserted, inside the threads.
struct Faults {
  std::atomic<int> nullImages{0};
  std::atomic<int> wrongDescriptions{0};
  std::atomic<int> wrongBytes{0};
  std::atomic<int> exceptions{0};
};

// Converted byte i of grab n is ((n + i) mod 256) XOR mask: the first byte
// gives n, every other byte must agree with it.
bool bytesAreOneFrame(const ImageBuffer& image) {
  const unsigned char* data = image.getData();
  const unsigned frame = data[0] ^ ScriptedCamera::kConversionMask;
  for (std::uint64_t i = 0; i < image.getSize(); ++i)
    if (data[i] != static_cast<unsigned char>(((frame + i) & 0xFF) ^ ScriptedCamera::kConversionMask))
      return false;
  return true;
}

TEST(CameraConcurrency, FetchersAndAnAudienceChangingMeanwhileLoseNoBuffer) {
  // Raw frames are 2 bytes per pixel at a supported size: multiples of 256 bytes.
  auto camera = ScriptedCamera::make("cam",
                                     {Resolution(160, 120), Resolution(320, 240), Resolution(640, 480)},
                                     {ColorSpace::YUV_422, ColorSpace::Y_8, ColorSpace::RGB_888},
                                     {5, 10, 15, 30});
  const std::vector<Request> steady = {
      std::make_shared<CameraPreferences>(Resolution(320, 240), ColorSpace::RGB_888, 30),
      std::make_shared<CameraPreferences>(Resolution(320, 240), ColorSpace::RGB_888, 15),
      std::make_shared<CameraPreferences>(Resolution(160, 120), ColorSpace::Y_8, 30)};
  for (const auto& request : steady) camera->addPreferences(request);

  // A shared request clock: each fetch moves it on by 4 ms, so frames keep
  // going stale and conversions keep happening.
  std::atomic<std::int64_t> clockMs{0};
  std::atomic<bool> fetchersDone{false};
  Faults faults;
  constexpr int kFetches = 300;

  std::vector<std::thread> fetchers;
  for (const auto& request : steady) {
    fetchers.emplace_back([&, request] {
      const CameraPreferences wanted = *request;  // never changed by anyone
      for (int n = 0; n < kFetches; ++n) {
        try {
          auto image = camera->getImageBuffer(at(clockMs.fetch_add(4)), *request);
          if (!image) {
            ++faults.nullImages;
            continue;
          }
          if (!image->isPreferencesValid(wanted) || image->useCount.load() < 1)
            ++faults.wrongDescriptions;
          if (!bytesAreOneFrame(*image)) ++faults.wrongBytes;
          camera->releaseImageBuffer(image);
        } catch (const std::exception&) {
          ++faults.exceptions;
        }
      }
    });
  }

  // Meanwhile a fourth subscriber comes and goes, changes its request, and
  // fetches now and then.
  std::thread audience([&] {
    auto request = std::make_shared<CameraPreferences>(Resolution(640, 480), ColorSpace::YUV_422, 10);
    const std::vector<Resolution> sizes = {Resolution(640, 480), Resolution(160, 120),
                                           Resolution(320, 240)};
    const std::vector<ColorSpace> colorSpaces = {ColorSpace::Y_8, ColorSpace::RGB_888};
    int round = 0;
    do {
      try {
        camera->addPreferences(request);
        camera->updateResolutionPreferences(request, sizes[round % sizes.size()]);
        camera->updateColorSpacePreferences(request, colorSpaces[round % colorSpaces.size()]);
        camera->updateFrameRatePreferences(request, static_cast<unsigned short>(5 + round % 25));
        auto image = camera->getImageBuffer(at(clockMs.load()), *request);
        if (!image->isPreferencesValid(*request)) ++faults.wrongDescriptions;
        if (!bytesAreOneFrame(*image)) ++faults.wrongBytes;
        camera->releaseImageBuffer(image);
        camera->removePreferences(request);
        // The same request back at its first size, so rounds differ.
        camera->addPreferences(request);
        camera->removePreferences(request);
      } catch (const std::exception&) {
        ++faults.exceptions;
      }
      ++round;
    } while (!fetchersDone.load());
  });

  for (auto& fetcher : fetchers) fetcher.join();
  fetchersDone = true;
  audience.join();

  EXPECT_EQ(faults.nullImages.load(), 0);
  EXPECT_EQ(faults.wrongDescriptions.load(), 0);
  EXPECT_EQ(faults.wrongBytes.load(), 0);
  EXPECT_EQ(faults.exceptions.load(), 0);
  for (std::int32_t count : camera->useCounts()) EXPECT_EQ(count, 0);
  EXPECT_TRUE(camera->isOpen());  // the steady subscribers never left

  // Bounded pools. Raw frames are held only while one request, under the
  // camera lock, converts them: one raw buffer serves. A converted buffer is
  // added only when every buffer of its key is held, and each of the 4
  // subscribers holds at most one, so at most 4 per key; the keys in play are
  // the 2 steady ones and the audience's 3 sizes x 2 colour spaces.
  EXPECT_LE(camera->rawPoolSize(), 1u);
  EXPECT_LE(camera->convertedPoolSize(), 4u * (2u + 3u * 2u));

  // With only the steady subscribers left, the pools settle and then stop
  // growing.
  const auto fetchAll = [&] {
    for (const auto& request : steady)
      camera->releaseImageBuffer(camera->getImageBuffer(at(clockMs.fetch_add(4)), *request));
  };
  for (int n = 0; n < 10; ++n) fetchAll();
  const std::size_t raw = camera->rawPoolSize();
  const std::size_t converted = camera->convertedPoolSize();
  for (int n = 0; n < 100; ++n) fetchAll();
  EXPECT_EQ(camera->rawPoolSize(), raw);
  EXPECT_EQ(camera->convertedPoolSize(), converted);
  for (const auto& request : steady) camera->removePreferences(request);
  EXPECT_FALSE(camera->isOpen());
}

}  // namespace
}  // namespace test
}  // namespace videoDevice
