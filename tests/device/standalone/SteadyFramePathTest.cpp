// Once its pools are warm, a client repeating the same request gets every new
// frame without a heap allocation and without an exception thrown anywhere,
// even when each frame is converted anew.
//
// The program takes over the C library's allocation functions (the C++
// operator new allocates through them, and so does OpenCV), handing each call
// to glibc's own, and wraps the C++ runtime's __cxa_throw, which is why it is
// a program of its own. Both are counted per thread: the path runs entirely in
// the calling thread, while OpenCV hands some conversions to worker threads
// that set up their own state once, at moments of their choosing. Under a
// sanitizer it only skips: the sanitizers bring their own allocator and throw
// interceptor, which these would fight.

// First: the runtime's own declaration of __cxa_throw, which the wrapper
// below must match, before any throw makes the compiler declare it.
#include <cxxabi.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include <videodevice/CameraBuilder.h>
#include <videodevice/CameraInfo.h>
#include <videodevice/ImageBuffer.h>
#include <videodevice/VideoDevice.h>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
#define VIDEODEVICE_UNDER_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VIDEODEVICE_UNDER_SANITIZER 1
#endif

namespace {
thread_local std::size_t allocations = 0;
thread_local std::size_t throws = 0;
}  // namespace

#ifndef VIDEODEVICE_UNDER_SANITIZER

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* malloc(std::size_t size) noexcept {
  ++allocations;
  return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) noexcept {
  ++allocations;
  return __libc_calloc(count, size);
}
void* realloc(void* block, std::size_t size) noexcept {
  ++allocations;
  return __libc_realloc(block, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  ++allocations;
  return __libc_memalign(alignment, size);
}
int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
  ++allocations;
  *block = __libc_memalign(alignment, size);
  return *block != nullptr || size == 0 ? 0 : ENOMEM;
}
}  // extern "C"

// Every throw expression, in the library as here, goes through this function
// of the C++ runtime: count it, then hand it to the runtime's own.
namespace __cxxabiv1 {
extern "C" void __cxa_throw(void* exception, std::type_info* type, void (*destroy)(void*)) {
  using Throw = void (*)(void*, std::type_info*, void (*)(void*));
  static const auto runtimeThrow = reinterpret_cast<Throw>(dlsym(RTLD_NEXT, "__cxa_throw"));
  ++throws;
  runtimeThrow(exception, type, destroy);
  std::abort();  // the runtime's throw does not return
}
}  // namespace __cxxabiv1

#endif  // VIDEODEVICE_UNDER_SANITIZER

namespace videoDevice {
namespace {

using Time = lumo::Clock::time_point;

// Long names: a copied name would not fit in a string's own small buffer.
const std::string kCamera = "front_colour_camera_of_the_robot";
const std::string kRearCamera = "rear_colour_camera_of_the_robot";
const Resolution kVga(640, 480);
const Resolution kQvga(320, 240);

struct Counts {
  std::size_t allocations;
  std::size_t throws;
};

Counts now() { return {allocations, throws}; }

TEST(SteadyFramePath, WarmPoolsServeNewFramesWithoutAllocatingOrThrowing) {
#ifdef VIDEODEVICE_UNDER_SANITIZER
  GTEST_SKIP() << "allocation and throw counting is off under sanitizers";
#endif
  // The counters must see what they count, or the zeros below prove nothing.
  const Counts probe = now();
  ::operator delete(::operator new(16));
  ASSERT_EQ(now().allocations - probe.allocations, 1u);
  try {
    throw std::logic_error("probe");
  } catch (const std::exception&) {
  }
  ASSERT_EQ(now().throws - probe.throws, 1u);

  auto device = std::make_shared<VideoDevice>();
  for (const std::string& name : {kCamera, kRearCamera}) {
    CameraInfo info;
    CameraBuilder::setupSimulatorMT9M114(info);
    info.name = name;
    CameraBuilder(device, info);
  }

  // The native mode is VGA; two clients share one converted QVGA RGB buffer,
  // a third wants grey at full size, a fourth the raw frame, and a
  // multi-stream client takes BGR from both cameras.
  const std::string rgbA =
      device->subscribeCamera("tracker_module_left", kCamera, kQvga, ColorSpace::RGB_888, 30);
  const std::string rgbB =
      device->subscribeCamera("tracker_module_right", kCamera, kQvga, ColorSpace::RGB_888, 30);
  const std::string grey =
      device->subscribeCamera("segmentation_module", kCamera, kVga, ColorSpace::Y_8, 30);
  const std::string raw =
      device->subscribeCamera("recorder_module_raw", kCamera, kVga, ColorSpace::YUV_422, 30);
  const std::string multi = device->subscribeCameras(
      "fusion_module_both_cameras", {kCamera, kRearCamera}, {kQvga, kQvga},
      {ColorSpace::BGR_888, ColorSpace::BGR_888}, 30);

  auto frame = std::make_shared<ImageBuffer>(kCamera, kVga, ColorSpace::RGB_888, true);
  // The rear camera's frames are decimated to its native QVGA on the way in.
  auto rearFrame = std::make_shared<ImageBuffer>(kRearCamera, kVga, ColorSpace::BGR_888, true);
  std::memset(frame->getData(), 0, frame->getSize());
  std::memset(rearFrame->getData(), 0, rearFrame->getSize());
  // Frames 100 ms apart at 30 fps: no buffer of the previous frame is fresh,
  // so every frame is grabbed and converted again.
  const auto cycle = [&](int index) {
    const Time stamp = Time(boost::chrono::milliseconds(1000 + 100 * index));
    frame->getData()[index % 1000] = static_cast<unsigned char>(index);
    frame->setTimeStamp(stamp);
    rearFrame->setTimeStamp(stamp);
    device->putImage(frame);
    device->putImage(rearFrame);
    const auto a = device->getImage(stamp, rgbA);
    const auto b = device->getImage(stamp, rgbB);
    const auto g = device->getImage(stamp, grey);
    const auto r = device->getDirectRawImage(stamp, raw);
    const auto both = device->getImages(stamp, multi);
    EXPECT_EQ(a.get(), b.get());
    EXPECT_EQ(a->getTimeStamp(), stamp);
    EXPECT_EQ(g->getTimeStamp(), stamp);
    EXPECT_EQ(r->getTimeStamp(), stamp);
    EXPECT_EQ(both.size(), 2u);
    EXPECT_EQ(both.back()->getTimeStamp(), stamp);
    device->releaseImage(rgbA);
    device->releaseImage(rgbB);
    device->releaseImage(grey);
    device->releaseDirectRawImage(raw);
    device->releaseImages(multi);
  };
  for (int i = 0; i < 5; ++i) cycle(i);  // warms the pools and the records

  constexpr int kFrames = 200;
  const Counts before = now();
  for (int i = 5; i < 5 + kFrames; ++i) cycle(i);
  const Counts after = now();

  // The multi-stream fetch returns a new vector by its signature: that one
  // block per frame is all the path may take.
  EXPECT_EQ(after.allocations - before.allocations, std::size_t{kFrames})
      << "heap allocations over " << kFrames << " new frames";
  EXPECT_EQ(after.throws - before.throws, 0u) << "exceptions over " << kFrames << " new frames";

  for (const auto& name : {rgbA, rgbB, grey, raw, multi}) device->unsubscribe(name);
}

}  // namespace
}  // namespace videoDevice
