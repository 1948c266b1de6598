#pragma once
// What one run of the program measured, by benchmark name: the median over the
// repetitions (or the single run when there is one) of each benchmark. A
// benchmark that did not run (left out by a filter) has no entry.

#include <map>
#include <string>

namespace bench {

struct Result {
  double nanoseconds = 0.0;  // real time per iteration
  double allocations = 0.0;  // heap allocations per iteration
  double throws = 0.0;       // exceptions thrown per iteration
  std::string error;         // set when the benchmark failed instead
};

struct RunInfo {
  std::string date;
  std::string host;
  int cpus = 0;
  double megahertz = 0.0;
  int repetitions = 1;
  std::string buildType;
};

using Results = std::map<std::string, Result>;

}  // namespace bench
