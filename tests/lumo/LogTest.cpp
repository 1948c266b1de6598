#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <lumo/Clock.h>
#include <lumo/Log.h>

#include "support/LogCapture.h"

LUMO_LOG_CATEGORY("test.lumo")

namespace {

using videoDevice::test::LogCapture;

struct CountsFormatting {
  int* count;
};
std::ostream& operator<<(std::ostream& out, const CountsFormatting& c) {
  ++*c.count;
  return out << "formatted";
}

void logSomething() { LUMO_LOG(4) << "value " << 42; }

TEST(Log, RecordsCarryLevelCategoryFunctionAndMessage) {
  LogCapture capture;
  logSomething();
  LUMO_LOG_AS(3, "namedOperation") << "warned";

  const auto records = capture.records();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].level, 4);
  EXPECT_EQ(records[0].category, "test.lumo");
  EXPECT_EQ(records[0].function, "logSomething");
  EXPECT_EQ(records[0].message, "value 42");
  EXPECT_NE(records[0].file.find("LogTest.cpp"), std::string::npos);
  EXPECT_GT(records[0].line, 0);
  EXPECT_EQ(records[1].function, "namedOperation");
  EXPECT_EQ(records[1].level, 3);
}

TEST(Log, NothingIsFormattedBelowTheVerbosity) {
  LogCapture capture;
  int formatted = 0;
  lumo::log::setVerbosity(2);
  LUMO_LOG(3) << CountsFormatting{&formatted};
  lumo::log::LogStream(4, "test.lumo", __FILE__, __func__, __LINE__) << CountsFormatting{&formatted};
  EXPECT_EQ(formatted, 0);
  EXPECT_TRUE(capture.records().empty());

  LUMO_LOG(2) << CountsFormatting{&formatted};
  EXPECT_EQ(formatted, 1);
  EXPECT_EQ(capture.messages(2), std::vector<std::string>{"formatted"});
}

TEST(Log, CategoryVerbosityOverridesTheGlobalOne) {
  LogCapture capture;
  lumo::log::addCategory("test.other");
  lumo::log::setVerbosity(2);
  lumo::log::setCategoryVerbosity("test.lumo", 5);
  EXPECT_TRUE(lumo::log::isEnabled(5, "test.lumo"));
  EXPECT_FALSE(lumo::log::isEnabled(3, "test.other"));
  EXPECT_TRUE(lumo::log::isEnabled(2, "test.other"));

  // Setting the global verbosity applies to every category again.
  lumo::log::setVerbosity(4);
  EXPECT_FALSE(lumo::log::isEnabled(5, "test.lumo"));
  EXPECT_TRUE(lumo::log::isEnabled(4, "test.other"));
  EXPECT_EQ(lumo::log::verbosity(), 4);
}

TEST(Log, CategoryObjectsFollowSettingsMadeBeforeAndAfterThem) {
  LogCapture capture;
  lumo::log::setVerbosity(3);
  lumo::log::setCategoryVerbosity("test.configuredFirst", 5);
  const lumo::log::Category configuredFirst("test.configuredFirst");
  const lumo::log::Category configuredLater("test.configuredLater");
  EXPECT_TRUE(configuredFirst.isEnabled(5));
  EXPECT_FALSE(configuredLater.isEnabled(4));

  lumo::log::setCategoryVerbosity("test.configuredLater", 4);
  EXPECT_TRUE(configuredLater.isEnabled(4));
  EXPECT_FALSE(configuredLater.isEnabled(5));
  lumo::log::setCategoryVerbosity("test.configuredLater", -1);  // follows the global one again
  EXPECT_FALSE(configuredLater.isEnabled(4));
  EXPECT_TRUE(configuredLater.isEnabled(3));

  // This file's own category, through the macro, and the query by name agree.
  lumo::log::setCategoryVerbosity("test.lumo", 1);
  LUMO_LOG(2) << "dropped";
  EXPECT_FALSE(lumo::log::isEnabled(2, "test.lumo"));
  lumo::log::setVerbosity(2);  // every category, configured ones included
  LUMO_LOG(2) << "kept";
  LUMO_LOG_TO(configuredFirst, 3, "op") << "dropped";
  EXPECT_FALSE(configuredFirst.isEnabled(3));
  EXPECT_EQ(capture.messages(), std::vector<std::string>{"kept"});
}

TEST(Log, SetHandlerReturnsThePreviousOne) {
  std::vector<std::string> first;
  std::vector<std::string> second;
  const int verbosity = lumo::log::verbosity();
  lumo::log::setVerbosity(5);
  auto original = lumo::log::setHandler([&](const lumo::log::Record& r) { first.push_back(r.message); });
  LUMO_LOG(5) << "one";
  auto previous = lumo::log::setHandler([&](const lumo::log::Record& r) { second.push_back(r.message); });
  LUMO_LOG(5) << "two";
  previous(lumo::log::Record{5, "test.lumo", "three", "", "", 0});
  lumo::log::setHandler(original);
  lumo::log::setVerbosity(verbosity);

  EXPECT_EQ(first, (std::vector<std::string>{"one", "three"}));
  EXPECT_EQ(second, std::vector<std::string>{"two"});
}

[[noreturn]] void failingOperation() { LUMO_FAIL(std::invalid_argument, "bad input"); }

TEST(Log, FailLogsAtLevelTwoThenThrowsTheSameText) {
  LogCapture capture;
  try {
    failingOperation();
    FAIL() << "no exception";
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(), "bad input");
  }
  EXPECT_TRUE(capture.contains(2, "test.lumo", "failingOperation", "bad input"));
}

TEST(Log, ConcurrentLoggingAndHandlerSwapsLoseNoRecord) {
  LogCapture capture;
  constexpr int kThreads = 4;
  constexpr int kRecords = 500;
  std::atomic<bool> stop{false};
  std::thread swapper([&] {
    while (!stop) lumo::log::setCategoryVerbosity("test.unrelated", 1);
  });
  std::vector<std::thread> writers;
  for (int t = 0; t < kThreads; ++t)
    writers.emplace_back([] {
      for (int i = 0; i < kRecords; ++i) LUMO_LOG(5) << "record " << i;
    });
  for (auto& w : writers) w.join();
  stop = true;
  swapper.join();
  EXPECT_EQ(capture.records().size(), static_cast<std::size_t>(kThreads * kRecords));
}

TEST(Clock, IsMonotonicNanoseconds) {
  static_assert(lumo::Clock::period::num == 1 && lumo::Clock::period::den == 1000000000, "");
  const auto a = lumo::Clock::now();
  const auto b = lumo::Clock::now();
  EXPECT_LE(a, b);
  EXPECT_NE(a.time_since_epoch().count(), 0);
}

}  // namespace
