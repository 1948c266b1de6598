#pragma once
// The console report Google Benchmark prints, which also keeps every
// benchmark's median (or its single run, or its error) for the table.

#include <vector>

#include <benchmark/benchmark.h>

#include "Results.h"

namespace bench {

class MedianReporter : public benchmark::ConsoleReporter {
 public:
  explicit MedianReporter(Results& results, RunInfo& info) : _results(results), _info(info) {}

  bool ReportContext(const Context& context) override;
  void ReportRuns(const std::vector<Run>& runs) override;

 private:
  Results& _results;
  RunInfo& _info;
};

}  // namespace bench
