// Several client threads on one simulated camera while frames arrive and
// other modules come and go. Run it under the sanitizers as well.

#include <atomic>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <videodevice/CameraBuilder.h>
#include <videodevice/CameraInfo.h>
#include <videodevice/VideoDevice.h>

namespace videoDevice {
namespace {

TEST(ConcurrentClients, EveryFetchedImageIsWellFormed) {
  auto device = std::make_shared<VideoDevice>();
  CameraInfo info;
  CameraBuilder::setupSimulatorMT9M114(info);
  info.name = "front";
  CameraBuilder(device, info);

  const Resolution qvga(320, 240);
  constexpr int clientCount = 3;
  constexpr int fetchesPerClient = 150;
  std::vector<std::string> clients;
  for (int i = 0; i < clientCount; ++i)
    clients.push_back(device->subscribeCamera("client", "front", qvga, ColorSpace::RGB_888, 30));

  std::atomic<bool> clientsDone{false};
  std::atomic<int> malformed{0};
  std::atomic<int> failures{0};
  std::atomic<int> fetched{0};

  std::vector<std::thread> threads;
  for (const std::string& client : clients) {
    threads.emplace_back([&, client] {
      for (int n = 0; n < fetchesPerClient; ++n) {
        try {
          const auto image = device->getImage(lumo::Clock::now(), client);
          const bool wellFormed = image && image->getResolution() == qvga &&
                                  image->getColorSpace() == ColorSpace::RGB_888 &&
                                  image->getCameraName() == "front" &&
                                  image->getSize() == 320u * 240u * 3u &&
                                  image->getData() != nullptr;
          if (wellFormed) {
            // Touch every byte so that the sanitizer sees any stale block.
            unsigned sum = 0;
            for (std::uint64_t i = 0; i < image->getSize(); ++i) sum += image->getData()[i];
            (void)sum;
            ++fetched;
          } else {
            ++malformed;
          }
          device->releaseImage(client);
        } catch (const std::exception& error) {
          ADD_FAILURE() << client << ": " << error.what();
          ++failures;
        }
      }
    });
  }

  // The simulator: pushes frames of changing grey until the clients are done.
  threads.emplace_back([&] {
    unsigned char level = 0;
    while (!clientsDone) {
      auto frame = std::make_shared<ImageBuffer>("front", qvga, ColorSpace::RGB_888, true);
      std::memset(frame->getData(), level++, frame->getSize());
      try {
        device->putImage(frame);
      } catch (const std::exception& error) {
        ADD_FAILURE() << "putImage: " << error.what();
        ++failures;
      }
    }
  });

  // Another module keeps subscribing and leaving, at a larger size, which
  // moves the camera's native mode back and forth under the clients.
  threads.emplace_back([&] {
    while (!clientsDone) {
      try {
        const std::string name =
            device->subscribeCamera("visitor", "front", Resolution::VGA, ColorSpace::Y_8, 15);
        device->unsubscribe(name);
      } catch (const std::exception& error) {
        ADD_FAILURE() << "visitor: " << error.what();
        ++failures;
      }
    }
  });

  for (int i = 0; i < clientCount; ++i) threads[i].join();
  clientsDone = true;
  for (std::size_t i = clientCount; i < threads.size(); ++i) threads[i].join();

  EXPECT_EQ(malformed.load(), 0);
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(fetched.load(), clientCount * fetchesPerClient);
  EXPECT_EQ(device->getSubscribers(), clients);
  for (const std::string& client : clients) device->unsubscribe(client);
}

}  // namespace
}  // namespace videoDevice
