#include "Catalogue.h"

#include <utility>

namespace bench {

void Catalogue::add(Entry entry, Body body) {
  benchmark::RegisterBenchmark(entry.name.c_str(), std::move(body))
      ->Unit(benchmark::kMicrosecond);
  _entries.push_back(std::move(entry));
}

}  // namespace bench
