#include "lumo/Log.h"

#include <atomic>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <tuple>

namespace lumo {
namespace log {
namespace {

const char* levelName(int level) {
  switch (level) {
    case 1: return "FATAL";
    case 2: return "ERROR";
    case 3: return "WARN";
    case 4: return "INFO";
    case 5: return "VERBOSE";
    default: return "LOG";
  }
}

void writeToStandardError(const Record& record) {
  std::ostringstream line;
  line << "[" << levelName(record.level) << "] " << record.category << ": " << record.message
       << " (" << record.function << ")\n";
  std::cerr << line.str() << std::flush;
}

// All mutable state of the log, guarded by one reader-writer lock: log() and
// isEnabled() read it, the setters write it. Each category has a slot with
// the verbosity in force for it (its own, or the global one), written under
// the lock and read by Category objects without it; the map's nodes never
// move, so a slot stays where those objects point.
struct State {
  std::shared_mutex mutex;
  std::shared_ptr<const Handler> handler = std::make_shared<const Handler>(writeToStandardError);
  int verbosity = 3;
  std::map<std::string, std::atomic<int>, std::less<>> categories;
};

// Never destroyed: Category objects of other libraries point into it, and
// they may log from their own static destructors.
State& state() {
  static State* const s = new State();
  return *s;
}

int verbosityOf(const State& s, const std::string& category) {
  const auto it = s.categories.find(category);
  return it != s.categories.end() ? it->second.load(std::memory_order_relaxed) : s.verbosity;
}

// The slot of a category, made (following the global verbosity) if new.
// Writer lock held.
std::atomic<int>& slotOf(State& s, const std::string& category) {
  return s.categories
      .emplace(std::piecewise_construct, std::forward_as_tuple(category),
               std::forward_as_tuple(s.verbosity))
      .first->second;
}

}  // namespace

const std::atomic<int>& detail::registerCategory(const std::string& category) {
  State& s = state();
  std::unique_lock<std::shared_mutex> lock(s.mutex);
  return slotOf(s, category);
}

void addCategory(const std::string& category) { detail::registerCategory(category); }

bool isEnabled(int level, const std::string& category) {
  State& s = state();
  std::shared_lock<std::shared_mutex> lock(s.mutex);
  return level <= verbosityOf(s, category);
}

void log(int level, const std::string& category, const std::string& message, const char* file,
         const char* function, int line) {
  State& s = state();
  std::shared_ptr<const Handler> handler;
  {
    std::shared_lock<std::shared_mutex> lock(s.mutex);
    if (level > verbosityOf(s, category)) return;
    handler = s.handler;
  }
  if (!handler || !*handler) return;
  (*handler)(Record{level, category, message, file ? file : "", function ? function : "", line});
}

Handler setHandler(Handler handler) {
  State& s = state();
  auto next = std::make_shared<const Handler>(std::move(handler));
  std::unique_lock<std::shared_mutex> lock(s.mutex);
  std::shared_ptr<const Handler> previous = std::move(s.handler);
  s.handler = std::move(next);
  return previous ? *previous : Handler();
}

void setVerbosity(int level) {
  State& s = state();
  std::unique_lock<std::shared_mutex> lock(s.mutex);
  s.verbosity = level;
  for (auto& entry : s.categories) entry.second.store(level, std::memory_order_relaxed);
}

int verbosity() {
  State& s = state();
  std::shared_lock<std::shared_mutex> lock(s.mutex);
  return s.verbosity;
}

// A category set before it is registered keeps its setting: registering
// finds the slot made here. A negative level follows the global one again.
void setCategoryVerbosity(const std::string& category, int level) {
  State& s = state();
  std::unique_lock<std::shared_mutex> lock(s.mutex);
  slotOf(s, category).store(level >= 0 ? level : s.verbosity, std::memory_order_relaxed);
}

LogStream::LogStream(int level, std::string category, const char* file, const char* function,
                     int line)
    : _level(level),
      _category(std::move(category)),
      _file(file),
      _function(function),
      _line(line),
      _enabled(isEnabled(level, _category)) {}

LogStream::LogStream(int level, const Category& category, const char* file, const char* function,
                     int line)
    : _level(level),
      _category(),
      _file(file),
      _function(function),
      _line(line),
      _enabled(category.isEnabled(level)) {
  if (_enabled) _category = category.name();
}

LogStream::~LogStream() {
  if (_enabled) log(_level, _category, _stream.str(), _file, _function, _line);
}

}  // namespace log
}  // namespace lumo
