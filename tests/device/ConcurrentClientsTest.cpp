// Clients changing their settings while other modules come and go and the
// native mode is read: the requests shared between a subscriber and its
// cameras, and the native mode, are read and written from several threads.
// Its worth is in the ThreadSanitizer run, which reports any unguarded access.

#include <atomic>
#include <set>
#include <thread>

#include "DeviceTestHelpers.h"

namespace videoDevice {
namespace {

using test::qvga;
using test::rgb;

TEST(ConcurrentClients, SettingsRenegotiationAndNativeReadsShareNoUnguardedState) {
  auto device = std::make_shared<VideoDevice>();
  test::addSimulator(device, "front", &CameraBuilder::setupSimulatorMT9M114);
  test::addSimulator(device, "depth", &CameraBuilder::setupSimulatorXTION);
  const std::string fusion = device->subscribeCameras("fusion", {"front", "depth"}, {qvga, qvga},
                                                      {rgb, ColorSpace::DEPTH_16}, 15);
  const std::set<Resolution> frontModes = device->getCamera("front")->getNativelySupportedResolutions();
  constexpr int rounds = 200;
  std::atomic<bool> done{false};
  std::atomic<int> badReads{0};

  // Rates go into both of the fusion's requests; only front is told.
  std::thread setter([&] {
    for (int i = 0; i < rounds; ++i)
      device->setFrameRate(fusion, static_cast<unsigned short>(5 + i % 26));
  });
  // Visitors make each camera renegotiate from every attached request.
  const auto visitor = [&](const char* camera, Resolution size, ColorSpace colorSpace) {
    return std::thread([&device, camera, size, colorSpace] {
      for (int i = 0; i < rounds; ++i)
        device->unsubscribe(device->subscribeCamera("visitor", camera, size, colorSpace, 5));
    });
  };
  std::thread frontVisitor = visitor("front", Resolution::VGA, ColorSpace::Y_8);
  std::thread depthVisitor = visitor("depth", Resolution::VGA, ColorSpace::DEPTH_16);
  std::thread reader([&] {
    while (!done) {
      const Resolution native = device->getCameraNativeResolution("front");
      const CameraPreferences expected = device->getExpectedImageParameters("front");
      const unsigned short rate = device->getCameraNativeFrameRate("front");
      if (frontModes.count(native) == 0 || frontModes.count(expected.getResolution()) == 0 ||
          rate < 5 || rate > 30)
        ++badReads;
    }
  });
  setter.join();
  frontVisitor.join();
  depthVisitor.join();
  done = true;
  reader.join();

  EXPECT_EQ(badReads.load(), 0);
  // The last rate, 5 + 199 % 26 = 22, reached depth's request as well: the
  // next renegotiation there picks it up.
  device->unsubscribe(device->subscribeCamera("visitor", "depth", qvga, ColorSpace::DEPTH_16, 5));
  EXPECT_EQ(device->getCameraNativeFrameRate("front"), 22);
  EXPECT_EQ(device->getCameraNativeFrameRate("depth"), 22);
  EXPECT_EQ(device->getCameraNativeResolution("front"), qvga);
  device->unsubscribe(fusion);
}

}  // namespace
}  // namespace videoDevice
