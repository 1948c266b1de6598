#include "MedianReporter.h"

#include <string>

namespace bench {

namespace {

double counter(const benchmark::BenchmarkReporter::Run& run, const char* name) {
  const auto found = run.counters.find(name);
  return found == run.counters.end() ? 0.0 : found->second.value;
}

}  // namespace

bool MedianReporter::ReportContext(const Context& context) {
  _info.cpus = context.cpu_info.num_cpus;
  _info.megahertz = context.cpu_info.cycles_per_second / 1e6;
  return ConsoleReporter::ReportContext(context);
}

void MedianReporter::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    const std::string name = run.run_name.str();
    if (run.error_occurred) {
      _results[name].error = run.error_message;
      continue;
    }
    const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
    const bool single = run.run_type == Run::RT_Iteration && run.repetitions <= 1;
    if (!median && !single) continue;
    _info.repetitions = static_cast<int>(run.repetitions);
    Result result;
    result.nanoseconds =
        run.GetAdjustedRealTime() * 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
    result.allocations = counter(run, "allocs_per_frame");
    result.throws = counter(run, "throws_per_frame");
    _results[name] = result;
  }
  ConsoleReporter::ReportRuns(runs);
}

}  // namespace bench
