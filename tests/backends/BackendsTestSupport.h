#pragma once
// Helpers shared by the backend tests: explicit request times and failure checks.

#include <gtest/gtest.h>
#include <lumo/Clock.h>

#include <functional>
#include <string>

#include "support/LogCapture.h"

namespace videoDevice {
namespace test {

// Request times far enough in the past that the clock's "now" is newer.
inline lumo::Clock::time_point at(int seconds) {
  static const lumo::Clock::time_point epoch = lumo::Clock::now() - lumo::Clock::duration(100000000000000LL);
  return epoch + lumo::Clock::duration(seconds * 1000000000LL);
}

// `action` must throw E with exactly `message`.
template <typename E>
void expectFailure(const std::function<void()>& action, const std::string& message) {
  try {
    action();
    ADD_FAILURE() << "no exception: " << message;
  } catch (const E& error) {
    EXPECT_EQ(error.what(), message);
  }
}

}  // namespace test
}  // namespace videoDevice
