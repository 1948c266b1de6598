#pragma once
// Captures every log record while alive: installs a handler, raises the
// verbosity to 5, and restores both on destruction.

#include <mutex>
#include <string>
#include <vector>

#include <lumo/Log.h>

namespace videoDevice {
namespace test {

class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<lumo::log::Record> records() const;
  // Messages of the records of one level (0: any level), in order.
  std::vector<std::string> messages(int level = 0) const;
  // True when a record has exactly this level, category, function and message.
  bool contains(int level, const std::string& category, const std::string& function,
                const std::string& message) const;
  // True when some record's message is exactly this text, at this level.
  bool hasMessage(int level, const std::string& message) const;

 private:
  mutable std::mutex _mutex;
  std::vector<lumo::log::Record> _records;
  lumo::log::Handler _previousHandler;
  int _previousVerbosity;
};

}  // namespace test
}  // namespace videoDevice
