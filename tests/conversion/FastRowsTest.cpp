// Every fast row kernel, on every instruction set this CPU runs, against its
// plain twin, byte for byte: random input, 1 to 130 elements, factors 1 to 4.
// Both buffers end exactly at a page boundary followed by an unmapped page,
// so a kernel that reads or writes one byte too far faults instead of passing.

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <stdexcept>
#include <string>
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
};

RowFunction pick(const Kernels& kernels, const Case& c) {
  return c.row2D != nullptr ? kernels.rows2D.*c.row2D : kernels.depth.*c.rowDepth;
}

// Runs `row` on guarded copies of `input` and of the output's initial bytes.
std::vector<std::uint8_t> run(RowFunction row, const std::vector<std::uint8_t>& input,
                              const std::vector<std::uint8_t>& initialOutput, std::size_t count,
                              std::size_t factor) {
  GuardedBytes in(input.size());
  GuardedBytes out(initialOutput.size());
  std::memcpy(in.data(), input.data(), input.size());
  std::memcpy(out.data(), initialOutput.data(), initialOutput.size());
  row(in.data(), out.data(), count, factor);
  return out.copy();
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

TEST(FastRows, MatchThePlainRowsOnEveryInstructionSet) {
  std::mt19937 random(20261125);
  std::vector<std::string> checked;
  for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
    hwy::SetSupportedTargetsForTest(target);
    const Kernels& fast = chosenTargetKernels();
    checked.emplace_back(fast.target);
    EXPECT_EQ(0, compareAll(fast, random));
  }
  hwy::SetSupportedTargetsForTest(0);
  // The best set must have been among those checked, and the baseline too.
  EXPECT_NE(std::find(checked.begin(), checked.end(), std::string(kernels().target)), checked.end());
  EXPECT_GE(checked.size(), 2u);
}

// The tables the fast rows use cover every input value: all 65536 depths, and
// every chroma pair with every luma for the hue family.
TEST(FastRows, CoverEveryDepthAndEveryChromaPair) {
  const Kernels& fast = kernels();
  const Kernels& plain = plainKernels();
  std::vector<std::uint8_t> depths(65536 * 2);
  for (std::uint32_t d = 0; d < 65536; ++d) {
    depths[2 * d] = static_cast<std::uint8_t>(d);
    depths[2 * d + 1] = static_cast<std::uint8_t>(d >> 8);
  }
  for (const Case* c : {&kCases[19], &kCases[20]}) {
    const std::vector<std::uint8_t> initial(65536 * c->shape.outStep, 0x5A);
    EXPECT_EQ(run(pick(plain, *c), depths, initial, 65536, 1),
              run(pick(fast, *c), depths, initial, 65536, 1))
        << c->name;
  }
  // Every (U, V) once per group, the two lumas stepping through all values.
  std::vector<std::uint8_t> groups(65536 * 4);
  for (std::uint32_t k = 0; k < 65536; ++k) {
    groups[4 * k] = static_cast<std::uint8_t>(k * 7);
    groups[4 * k + 1] = static_cast<std::uint8_t>(k >> 8);
    groups[4 * k + 2] = static_cast<std::uint8_t>(k * 13 + 5);
    groups[4 * k + 3] = static_cast<std::uint8_t>(k);
  }
  for (std::size_t i = 14; i <= 18; ++i) {
    const Case& c = kCases[i];
    const std::vector<std::uint8_t> initial(65536 * c.shape.outStep, 0x5A);
    EXPECT_EQ(run(pick(plain, c), groups, initial, 65536, 1), run(pick(fast, c), groups, initial, 65536, 1))
        << c.name;
  }
}

}  // namespace
}  // namespace conversion
}  // namespace videoDevice
