#pragma once
// The timed loop every benchmark shares: runs `body` once per iteration and
// reports bytes per second (input plus output), and heap allocations and
// thrown exceptions per iteration (per frame). An exception leaving `body`
// marks the benchmark as failed with its message instead of ending the run.

#include <cstdint>
#include <exception>

#include <benchmark/benchmark.h>

#include "HeapAndThrowCounters.h"

namespace bench {

template <typename Body>
void measure(benchmark::State& state, std::uint64_t bytesPerIteration, Body&& body) {
  const std::uint64_t allocationsBefore = heapAllocations();
  const std::uint64_t throwsBefore = thrownExceptions();
  try {
    for (auto _ : state) {
      body();
      benchmark::ClobberMemory();
    }
  } catch (const std::exception& error) {
    state.SkipWithError(error.what());
    return;
  }
  const std::uint64_t allocations = heapAllocations() - allocationsBefore;
  const std::uint64_t throws = thrownExceptions() - throwsBefore;
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(bytesPerIteration));
  state.counters["allocs_per_frame"] =
      benchmark::Counter(static_cast<double>(allocations), benchmark::Counter::kAvgIterations);
  state.counters["throws_per_frame"] =
      benchmark::Counter(static_cast<double>(throws), benchmark::Counter::kAvgIterations);
}

}  // namespace bench
