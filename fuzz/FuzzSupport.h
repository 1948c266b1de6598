#pragma once
// What the fuzz targets share: a quiet but fully built log, the failures a
// caller of the library is told to expect, values drawn from the fuzzer's
// bytes, frames that wrap exactly as much memory as they declare, and the
// checks run on what the library hands back.
//
// A broken expectation ends the run through fail(), which aborts: libFuzzer
// then keeps the input that led there as a crash.

#include <fuzzer/FuzzedDataProvider.h>
#include <sanitizer/asan_interface.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include <lumo/Clock.h>
#include <lumo/Log.h>
#include <opencv2/core.hpp>
#include <videodevice/ImageBuffer.h>
#include <videodevice/Types.h>

namespace fuzz {

using videoDevice::ColorSpace;
using videoDevice::ImageBuffer;
using videoDevice::Parameter;
using videoDevice::Resolution;

[[noreturn]] inline void fail(const std::string& what) {
  std::fprintf(stderr, "\n*** fuzz check failed: %s\n", what.c_str());
  std::fflush(stderr);
  std::abort();
}

// Every record is built (verbosity 5, so the formatting of odd values runs
// too) and then dropped: the targets make millions of failing calls.
inline void quietLog() {
  lumo::log::setVerbosity(5);
  lumo::log::setHandler([](const lumo::log::Record&) {});
}

// How a call ended, as far as a caller can tell.
enum class Outcome { Completed, InvalidArgument, DomainError, OutOfRange, RuntimeError };

inline const char* toString(Outcome outcome) {
  switch (outcome) {
    case Outcome::Completed: return "completed";
    case Outcome::InvalidArgument: return "std::invalid_argument";
    case Outcome::DomainError: return "std::domain_error";
    case Outcome::OutOfRange: return "std::out_of_range";
    case Outcome::RuntimeError: return "std::runtime_error";
  }
  return "?";
}

// Runs `call` and tells how it ended. The library reports failures with
// std::invalid_argument, std::domain_error, std::out_of_range and
// std::runtime_error (or classes derived from them, like the tool's
// ToolError). Anything else escaping is a defect: an OpenCV exception let
// through, std::bad_alloc from a size nobody checked, a length_error, a
// non-standard throw.
template <typename Call>
Outcome run(Call&& call) {
  try {
    call();
    return Outcome::Completed;
  } catch (const cv::Exception& error) {
    fail(std::string("cv::Exception escaped: ") + error.what());
  } catch (const std::invalid_argument&) {
    return Outcome::InvalidArgument;
  } catch (const std::domain_error&) {
    return Outcome::DomainError;
  } catch (const std::out_of_range&) {
    return Outcome::OutOfRange;
  } catch (const std::runtime_error&) {
    return Outcome::RuntimeError;
  } catch (const std::exception& error) {
    fail(std::string("undocumented exception ") + typeid(error).name() + ": " + error.what());
  } catch (...) {
    fail("a non-standard exception escaped");
  }
}

// --- values --------------------------------------------------------------------

// Mostly a listed colour space (UNKNOWN included); now and then any 32-bit
// value, as a caller casting an integer could pass.
inline ColorSpace anyColorSpace(FuzzedDataProvider& in) {
  if (in.ConsumeIntegralInRange<int>(0, 15) == 0)
    return static_cast<ColorSpace>(in.ConsumeIntegral<std::int32_t>());
  return static_cast<ColorSpace>(in.ConsumeIntegralInRange<std::int32_t>(0, 24));
}

inline Parameter anyParameter(FuzzedDataProvider& in) {
  if (in.ConsumeIntegralInRange<int>(0, 15) == 0)
    return static_cast<Parameter>(in.ConsumeIntegral<std::int32_t>());
  return static_cast<Parameter>(in.ConsumeIntegralInRange<std::int32_t>(0, 40));
}

// Mostly small rates around the supported ones, sometimes any 16-bit value.
inline unsigned short anyFrameRate(FuzzedDataProvider& in) {
  if (in.ConsumeBool()) return in.ConsumeIntegralInRange<unsigned short>(0, 31);
  return in.ConsumeIntegral<unsigned short>();
}

// A time point for a frame or a request: the clock's epoch (a frame's "no
// time stamp"), either end of the clock's range, now, near now, or anything.
inline lumo::Clock::time_point anyTimePoint(FuzzedDataProvider& in) {
  using Clock = lumo::Clock;
  switch (in.ConsumeIntegralInRange<int>(0, 6)) {
    case 0: return Clock::time_point();
    case 1: return Clock::time_point::min();
    case 2: return Clock::time_point::max();
    case 3: return Clock::time_point(Clock::duration(in.ConsumeIntegral<Clock::rep>()));
    case 4:
      // Within two seconds either side: around the freshness limits.
      return Clock::now() + Clock::duration(in.ConsumeIntegralInRange<Clock::rep>(
                                -2000000000LL, 2000000000LL));
    default: return Clock::now();
  }
}

// width x height x depth, or nothing when that overflows 64 bits.
inline bool byteSize(Resolution resolution, ColorSpace colorSpace, std::uint64_t& bytes) {
  std::uint64_t pixels = 0;
  if (__builtin_mul_overflow(resolution.width, resolution.height, &pixels)) return false;
  return !__builtin_mul_overflow(pixels, videoDevice::getColorSpaceDepth(colorSpace), &bytes);
}

// Fills `bytes` bytes with a pattern taken from the input (a counter when the
// input has run out), repeated to the end.
inline void fillPixels(unsigned char* pixels, std::uint64_t bytes, FuzzedDataProvider& in) {
  if (bytes == 0) return;
  const std::string pattern =
      in.ConsumeBytesAsString(in.ConsumeIntegralInRange<std::size_t>(0, 64));
  std::uint64_t filled = std::min<std::uint64_t>(pattern.size(), bytes);
  std::memcpy(pixels, pattern.data(), filled);
  if (filled == 0) {
    for (; filled < bytes && filled < 251; ++filled)
      pixels[filled] = static_cast<unsigned char>(filled);
  }
  while (filled < bytes) {
    const std::uint64_t chunk = std::min(filled, bytes - filled);
    std::memcpy(pixels + filled, pixels, chunk);
    filled += chunk;
  }
}

// Bytes kept after a frame's memory to catch writes past its end by code
// AddressSanitizer does not see (OpenCV is not instrumented).
constexpr std::size_t kGuardBytes = 32;
constexpr unsigned char kGuardByte = 0xA5;

// A frame that wraps memory of exactly its byte size (the caller checked that
// it is small enough), freed with the frame; none when the buffer refuses the
// size (it does for sizes no memory could hold, in colour spaces of no depth).
// Instrumented code reading or writing past what the frame declares is
// reported by AddressSanitizer, as the guard after the memory is poisoned;
// uninstrumented code writing there is caught when the frame goes, by the
// guard's changed bytes.
inline std::shared_ptr<ImageBuffer> exactFrame(const std::string& cameraName,
                                               Resolution resolution, ColorSpace colorSpace,
                                               std::uint64_t bytes, FuzzedDataProvider& in) {
  ImageBuffer* frame = nullptr;
  run([&] { frame = new ImageBuffer(cameraName, resolution, colorSpace, false); });
  if (frame == nullptr) return nullptr;
  auto* memory = new unsigned char[bytes + kGuardBytes];
  fillPixels(memory, bytes, in);
  std::memset(memory + bytes, kGuardByte, kGuardBytes);
  __asan_poison_memory_region(memory + bytes, kGuardBytes);
  frame->setData(memory);
  return std::shared_ptr<ImageBuffer>(frame, [memory, bytes](ImageBuffer* buffer) {
    std::ostringstream description;
    description << *buffer;
    delete buffer;
    __asan_unpoison_memory_region(memory + bytes, kGuardBytes);
    for (std::size_t i = 0; i < kGuardBytes; ++i)
      if (memory[bytes + i] != kGuardByte)
        fail("something wrote past the end of a frame " + description.str());
    delete[] memory;
  });
}

// A frame that only describes an image (no pixel memory), or none when the
// buffer refuses the size, as it does for sizes no memory could hold.
inline std::shared_ptr<ImageBuffer> describedFrame(const std::string& cameraName,
                                                   Resolution resolution, ColorSpace colorSpace,
                                                   bool ownsData) {
  std::shared_ptr<ImageBuffer> frame;
  run([&] { frame = std::make_shared<ImageBuffer>(cameraName, resolution, colorSpace, ownsData); });
  return frame;
}

// --- checks on what the library hands back ----------------------------------------

// Checks that every byte a handed-out image declares is memory it may read,
// so that a buffer smaller than its description is caught here rather than
// in a client. Past the end of a block lies AddressSanitizer's red zone.
inline void expectReadable(const ImageBuffer& image) {
  const std::uint64_t bytes = image.getSize();
  const unsigned char* pixels = image.getData();
  if (bytes == 0) return;
  if (pixels == nullptr) fail("an image of " + std::to_string(bytes) + " bytes has no pixels");
  if (__asan_region_is_poisoned(const_cast<unsigned char*>(pixels), bytes) != nullptr) {
    std::ostringstream what;
    what << "an image " << image << " (" << bytes << " bytes) does not own that much memory";
    fail(what.str());
  }
}

// Any time stamp, and a field of view of any bits (NaNs and infinities too).
inline void stamp(FuzzedDataProvider& in, ImageBuffer& image) {
  image.setTimeStamp(anyTimePoint(in));
  const std::uint32_t bits[2] = {in.ConsumeIntegral<std::uint32_t>(),
                                 in.ConsumeIntegral<std::uint32_t>()};
  videoDevice::FieldOfView fieldOfView;
  std::memcpy(&fieldOfView, bits, sizeof fieldOfView);
  image.setFielOfView(fieldOfView);
}

}  // namespace fuzz
