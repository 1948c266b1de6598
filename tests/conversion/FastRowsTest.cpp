// Every fast row kernel, on every instruction set this CPU runs, against its
// plain twin, byte for byte: random input, 1 to 130 elements, factors 1 to 4.
// Both buffers end exactly at a page boundary followed by an unmapped page,
// so a kernel that reads or writes one byte too far faults instead of passing.

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <hwy/targets.h>

#include "conversion/RowKernels.h"

namespace videoDevice {
namespace conversion {
namespace {

// `size` bytes that end where an inaccessible page begins.
class GuardedBytes {
 public:
  explicit GuardedBytes(std::size_t size) : _size(size) {
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    _mapped = (size + page - 1) / page * page + page;
    void* block = mmap(nullptr, _mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) throw std::runtime_error("mmap failed");
    _block = static_cast<std::uint8_t*>(block);
    if (mprotect(_block + _mapped - page, page, PROT_NONE) != 0) throw std::runtime_error("mprotect failed");
    _data = _block + _mapped - page - size;
  }
  ~GuardedBytes() { munmap(_block, _mapped); }
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;

  std::uint8_t* data() { return _data; }
  std::vector<std::uint8_t> copy() const { return {_data, _data + _size}; }

 private:
  std::size_t _size;
  std::size_t _mapped = 0;
  std::uint8_t* _block = nullptr;
  std::uint8_t* _data = nullptr;
};

// Where element k of a row reads and how much it writes, at factor f.
struct Shape {
  std::size_t inStepPerFactor;  // element k starts at k x inStepPerFactor x f
  std::size_t fixedInStep;      // or, when not 0, at k x fixedInStep whatever f
  std::size_t reachBase;        // it reads reachBase + reachPerFactor x f bytes
  std::size_t reachPerFactor;
  std::size_t outStep;
};

struct Case {
  const char* name;
  RowFunction Rows2D::*row2D;
  DepthRow DepthRows::*rowDepth;
  Shape shape;
};

const Case kCases[] = {
    {"rgb888", &Rows2D::rgb888, nullptr, {2, 0, 4, 0, 3}},
    {"bgr888", &Rows2D::bgr888, nullptr, {2, 0, 4, 0, 3}},
    {"r8", &Rows2D::r8, nullptr, {2, 0, 4, 0, 1}},
    {"g8", &Rows2D::g8, nullptr, {2, 0, 4, 0, 1}},
    {"b8", &Rows2D::b8, nullptr, {2, 0, 4, 0, 1}},
    {"fullRed", &Rows2D::fullRed, nullptr, {0, 4, 4, 0, 2}},
    {"fullGreen", &Rows2D::fullGreen, nullptr, {0, 4, 4, 0, 2}},
    {"fullBlue", &Rows2D::fullBlue, nullptr, {0, 4, 4, 0, 2}},
    {"y8", &Rows2D::y8, nullptr, {2, 0, 1, 0, 1}},
    {"u8", &Rows2D::u8, nullptr, {4, 0, 0, 2, 2}},
    {"v8", &Rows2D::v8, nullptr, {4, 0, 2, 2, 2}},
    {"yuv422", &Rows2D::yuv422, nullptr, {4, 0, 4, 2, 4}},
    {"yuv888", &Rows2D::yuv888, nullptr, {4, 0, 4, 0, 6}},
    {"yyCbCr", &Rows2D::yyCbCr, nullptr, {4, 0, 4, 0, 4}},
    {"h8", &Rows2D::h8, nullptr, {4, 0, 4, 0, 2}},
    {"s8", &Rows2D::s8, nullptr, {4, 0, 4, 0, 2}},
    {"hsy888", &Rows2D::hsy888, nullptr, {4, 0, 4, 0, 6}},
    {"hsMixed888", &Rows2D::hsMixed888, nullptr, {4, 0, 4, 0, 6}},
    {"h2Rgb", &Rows2D::h2Rgb, nullptr, {4, 0, 4, 0, 6}},
    {"depthRgb888", nullptr, &DepthRows::rgb888, {2, 0, 2, 0, 3}},
    {"depthGrey", nullptr, &DepthRows::grey, {2, 0, 2, 0, 1}},
    {"depth16", nullptr, &DepthRows::depth16, {2, 0, 2, 0, 2}},
};

RowFunction pick(const Kernels& kernels, const Case& c) {
  return c.row2D != nullptr ? kernels.rows2D.*c.row2D : kernels.depth.*c.rowDepth;
}

// Runs call(in, out) on guarded copies of `input` and of the output's initial bytes.
template <class Call>
std::vector<std::uint8_t> runGuarded(const std::vector<std::uint8_t>& input,
                                     const std::vector<std::uint8_t>& initialOutput, Call call) {
  GuardedBytes in(input.size());
  GuardedBytes out(initialOutput.size());
  std::memcpy(in.data(), input.data(), input.size());
  std::memcpy(out.data(), initialOutput.data(), initialOutput.size());
  call(in.data(), out.data());
  return out.copy();
}

std::vector<std::uint8_t> run(RowFunction row, const std::vector<std::uint8_t>& input,
                              const std::vector<std::uint8_t>& initialOutput, std::size_t count,
                              std::size_t factor) {
  return runGuarded(input, initialOutput, [&](const std::uint8_t* in, std::uint8_t* out) { row(in, out, count, factor); });
}

// Compares every case on the instruction set chosen right now; returns the
// number of mismatching runs so that one report names them all.
int compareAll(const Kernels& fast, std::mt19937& random) {
  const Kernels& plain = plainKernels();
  int mismatches = 0;
  for (const Case& c : kCases) {
    for (std::size_t factor = 1; factor <= 4; ++factor) {
      for (std::size_t count = 1; count <= 130; ++count) {
        const Shape& s = c.shape;
        const std::size_t step = s.fixedInStep != 0 ? s.fixedInStep : s.inStepPerFactor * factor;
        const std::size_t inSize = (count - 1) * step + s.reachBase + s.reachPerFactor * factor;
        std::vector<std::uint8_t> input(inSize), output(count * s.outStep);
        for (auto& b : input) b = static_cast<std::uint8_t>(random());
        for (auto& b : output) b = static_cast<std::uint8_t>(random());
        const auto expected = run(pick(plain, c), input, output, count, factor);
        const auto actual = run(pick(fast, c), input, output, count, factor);
        if (expected != actual) {
          ADD_FAILURE() << fast.target << " " << c.name << ": " << count << " elements at factor "
                        << factor << " differ from the plain row";
          ++mismatches;
        }
      }
    }
  }
  return mismatches;
}

// The depth rows that also take their place in the frame, on random columns,
// rows and frames. Distance factors sit in a guarded table that the clamp to
// its last entry often reaches, and now and then hold the values with their
// own rules: NaN, infinities, and factors whose products leave 32 bits.
int compareFrameRows(const Kernels& fast, std::mt19937& random) {
  const Kernels& plain = plainKernels();
  const float awkward[] = {NAN, INFINITY, -INFINITY, -1.5f, 0.0f, -0.0f, 7e4f, 3e9f, -3e9f, 1e20f};
  std::uniform_real_distribution<float> ordinary(0.5f, 2.0f);
  int mismatches = 0;
  for (std::size_t factor = 1; factor <= 4; ++factor) {
    for (std::size_t count = 1; count <= 130; ++count) {
      std::vector<std::uint8_t> input((count - 1) * 2 * factor + 2);
      for (auto& b : input) b = static_cast<std::uint8_t>(random());
      // Columns near 2^24, where floats stop holding every integer, too.
      const std::size_t column = random() % 4 == 0 ? (std::size_t{1} << 24) - 64 + random() % 128 : random() % 64;

      const std::size_t tableColumn = random() % 64;
      const std::size_t step = random() % 4;
      const std::size_t last = random() % ((tableColumn + count) * step + 8);  // often clamps
      std::vector<float> factors(last + 1);
      for (float& f : factors) f = random() % 8 == 0 ? awkward[random() % 10] : ordinary(random);
      GuardedBytes table(factors.size() * sizeof(float));
      std::memcpy(table.data(), factors.data(), factors.size() * sizeof(float));
      const FactorRow row{reinterpret_cast<const float*>(table.data()), step, last};
      const std::vector<std::uint8_t> distances(count * 2, 0x5A);
      const auto distance = [&](const Kernels& k) {
        return runGuarded(input, distances, [&](const std::uint8_t* in, std::uint8_t* out) {
          k.depth.distance(in, out, count, factor, tableColumn, row);
        });
      };

      const PointFrame frame{static_cast<float>(column + count + random() % 100),
                             static_cast<float>(1 + random() % 1000), ordinary(random), ordinary(random)};
      const std::size_t frameRow = random() % 1000;
      const std::vector<std::uint8_t> points(count * 12, 0x5A);
      const auto point = [&](const Kernels& k) {
        return runGuarded(input, points, [&](const std::uint8_t* in, std::uint8_t* out) {
          k.depth.points(in, out, count, factor, column, frameRow, frame);
        });
      };

      for (const auto& [name, same] : {std::pair<const char*, bool>{"distance", distance(plain) == distance(fast)},
                                       {"points", point(plain) == point(fast)}}) {
        if (!same) {
          ADD_FAILURE() << fast.target << " " << name << ": " << count << " pixels at factor " << factor
                        << " differ from the plain row";
          ++mismatches;
        }
      }
    }
  }
  return mismatches;
}

// All 65536 depths through every depth row at factor 1: the float formulas
// round exactly as the plain ones for each. The distance row once per factor,
// among them those with rules of their own.
int compareEveryDepth(const Kernels& fast) {
  const Kernels& plain = plainKernels();
  std::vector<std::uint8_t> depths(65536 * 2);
  for (std::uint32_t d = 0; d < 65536; ++d) {
    depths[2 * d] = static_cast<std::uint8_t>(d);
    depths[2 * d + 1] = static_cast<std::uint8_t>(d >> 8);
  }
  int mismatches = 0;
  const auto check = [&](const char* name, std::size_t outStep, auto call) {
    const std::vector<std::uint8_t> initial(65536 * outStep, 0x5A);
    const auto through = [&](const Kernels& k) {
      return runGuarded(depths, initial, [&](const std::uint8_t* in, std::uint8_t* out) { call(k, in, out); });
    };
    if (through(plain) != through(fast)) {
      ADD_FAILURE() << fast.target << " " << name << " differs from the plain row on some depth";
      ++mismatches;
    }
  };
  for (const Case& c : kCases) {
    if (c.rowDepth == nullptr) continue;
    check(c.name, c.shape.outStep, [&](const Kernels& k, const std::uint8_t* in, std::uint8_t* out) {
      (k.depth.*c.rowDepth)(in, out, 65536, 1);
    });
  }
  for (float factor : {1.0f, 1.37f, 0.999f, -2.5f, 4e4f, 3e9f, NAN, INFINITY}) {
    const FactorRow row{&factor, 0, 0};
    check("distance", 2, [&](const Kernels& k, const std::uint8_t* in, std::uint8_t* out) {
      k.depth.distance(in, out, 65536, 1, 0, row);
    });
  }
  const PointFrame frame{65536.0f, 480.0f, 1.1f, 0.8f};
  check("points", 12, [&](const Kernels& k, const std::uint8_t* in, std::uint8_t* out) {
    k.depth.points(in, out, 65536, 1, 0, 17, frame);
  });
  return mismatches;
}

// The simulated camera's push rows: RGB and BGR pairs to macropixels, and
// single pixels to a macropixel each.
int comparePushRows(const Kernels& fast, std::mt19937& random) {
  const Kernels& plain = plainKernels();
  int mismatches = 0;
  for (const bool bgr : {false, true}) {
    for (std::size_t count = 1; count <= 130; ++count) {
      for (const auto& [name, row, inStep] : {std::tuple<const char*, PushRow PushRows::*, std::size_t>{
                                                  "push pairs", &PushRows::pairs, 6},
                                              {"push pixels", &PushRows::pixels, 3}}) {
        std::vector<std::uint8_t> input(count * inStep), output(count * 4);
        for (auto& b : input) b = static_cast<std::uint8_t>(random());
        for (auto& b : output) b = static_cast<std::uint8_t>(random());
        const auto through = [&, row = row](const Kernels& k) {
          return runGuarded(input, output, [&](const std::uint8_t* in, std::uint8_t* out) {
            (k.push.*row)(in, out, count, bgr);
          });
        };
        if (through(plain) != through(fast)) {
          ADD_FAILURE() << fast.target << " " << name << ": " << count << (bgr ? " BGR" : " RGB")
                        << " elements differ from the plain row";
          ++mismatches;
        }
      }
    }
  }
  return mismatches;
}

TEST(FastRows, MatchThePlainRowsOnEveryInstructionSet) {
  std::mt19937 random(20261125);
  std::vector<std::string> checked;
  for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
    hwy::SetSupportedTargetsForTest(target);
    const Kernels& fast = chosenTargetKernels();
    checked.emplace_back(fast.target);
    EXPECT_EQ(0, compareAll(fast, random));
    EXPECT_EQ(0, compareFrameRows(fast, random));
    EXPECT_EQ(0, compareEveryDepth(fast));
    EXPECT_EQ(0, comparePushRows(fast, random));
  }
  hwy::SetSupportedTargetsForTest(0);
  // The best set must have been among those checked, and the baseline too.
  EXPECT_NE(std::find(checked.begin(), checked.end(), std::string(kernels().target)), checked.end());
  EXPECT_GE(checked.size(), 2u);
}

// Under AddressSanitizer or ThreadSanitizer the sweep below would take
// seconds: there it samples the lumas (every eighth pair), the plain build
// checks them all.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kLumaStride = 8;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr int kLumaStride = 8;
#else
constexpr int kLumaStride = 1;
#endif
#else
constexpr int kLumaStride = 1;
#endif

// The hue family's divisions are exact by argument (HueRows-inl.h), the
// saturation's through an estimate whose precision differs between
// instruction sets: every member on every chroma pair, with every luma, on
// each of them.
TEST(FastRows, HueFamilyMatchesForEveryPixelValueOnEveryInstructionSet) {
  const Kernels& plain = plainKernels();
  const auto targets = hwy::SupportedAndGeneratedTargets();
  // Every (U, V) once per group; the two lumas of every group are Y and 255 - Y.
  std::vector<std::uint8_t> groups(65536 * 4);
  for (std::uint32_t k = 0; k < 65536; ++k) {
    groups[4 * k + 1] = static_cast<std::uint8_t>(k >> 8);
    groups[4 * k + 3] = static_cast<std::uint8_t>(k);
  }
  std::vector<const Case*> family;
  for (const std::string name : {"h8", "s8", "hsy888", "hsMixed888", "h2Rgb"}) {
    family.push_back(std::find_if(std::begin(kCases), std::end(kCases),
                                  [&](const Case& c) { return name == c.name; }));
    ASSERT_NE(family.back(), std::end(kCases)) << name;
  }
  std::set<std::string> failed;  // "target member", reported once each
  for (int y = 0; y < 128; y += kLumaStride) {
    for (std::uint32_t k = 0; k < 65536; ++k) {
      groups[4 * k] = static_cast<std::uint8_t>(y);
      groups[4 * k + 2] = static_cast<std::uint8_t>(255 - y);
    }
    for (const Case* member : family) {
      const Case& c = *member;
      std::vector<std::uint8_t> expected(65536 * c.shape.outStep), actual(expected.size());
      pick(plain, c)(groups.data(), expected.data(), 65536, 1);
      for (const std::int64_t target : targets) {
        hwy::SetSupportedTargetsForTest(target);
        const Kernels& fast = chosenTargetKernels();
        pick(fast, c)(groups.data(), actual.data(), 65536, 1);
        const std::string what = std::string(fast.target) + " " + c.name;
        if (actual != expected && failed.insert(what).second)
          ADD_FAILURE() << what << " differs from the plain row, first with lumas " << y << " and " << 255 - y;
      }
    }
  }
  hwy::SetSupportedTargetsForTest(0);
}

}  // namespace
}  // namespace conversion
}  // namespace videoDevice
