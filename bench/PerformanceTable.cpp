#include "PerformanceTable.h"

#include <cstdio>
#include <map>
#include <sstream>

namespace bench {

namespace {

// End to end: one client's frame (push, convert, fetch, release) within this
// budget, and up to 16 clients within this factor of one ("flat": sharing the
// converted buffer costs a look-up per client, not a conversion).
constexpr double kOneClientBudgetNs = 400000.0;
constexpr double kFlatFactor = 1.25;

std::string format(const char* pattern, double value) {
  char text[64];
  std::snprintf(text, sizeof text, pattern, value);
  return text;
}

std::string microseconds(double nanoseconds) {
  const double us = nanoseconds / 1000.0;
  return format(us < 10.0 ? "%.2f µs" : "%.1f µs", us);
}

// Bytes per nanosecond are gigabytes (10^9 bytes) per second.
double gigabytesPerSecond(double bytes, double nanoseconds) { return bytes / nanoseconds; }

std::string perCall(double value) { return value == 0.0 ? "0" : format("%.3g", value); }

std::string metText(bool met) { return met ? "met" : "**not met**"; }

class Report {
 public:
  Report(const std::vector<Entry>& entries, const Results& results)
      : _entries(entries), _results(results) {
    for (const Entry& entry : entries) _byName[entry.name] = &entry;
  }

  // The median of a benchmark, or null when it did not run or failed.
  const Result* measured(const std::string& name) const {
    const auto found = _results.find(name);
    return found == _results.end() || !found->second.error.empty() ? nullptr : &found->second;
  }

  // Why a benchmark has no median, fit for a table cell.
  std::string missing(const std::string& name) const {
    const auto found = _results.find(name);
    if (found == _results.end()) return "not run";
    std::string cell = "failed: ";
    for (char c : found->second.error) {
      if (c == '|') cell += '\\';
      cell += c == '\n' ? ' ' : c;
    }
    return cell;
  }

  std::string describe(const std::string& name) const {
    const auto found = _byName.find(name);
    return found == _byName.end() ? name : found->second->what + " " + found->second->size;
  }

  void converters(std::ostream& out) {
    out << "## Library converters\n\n"
        << "| Converter | Input → output | Median | GB/s in+out | Allocs / throws per call "
           "| Reference | Reference median | Ratio | Goal | Met |\n"
        << "|---|---|--:|--:|--:|---|--:|--:|---|---|\n";
    for (const Entry& entry : _entries) {
      if (entry.section != Section::Converter) continue;
      out << "| " << entry.what << " | " << entry.size << " | ";
      const Result* own = measured(entry.name);
      if (own == nullptr) {
        out << missing(entry.name) << " | | | " << describe(entry.reference) << " | | | "
            << goalText(entry.goal) << " | " << (entry.goal.kind == Goal::Kind::None ? "" : "n/a")
            << " |\n";
        continue;
      }
      const double throughput = gigabytesPerSecond(static_cast<double>(entry.bytes), own->nanoseconds);
      out << microseconds(own->nanoseconds) << " | " << format("%.2f", throughput) << " | "
          << perCall(own->allocations) << " / " << perCall(own->throws) << " | "
          << describe(entry.reference) << " | ";
      const Result* reference = entry.reference.empty() ? nullptr : measured(entry.reference);
      const double ratio = reference == nullptr ? 0.0 : own->nanoseconds / reference->nanoseconds;
      if (reference == nullptr)
        out << (entry.reference.empty() ? "" : missing(entry.reference)) << " | | ";
      else
        out << microseconds(reference->nanoseconds) << " | " << format("%.2f×", ratio) << " | ";
      out << goalText(entry.goal) << " | ";
      switch (entry.goal.kind) {
        case Goal::Kind::TimeRatioAtMost:
          out << (reference == nullptr ? "n/a" : judge(ratio <= entry.goal.value));
          break;
        case Goal::Kind::GigabytesPerSecond:
          out << judge(throughput >= entry.goal.value);
          break;
        default:
          break;
      }
      out << " |\n";
    }
    out << "\n";
  }

  void groups(std::ostream& out) {
    std::vector<std::string> order;
    std::map<std::string, std::vector<const Entry*>> members;
    for (const Entry& entry : _entries) {
      if (entry.group.empty()) continue;
      if (members.find(entry.group) == members.end()) order.push_back(entry.group);
      members[entry.group].push_back(&entry);
    }
    if (order.empty()) return;
    out << "## Averages at factors 1 and 2\n\n"
        << "Summed bytes over summed median times of the group's converters.\n\n"
        << "| Group | Converters | Summed median | GB/s in+out | Goal | Met |\n"
        << "|---|---|--:|--:|---|---|\n";
    for (const std::string& group : order) {
      double bytes = 0.0, nanoseconds = 0.0;
      std::string names, absent;
      for (const Entry* entry : members[group]) {
        const std::string what = entry->what + " " + entry->name.substr(entry->name.rfind('/') + 1);
        names += (names.empty() ? "" : ", ") + what;
        const Result* result = measured(entry->name);
        if (result == nullptr) {
          absent += (absent.empty() ? "" : ", ") + what;
          continue;
        }
        bytes += static_cast<double>(entry->bytes);
        nanoseconds += result->nanoseconds;
      }
      const Goal& goal = members[group].front()->goal;
      out << "| " << group << " | " << names << " | ";
      if (!absent.empty()) {
        out << "missing: " << absent << " | | " << goalText(goal) << " | n/a |\n";
        continue;
      }
      const double throughput = gigabytesPerSecond(bytes, nanoseconds);
      out << microseconds(nanoseconds) << " | " << format("%.2f", throughput) << " | "
          << goalText(goal) << " | " << judge(throughput >= goal.value) << " |\n";
    }
    out << "\n";
  }

  void endToEnd(std::ostream& out) {
    const Entry* oneClient = nullptr;
    for (const Entry& entry : _entries)
      if (entry.section == Section::EndToEnd && entry.subscribers == 1) oneClient = &entry;
    const Result* one = oneClient == nullptr ? nullptr : measured(oneClient->name);
    out << "## End to end\n\n"
        << "A simulated 1280x960 YUV 4:2:2 camera in a VideoDevice: each frame, one "
           "1280x960 RGB picture pushed, then every client fetches 320x240 RGB_888 and "
           "all release. The first fetch converts, the others share.\n\n"
        << "| Case | Median per frame | × 1 client | Allocations per frame | Exceptions per frame "
           "| Goals | Met |\n"
        << "|---|--:|--:|--:|--:|---|---|\n";
    for (const Entry& entry : _entries) {
      if (entry.section != Section::EndToEnd) continue;
      std::string goals = "0 allocations, 0 exceptions";
      if (entry.subscribers == 1) goals += format("; < %.0f µs", kOneClientBudgetNs / 1000.0);
      if (entry.subscribers > 1) goals += format("; ≤ %.2f× 1 client", kFlatFactor);
      out << "| " << entry.what << " | ";
      const Result* own = measured(entry.name);
      if (own == nullptr) {
        out << missing(entry.name) << " | | | | " << goals << " | n/a |\n";
        continue;
      }
      const double versusOne = one == nullptr ? 0.0 : own->nanoseconds / one->nanoseconds;
      std::string failed;
      const auto check = [&failed](bool met, const char* what) {
        if (!met) failed += (failed.empty() ? "" : ", ") + std::string(what);
      };
      check(own->allocations == 0.0, "allocations");
      check(own->throws == 0.0, "exceptions");
      if (entry.subscribers == 1) check(own->nanoseconds < kOneClientBudgetNs, "time");
      if (entry.subscribers > 1 && one != nullptr) check(versusOne <= kFlatFactor, "flatness");
      // Without the one-client figure flatness cannot be judged.
      const bool unknown = entry.subscribers > 1 && one == nullptr;
      ++_goals;
      if (failed.empty() && !unknown) ++_met;
      out << microseconds(own->nanoseconds) << " | "
          << (entry.subscribers > 0 && one != nullptr ? format("%.2f", versusOne) : "") << " | "
          << perCall(own->allocations) << " | " << perCall(own->throws) << " | " << goals << " | "
          << (!failed.empty() ? "**not met** (" + failed + ")" : unknown ? "n/a" : "met")
          << " |\n";
    }
    out << "\n";
  }

  void references(std::ostream& out) const {
    out << "## Reference points\n\n"
        << "| Reference | Size | Median | GB/s in+out | Allocs / throws per call |\n"
        << "|---|---|--:|--:|--:|\n";
    for (const Entry& entry : _entries) {
      if (entry.section != Section::Reference) continue;
      out << "| " << entry.what << " | " << entry.size << " | ";
      const Result* own = measured(entry.name);
      if (own == nullptr) {
        out << missing(entry.name) << " | | |\n";
        continue;
      }
      out << microseconds(own->nanoseconds) << " | "
          << format("%.2f", gigabytesPerSecond(static_cast<double>(entry.bytes), own->nanoseconds))
          << " | " << perCall(own->allocations) << " / " << perCall(own->throws) << " |\n";
    }
    out << "\n";
  }

  int goals() const { return _goals; }
  int met() const { return _met; }

 private:
  static std::string goalText(const Goal& goal) {
    switch (goal.kind) {
      case Goal::Kind::TimeRatioAtMost:
        return format("≤ %g× reference", goal.value);
      case Goal::Kind::GigabytesPerSecond:
        return format("≥ %g GB/s", goal.value);
      default:
        return "";
    }
  }

  // Counts the goal and says whether it is met.
  std::string judge(bool met) {
    ++_goals;
    if (met) ++_met;
    return metText(met);
  }

  const std::vector<Entry>& _entries;
  const Results& _results;
  std::map<std::string, const Entry*> _byName;
  int _goals = 0;
  int _met = 0;
};

}  // namespace

std::string performanceTable(const std::vector<Entry>& entries, const Results& results,
                             const RunInfo& info) {
  Report report(entries, results);
  std::ostringstream body;
  report.converters(body);
  report.groups(body);
  report.endToEnd(body);
  report.references(body);

  std::ostringstream out;
  out << "# videodevice performance\n\n"
      << "Measured by `videodevice_bench` (`make bench`) on " << info.date << ", host "
      << info.host << ": " << info.cpus << " CPUs at " << format("%.0f", info.megahertz)
      << " MHz, " << info.buildType << " build. Each time is the median real time of "
      << info.repetitions << (info.repetitions == 1 ? " run" : " repetitions")
      << ", on one thread (OpenCV limited to one thread). Frames are random bytes from a "
         "fixed seed; depth frames hold random depths from 0 to 10000.\n\n"
      << "- GB/s in+out: bytes of the whole input frame plus bytes the converter writes, "
         "per second (1 GB = 10^9 bytes).\n"
      << "- Ratio: library median / reference median; time goals bound that ratio.\n"
      << "- Allocations are calls of the global operator new, throws are C++ exceptions "
         "thrown, both per call (per frame).\n\n"
      << "Goals met: " << report.met() << " of " << report.goals() << ".\n\n"
      << body.str();
  return out.str();
}

}  // namespace bench
