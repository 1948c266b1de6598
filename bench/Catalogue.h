#pragma once
// What the program measures: every benchmark is registered here together with
// what the table needs to judge it (its section, the bytes it moves, the
// reference it is compared with and its goal).

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace bench {

enum class Section { Reference, Converter, EndToEnd };

struct Goal {
  enum class Kind {
    None,
    TimeRatioAtMost,     // median time <= value x the reference's
    GigabytesPerSecond,  // input plus output bytes per second >= value x 1e9
    EndToEnd,            // judged by PerformanceTable from every end-to-end case
  };
  Kind kind = Kind::None;
  double value = 0.0;
};

struct Entry {
  std::string name;       // the benchmark's name, unique
  Section section = Section::Reference;
  std::string what;       // "RGB_888", "libyuv YUY2ToY", ...
  std::string size;       // "640x480 -> 320x240"
  std::uint64_t bytes = 0;  // input plus output per iteration
  std::string reference;  // name of the entry compared with; may be empty
  Goal goal;
  // Entries of one group are also judged together, on their summed bytes
  // over their summed time; empty for none.
  std::string group;
  int subscribers = 0;    // end-to-end cases: fetching clients (0: push only)
};

class Catalogue {
 public:
  using Body = std::function<void(benchmark::State&)>;

  // Registers `body` with Google Benchmark under entry.name and keeps entry.
  void add(Entry entry, Body body);
  const std::vector<Entry>& entries() const { return _entries; }

 private:
  std::vector<Entry> _entries;
};

// Each fills the catalogue with one family of benchmarks.
void addReferences(Catalogue& catalogue);
void addConverters(Catalogue& catalogue);
void addEndToEnd(Catalogue& catalogue);

}  // namespace bench
