// Fuzz target: frames pushed through VideoDevice::putImage into a simulated
// 2D camera and a simulated depth camera of the catalogue, interleaved with
// subscriptions, fetches of any request and releases.
//
// Frames come in any colour space and size, for any camera name, with any
// time stamp (the clock's extremes included) and with exact-size pixel
// memory, memory the buffer allocates itself, or none. Only the library's
// documented failures may escape; every image handed out holds the bytes it
// declares; once everyone has released and left, no pool buffer is held.

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "DeviceSession.h"

using namespace videoDevice;

namespace {

// Large enough for the greatest supported mode in any colour space.
constexpr std::uint64_t kMaxFrameBytes = std::uint64_t{40} << 20;

ColorSpace frameColorSpace(FuzzedDataProvider& in) {
  static const ColorSpace pushed[] = {ColorSpace::YUV_422, ColorSpace::RGB_888,
                                      ColorSpace::BGR_888, ColorSpace::DEPTH_16,
                                      ColorSpace::INFRARED_16};
  if (in.ConsumeIntegralInRange<int>(0, 5) == 0) return fuzz::anyColorSpace(in);
  return pushed[in.ConsumeIntegralInRange<int>(0, 4)];
}

void push(FuzzedDataProvider& in, fuzz::Session& session) {
  if (in.ConsumeIntegralInRange<int>(0, 31) == 0) {
    fuzz::run([&] { session.device().putImage(nullptr); });
    return;
  }
  const std::string camera = session.cameraName(in);
  const ColorSpace colorSpace = frameColorSpace(in);
  Resolution size = session.resolutionFor(in, camera);
  // What a simulator does: ask the camera what to push.
  if (in.ConsumeBool())
    fuzz::run([&] { size = session.device().getExpectedImageParameters(camera).getResolution(); });
  std::uint64_t bytes = 0;
  const bool holdable = fuzz::byteSize(size, colorSpace, bytes) && bytes <= kMaxFrameBytes;

  std::shared_ptr<ImageBuffer> frame;
  switch (holdable ? in.ConsumeIntegralInRange<int>(0, 5) : 0) {
    case 0: frame = fuzz::describedFrame(camera, size, colorSpace, false); break;
    case 1:
      // The buffer allocates its block on the first getData().
      frame = fuzz::describedFrame(camera, size, colorSpace, true);
      break;
    default: frame = fuzz::exactFrame(camera, size, colorSpace, bytes, in); break;
  }
  if (!frame) return;
  frame->setTimeStamp(fuzz::anyTimePoint(in));
  frame->setFielOfView({in.ConsumeFloatingPoint<float>(), in.ConsumeFloatingPoint<float>()});
  fuzz::run([&] { session.device().putImage(frame); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  fuzz::Session session(
      {{"front", fuzz::any2DModel(in)},
       {"depth", fuzz::anyDepthModel(in)}});

  for (int step = 0; step < 64 && in.remaining_bytes() > 0; ++step) {
    switch (in.ConsumeIntegralInRange<int>(0, 9)) {
      case 0:
      case 1: session.subscribeCamera(in); break;
      case 2: session.subscribeCameras(in); break;
      case 3:
      case 4:
      case 5: push(in, session); break;
      case 6:
      case 7: session.fetch(in); break;
      case 8: session.release(in); break;
      default: session.unsubscribe(in); break;
    }
  }
  session.finish();
  return 0;
}
