// Several client threads on one simulated camera while frames arrive and
// another module comes and goes. Run it under the sanitizers as well.

#include <atomic>
#include <cstring>
#include <thread>

#include "DeviceTestHelpers.h"

namespace videoDevice {
namespace {

using test::qvga;
using test::rgb;

TEST(ConcurrentClients, EveryFetchedImageIsWellFormed) {
  auto device = std::make_shared<VideoDevice>();
  test::addSimulator(device, "front", &CameraBuilder::setupSimulatorMT9M114);
  constexpr int clientCount = 3, fetchesPerClient = 60;
  std::vector<std::string> clients;
  for (int i = 0; i < clientCount; ++i)
    clients.push_back(device->subscribeCamera("client", "front", qvga, rgb, 30));
  std::atomic<bool> clientsDone{false};
  std::atomic<int> wellFormed{0};
  // Runs `body` and turns any exception into a test failure.
  const auto guarded = [](const std::string& who, const auto& body) {
    try {
      body();
    } catch (const std::exception& error) {
      ADD_FAILURE() << who << ": " << error.what();
    }
  };

  std::vector<std::thread> threads;
  for (const std::string& client : clients) {
    threads.emplace_back([&, client] {
      for (int n = 0; n < fetchesPerClient; ++n) {
        guarded(client, [&] {
          const auto image = device->getImage(lumo::Clock::now(), client);
          if (image && image->getResolution() == qvga && image->getColorSpace() == rgb &&
              image->getCameraName() == "front" && image->getSize() == 320u * 240u * 3u) {
            volatile unsigned sum = 0;  // read every byte so that the sanitizer sees a stale block
            for (std::uint64_t i = 0; i < image->getSize(); ++i) sum = sum + image->getData()[i];
            ++wellFormed;
          }
          device->releaseImage(client);
        });
      }
    });
  }
  // The simulator pushes frames of changing grey.
  threads.emplace_back([&] {
    for (unsigned char level = 0; !clientsDone; ++level) {
      auto frame = std::make_shared<ImageBuffer>("front", qvga, rgb, true);
      std::memset(frame->getData(), level, frame->getSize());
      guarded("putImage", [&] { device->putImage(frame); });
    }
  });
  // A visitor at a larger size moves the camera's native mode under the clients.
  threads.emplace_back([&] {
    while (!clientsDone) {
      guarded("visitor", [&] {
        device->unsubscribe(device->subscribeCamera("visitor", "front", Resolution::VGA, ColorSpace::Y_8, 15));
      });
    }
  });

  for (int i = 0; i < clientCount; ++i) threads[i].join();
  clientsDone = true;
  for (std::size_t i = clientCount; i < threads.size(); ++i) threads[i].join();
  EXPECT_EQ(wellFormed.load(), clientCount * fetchesPerClient);
  EXPECT_EQ(device->getSubscribers(), clients);
}

}  // namespace
}  // namespace videoDevice
