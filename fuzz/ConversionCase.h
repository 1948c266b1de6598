#pragma once
// One conversion call drawn from the fuzzer's bytes, shared by the 2D and the
// depth targets: an input image of any size and colour space, a request of
// any size and colour space, an output buffer as the pools make them (or one
// wrapping exactly the bytes the request needs), and the prediction of how
// the frame's checks end, which both frames run in the same order.

#include <cstdint>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>

#include <videodevice/CameraPreferences.h>
#include <videodevice/ImageBuffer.h>

#include "FuzzSupport.h"

namespace fuzz {

// The most bytes an image made here holds: a few megapixels, enough for
// every mode of the catalogue's cameras in any colour space.
constexpr std::uint64_t kMaxBytes = std::uint64_t{16} << 20;

// Sizes the catalogue's cameras deliver, so that the common factors appear.
inline Resolution cameraSize(FuzzedDataProvider& in) {
  static const Resolution sizes[] = {{80, 45},    {80, 60},    {160, 90},   {160, 120},
                                     {320, 180},  {320, 240},  {640, 360},  {640, 480},
                                     {1280, 720}, {1280, 960}, {1344, 376}, {2560, 720}};
  return sizes[in.ConsumeIntegralInRange<std::size_t>(0, sizeof sizes / sizeof sizes[0] - 1)];
}

// Mostly small sizes, which keep runs fast; large and extreme ones by choice.
inline Resolution anySize(FuzzedDataProvider& in) {
  switch (in.ConsumeIntegralInRange<int>(0, 15)) {
    case 0:
    case 1:
      return {in.ConsumeIntegralInRange<std::uint64_t>(0, 700),
              in.ConsumeIntegralInRange<std::uint64_t>(0, 700)};
    case 2:
      return {in.ConsumeIntegralInRange<std::uint64_t>(0, 4096),
              in.ConsumeIntegralInRange<std::uint64_t>(0, 4096)};
    case 3: return {in.ConsumeIntegral<std::uint64_t>(), in.ConsumeIntegral<std::uint64_t>()};
    case 4:
    case 5: return cameraSize(in);
    default:
      return {in.ConsumeIntegralInRange<std::uint64_t>(0, 17),
              in.ConsumeIntegralInRange<std::uint64_t>(0, 17)};
  }
}

// A request derived from the input size, so that the aspect-ratio and
// up-scaling checks pass often enough to reach the converters.
inline Resolution requestFor(FuzzedDataProvider& in, Resolution input) {
  switch (in.ConsumeIntegralInRange<int>(0, 4)) {
    case 0: {
      const std::uint64_t factor = in.ConsumeIntegralInRange<std::uint64_t>(1, 9);
      return {input.width / factor, input.height / factor};
    }
    case 1: return input;
    case 2: return {input.height, input.width};
    case 3:
      return {in.ConsumeIntegralInRange<std::uint64_t>(0, input.width + 2),
              in.ConsumeIntegralInRange<std::uint64_t>(0, input.height + 2)};
    default: return anySize(in);
  }
}

// A buffer for one side of a call, and the memory it wraps if any.
struct Side {
  std::shared_ptr<ImageBuffer> buffer;  // null for a missing pointer
  std::string how;                      // for failure reports
};

// An image in the roles a caller may give it: wrapping exactly its byte size
// (most of the time), wrapping nothing, owning a block the library allocates
// on first use, or missing. Sizes too large to hold become wrapping nothing.
inline Side anyImage(FuzzedDataProvider& in, const std::string& cameraName, Resolution size,
                     ColorSpace colorSpace) {
  std::uint64_t bytes = 0;
  const bool holdable = byteSize(size, colorSpace, bytes) && bytes <= kMaxBytes;
  switch (in.ConsumeIntegralInRange<int>(0, 7)) {
    case 0: return {nullptr, "missing"};
    case 1: return {describedFrame(cameraName, size, colorSpace, false), "without pixels"};
    case 2:
      if (holdable) {
        auto owning = describedFrame(cameraName, size, colorSpace, true);
        if (owning && in.ConsumeBool()) owning->getData();
        return {owning, "owning"};
      }
      return {describedFrame(cameraName, size, colorSpace, false), "without pixels"};
    default:
      if (holdable) return {exactFrame(cameraName, size, colorSpace, bytes, in), "exact"};
      return {describedFrame(cameraName, size, colorSpace, false), "without pixels"};
  }
}

// The pool buffer a camera would pass (owning, of any earlier description,
// allocated or not), or one wrapping exactly the bytes the request needs, so
// that a converter writing past the requested size is caught. The same
// buffer as the input, or none, now and then.
inline Side anyOutput(FuzzedDataProvider& in, const Side& input, Resolution requested,
                      ColorSpace requestedColorSpace) {
  switch (in.ConsumeIntegralInRange<int>(0, 9)) {
    case 0: return {nullptr, "missing"};
    case 1: return {input.buffer, "the input itself"};
    case 2:
    case 3: {
      std::uint64_t bytes = 0;
      if (byteSize(requested, requestedColorSpace, bytes) && bytes <= kMaxBytes)
        return {exactFrame("out", requested, requestedColorSpace, bytes, in),
                "exact for the request"};
      break;
    }
    default: break;
  }
  // A pool buffer has only held sizes a camera delivers. (A buffer grows its
  // block per dimension, so a very wide image then a very tall one would ask
  // for a block of their product: that is the buffer's documented policy, not
  // something a conversion can avoid.)
  Resolution earlier = anySize(in);
  const ColorSpace earlierColorSpace = anyColorSpace(in);
  std::uint64_t bytes = 0;
  if (!byteSize(earlier, earlierColorSpace, bytes) || bytes > kMaxBytes || earlier.width > 4096 ||
      earlier.height > 4096)
    earlier = Resolution(4, 4);
  auto owning = describedFrame("out", earlier, earlierColorSpace, true);
  if (owning && in.ConsumeBool()) owning->getData();
  return {owning, "owning"};
}

// How the checks shared by both frames end, before the input colour space is
// judged: Completed means they all pass. Mirrors the order of the frame;
// getData() is called as the frame calls it (an owning buffer allocates).
inline Outcome frameChecks(Resolution requested, bool colorSpaceValid, const Side& input,
                           const Side& output) {
  if (requested.width == 0 || requested.height == 0) return Outcome::DomainError;
  if (!colorSpaceValid) return Outcome::RuntimeError;
  if (!input.buffer) return Outcome::InvalidArgument;
  const ImageBuffer& constInput = *input.buffer;
  if (constInput.getData() == nullptr) return Outcome::InvalidArgument;
  const Resolution source = input.buffer->getResolution();
  if (source.width == 0 || source.height == 0) return Outcome::DomainError;
  if (!output.buffer) return Outcome::InvalidArgument;
  if (output.buffer->getData() == nullptr) return Outcome::InvalidArgument;
  if (input.buffer == output.buffer) return Outcome::InvalidArgument;
  // Products in unsigned 64-bit arithmetic, wrapping like the frame's.
  if (requested.width * source.height != source.width * requested.height)
    return Outcome::DomainError;
  if (requested.width > source.width || requested.height > source.height)
    return Outcome::DomainError;
  return Outcome::Completed;
}

inline std::string describe(const Side& side) {
  std::ostringstream out;
  if (side.buffer)
    out << *side.buffer << " " << side.how;
  else
    out << side.how;
  return out.str();
}

// After a completed conversion the output carries the request and the
// input's time stamp and field of view, and every byte it declares is there.
inline void expectPrepared(const ImageBuffer& input, const ImageBuffer& output,
                           Resolution requested, ColorSpace requestedColorSpace) {
  if (output.getResolution() != requested || output.getColorSpace() != requestedColorSpace) {
    std::ostringstream what;
    what << "converted image is " << output << ", not " << requested.width << "x"
         << requested.height << "@" << requestedColorSpace;
    fail(what.str());
  }
  if (output.getTimeStamp() != input.getTimeStamp()) fail("converted image lost its time stamp");
  const auto a = output.getFieldOfView();
  const auto b = input.getFieldOfView();
  if (std::memcmp(&a, &b, sizeof a) != 0) fail("converted image lost its field of view");
  expectReadable(output);
}

}  // namespace fuzz
