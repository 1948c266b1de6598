#include "support/LogCapture.h"

namespace videoDevice {
namespace test {

LogCapture::LogCapture() : _previousVerbosity(lumo::log::verbosity()) {
  _previousHandler = lumo::log::setHandler([this](const lumo::log::Record& record) {
    std::lock_guard<std::mutex> lock(_mutex);
    _records.push_back(record);
  });
  lumo::log::setVerbosity(5);
}

LogCapture::~LogCapture() {
  lumo::log::setVerbosity(_previousVerbosity);
  lumo::log::setHandler(_previousHandler);
}

std::vector<lumo::log::Record> LogCapture::records() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _records;
}

std::vector<std::string> LogCapture::messages(int level) const {
  std::vector<std::string> result;
  for (const auto& record : records())
    if (level == 0 || record.level == level) result.push_back(record.message);
  return result;
}

bool LogCapture::contains(int level, const std::string& category, const std::string& function,
                          const std::string& message) const {
  for (const auto& record : records())
    if (record.level == level && record.category == category && record.function == function &&
        record.message == message)
      return true;
  return false;
}

bool LogCapture::hasMessage(int level, const std::string& message) const {
  for (const auto& record : records())
    if (record.level == level && record.message == message) return true;
  return false;
}

}  // namespace test
}  // namespace videoDevice
