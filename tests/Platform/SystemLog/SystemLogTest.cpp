#include "Platform/SystemLog/SystemLog.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <thread>
#include <vector>

namespace platform {
namespace {

using Fields = std::array<std::string, 4>;

TEST(SystemLog, ALineHasFourFields) {
  EXPECT_EQ(systemLogFields(SystemLogPriority::notice, "Tuvmarsel", "engine", "began"),
            (Fields{"MESSAGE=began", "PRIORITY=5", "SYSLOG_IDENTIFIER=Tuvmarsel", "CATEGORY=engine"}));
}

TEST(SystemLog, PrioritiesAreTheNumbersOfSyslog) {
  const auto priority = [](SystemLogPriority value) { return systemLogFields(value, "", "", "")[1]; };
  EXPECT_EQ(priority(SystemLogPriority::debug), "PRIORITY=7");
  EXPECT_EQ(priority(SystemLogPriority::info), "PRIORITY=6");
  EXPECT_EQ(priority(SystemLogPriority::notice), "PRIORITY=5");
  EXPECT_EQ(priority(SystemLogPriority::error), "PRIORITY=3");
}

TEST(SystemLog, ValuesKeepLineFeedsEqualSignsAndZeros) {
  using namespace std::string_literals;
  EXPECT_EQ(systemLogFields(SystemLogPriority::info, "a=b", "c\nd", "one\ntwo\0three"s),
            (Fields{"MESSAGE=one\ntwo\0three"s, "PRIORITY=6", "SYSLOG_IDENTIFIER=a=b", "CATEGORY=c\nd"}));
}

TEST(SystemLog, SendingIsSafeFromManyThreadsWithAndWithoutAJournal) {
  std::atomic<int> returned = 0;
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
        for (int line = 0; line < 20; ++line) {
          writeSystemLog(SystemLogPriority::debug, "orvik-tests", "test", "a line\nof a test");
          ++returned;
        }
      });
    }
  }
  EXPECT_EQ(returned, 80);
}

TEST(SystemLog, EmptyAndLargeLinesAreNoTrouble) {
  const int before = errno;
  writeSystemLog(SystemLogPriority::debug, "", "", "");
  writeSystemLog(SystemLogPriority::debug, "orvik-tests", "test", std::string(1 << 20, 'x'));
  EXPECT_EQ(errno, before);
}

}  // namespace
}  // namespace platform
