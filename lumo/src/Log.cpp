#include "lumo/Log.h"

#include <atomic>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>

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
// isEnabled() read it, the setters write it.
struct State {
  std::shared_mutex mutex;
  std::shared_ptr<const Handler> handler = std::make_shared<const Handler>(writeToStandardError);
  int verbosity = 3;
  std::map<std::string, int, std::less<>> categories;  // category -> its own verbosity, or -1
};

State& state() {
  static State s;
  return s;
}

int verbosityOf(const State& s, const std::string& category) {
  const auto it = s.categories.find(category);
  if (it != s.categories.end() && it->second >= 0) return it->second;
  return s.verbosity;
}

}  // namespace

void addCategory(const std::string& category) {
  State& s = state();
  std::unique_lock<std::shared_mutex> lock(s.mutex);
  s.categories.emplace(category, -1);
}

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
  for (auto& entry : s.categories) entry.second = -1;
}

int verbosity() {
  State& s = state();
  std::shared_lock<std::shared_mutex> lock(s.mutex);
  return s.verbosity;
}

void setCategoryVerbosity(const std::string& category, int level) {
  State& s = state();
  std::unique_lock<std::shared_mutex> lock(s.mutex);
  s.categories[category] = level;
}

LogStream::LogStream(int level, std::string category, const char* file, const char* function,
                     int line)
    : _level(level),
      _category(std::move(category)),
      _file(file),
      _function(function),
      _line(line),
      _enabled(isEnabled(level, _category)) {}

LogStream::~LogStream() {
  if (_enabled) log(_level, _category, _stream.str(), _file, _function, _line);
}

}  // namespace log
}  // namespace lumo
