// videodevice_bench: the library's converters and its per-frame path next to
// reference points (memcpy, libyuv, OpenCV), all in one run on one thread,
// then a markdown table of medians, ratios and goals.
//
//   videodevice_bench [--table=PATH] [Google Benchmark flags]
//
// Unless told otherwise it runs each benchmark in 9 repetitions of at least
// 0.1 s and reports their medians only; the table goes to PATH (by default
// out/bench/performance.md in the source tree) and its path is printed last.

#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <opencv2/core/utility.hpp>

#include "Catalogue.h"
#include "MedianReporter.h"
#include "PerformanceTable.h"
#include "Results.h"

namespace {

const char* const kTableFlag = "--table=";

std::string today() {
  const std::time_t now = std::time(nullptr);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", std::localtime(&now));
  return text;
}

std::string hostName() {
  char name[256] = {};
  return gethostname(name, sizeof name - 1) == 0 ? name : "unknown";
}

}  // namespace

int main(int argc, char** argv) {
  // Defaults first: a flag given on the command line comes later and wins.
  std::vector<std::string> arguments = {argv[0], "--benchmark_repetitions=9",
                                        "--benchmark_report_aggregates_only=true",
                                        "--benchmark_min_time=0.1"};
  std::string tablePath = VIDEODEVICE_BENCH_DEFAULT_TABLE;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument.rfind(kTableFlag, 0) == 0)
      tablePath = argument.substr(std::string(kTableFlag).size());
    else
      arguments.push_back(argument);
  }
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  int count = static_cast<int>(pointers.size());
  benchmark::Initialize(&count, pointers.data());
  if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) return 1;

  // Every reference point runs on one thread, like the library's converters.
  cv::setNumThreads(1);

  bench::Catalogue catalogue;
  bench::addReferences(catalogue);
  bench::addConverters(catalogue);
  bench::addEndToEnd(catalogue);

  bench::Results results;
  bench::RunInfo info;
  info.date = today();
  info.host = hostName();
  info.buildType = VIDEODEVICE_BENCH_BUILD_TYPE;
  if (info.buildType.empty()) info.buildType = "unnamed";
  bench::MedianReporter reporter(results, info);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  const std::filesystem::path path(tablePath);
  if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path());
  std::ofstream table(path);
  table << bench::performanceTable(catalogue.entries(), results, info);
  table.close();
  if (!table) {
    std::cerr << "videodevice_bench: cannot write " << path.string() << "\n";
    return 1;
  }
  std::cout << "Performance table: " << path.string() << "\n";
  return 0;
}
