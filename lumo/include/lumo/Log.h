#pragma once
// Categorised, levelled logging with one replaceable handler.
//
// Thread-safe: the handler, the verbosities and log() may be used from any
// thread at once. A record whose level its category does not let through is
// never built.
//
// A category declared with LUMO_LOG_CATEGORY is registered once and keeps a
// pointer to its own verbosity slot, which the setters keep up to date: a
// disabled call site costs one atomic load, with no lookup and no lock.
//
// Call sites stay short: a source file declares its category once with
// LUMO_LOG_CATEGORY("vision.something") and then writes
//   LUMO_LOG(5) << name << ": Opening";
//   LUMO_FAIL(std::invalid_argument, message);   // log at level 2, throw
// Both fill in the file, the function and the line.

#include <atomic>
#include <functional>
#include <sstream>
#include <string>
#include <utility>

namespace lumo {
namespace log {

struct Record {
  int level;             // 1 grave ... 5 trace
  std::string category;  // e.g. "vision.videodevice.camera"
  std::string message;
  std::string file;
  std::string function;  // the name of the operation that logs
  int line;
};
using Handler = std::function<void(const Record&)>;

void addCategory(const std::string& category);
bool isEnabled(int level, const std::string& category);
void log(int level, const std::string& category, const std::string& message,
         const char* file, const char* function, int line);
Handler setHandler(Handler handler);
void setVerbosity(int level);
int verbosity();
void setCategoryVerbosity(const std::string& category, int level);

class Category;

// Collects one message with operator<< and hands it to log() when destroyed.
// Nothing is formatted when the level is not let through.
class LogStream {
 public:
  LogStream(int level, std::string category, const char* file, const char* function, int line);
  // Asks the category's own slot whether the level is let through; the name
  // is copied only then.
  LogStream(int level, const Category& category, const char* file, const char* function,
            int line);
  ~LogStream();
  LogStream(const LogStream&) = delete;
  LogStream& operator=(const LogStream&) = delete;

  template <typename T>
  LogStream& operator<<(const T& value) {
    if (_enabled) _stream << value;
    return *this;
  }
  LogStream& operator<<(std::ostream& (*manipulator)(std::ostream&)) {
    if (_enabled) _stream << manipulator;
    return *this;
  }

 private:
  int _level;
  std::string _category;
  const char* _file;
  const char* _function;
  int _line;
  bool _enabled;
  std::ostringstream _stream;
};

namespace detail {
// Registers a category (as addCategory does) and returns the slot holding the
// verbosity in force for it. The slot lives as long as the process and follows
// every later setVerbosity and setCategoryVerbosity.
const std::atomic<int>& registerCategory(const std::string& category);
}  // namespace detail

// A category registered at load time; declare one per source file with
// LUMO_LOG_CATEGORY.
class Category {
 public:
  explicit Category(const char* name)
      : _name(name), _verbosity(&detail::registerCategory(_name)) {}
  const std::string& name() const { return _name; }
  // Whether a record of this level is let through now: one atomic load.
  bool isEnabled(int level) const { return level <= _verbosity->load(std::memory_order_relaxed); }

 private:
  std::string _name;
  const std::atomic<int>* _verbosity;
};

inline bool isEnabled(int level, const Category& category) { return category.isEnabled(level); }

// Concatenates its arguments as an output stream would print them.
template <typename... Args>
std::string concat(const Args&... args) {
  std::ostringstream out;
  (out << ... << args);
  return out.str();
}

// The library's one failure pattern: log the message at level 2 under the
// operation's name, then throw the standard exception with the same text.
template <typename Exception>
[[noreturn]] void fail(const Category& category, const std::string& message, const char* file,
                       const char* function, int line) {
  log(2, category.name(), message, file, function, line);
  throw Exception(message);
}

namespace detail {
// Lets the logging macros be used as a single expression statement.
struct Voidify {
  void operator&(LogStream&) {}
};
}  // namespace detail

}  // namespace log
}  // namespace lumo

#define LUMO_LOG_CATEGORY(name) \
  namespace {                   \
  const ::lumo::log::Category lumoLogCategory{name}; \
  }

// Log in a given category under an explicit operation name (for helpers that
// log on behalf of another unit).
#define LUMO_LOG_TO(category, level, function)      \
  !(category).isEnabled(level)                      \
      ? (void)0                                     \
      : ::lumo::log::detail::Voidify() &            \
            ::lumo::log::LogStream((level), (category), __FILE__, (function), __LINE__)

// Log in this file's category under an explicit operation name.
#define LUMO_LOG_AS(level, function) LUMO_LOG_TO(lumoLogCategory, level, function)

#define LUMO_LOG(level) LUMO_LOG_AS(level, __func__)

#define LUMO_FAIL_TO(category, function, Exception, message) \
  ::lumo::log::fail<Exception>((category), (message), __FILE__, (function), __LINE__)

#define LUMO_FAIL_AS(function, Exception, message) \
  LUMO_FAIL_TO(lumoLogCategory, function, Exception, message)

#define LUMO_FAIL(Exception, message) LUMO_FAIL_AS(__func__, Exception, message)
