#include "TuvCore/Log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "Platform/Host.h"
#include "TuvCore/FileLogSink.h"
#include "tests/Support/ScopedZone.h"

namespace tuv {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class Recorder final : public LogSink {
 public:
  explicit Recorder(Log* log = nullptr) : log_(log) {}
  void write(const LogEvent& event) noexcept override {
    // A sink that reaches the log again hangs when it is called under the log's lock.
    if (log_) levels_.withLock([&](auto& levels) { levels.push_back(log_->minimumLevel()); });
    events_.withLock([&](auto& events) { events.push_back(event); });
  }
  std::vector<LogEvent> events() const { return events_.value(); }
  std::vector<std::string> messages() const {
    std::vector<std::string> all;
    for (const LogEvent& event : events()) all.push_back(event.message);
    return all;
  }
  std::vector<LogLevel> levelsSeen() const { return levels_.value(); }

 private:
  Log* log_;
  Locked<std::vector<LogEvent>> events_;
  Locked<std::vector<LogLevel>> levels_;
};

LogEvent event(LogLevel level, std::string message) {
  return {platform::Date(1741079700123ms), level, "engine", std::move(message), "orvik"};
}

TEST(LogEvent, ALineHasFivePartsJoinedByOneBlank) {
  const orvik::test::ScopedZone zone("Europe/Berlin");
  EXPECT_EQ(event(LogLevel::notice, "Backup began").formatted(),
            "2025-03-04T10:15:00.123+01:00 NOTICE [engine] orvik Backup began");
}

TEST(LogEvent, LevelNamesArePaddedToSixCharacters) {
  const orvik::test::ScopedZone zone("UTC");
  const auto middle = [](LogLevel level) { return event(level, "m").formatted().substr(29); };
  EXPECT_EQ(middle(LogLevel::debug), " DEBUG  [engine] orvik m");
  EXPECT_EQ(middle(LogLevel::info), " INFO   [engine] orvik m");
  EXPECT_EQ(middle(LogLevel::notice), " NOTICE [engine] orvik m");
  EXPECT_EQ(middle(LogLevel::error), " ERROR  [engine] orvik m");
}

TEST(LogEvent, LineFeedsOfAMessageBecomeSigns) {
  const orvik::test::ScopedZone zone("UTC");
  EXPECT_EQ(event(LogLevel::info, "one\ntwo\n\nthree\n").formatted(),
            "2025-03-04T09:15:00.123+00:00 INFO   [engine] orvik one ⏎ two ⏎  ⏎ three ⏎ ");
}

TEST(LogEvent, EncodesUnderItsFieldNames) {
  EXPECT_EQ(
      platform::json::Encoder(platform::json::Rendering::compact).encode(event(LogLevel::error, "lost")),
      R"({"category":"engine","date":"2025-03-04T09:15:00Z","level":"error","message":"lost","process":"orvik"})");
}

TEST(LogLevel, IsOrdered) {
  EXPECT_LT(LogLevel::debug, LogLevel::info);
  EXPECT_LT(LogLevel::info, LogLevel::notice);
  EXPECT_LT(LogLevel::notice, LogLevel::error);
}

TEST(Log, BeginsAtInfoWithoutEcho) {
  const Log log;
  EXPECT_EQ(log.minimumLevel(), LogLevel::info);
  EXPECT_FALSE(log.echoToStderr());
  EXPECT_EQ(log.subsystem(), "Tuvmarsel");
}

TEST(Log, ConfigureRenamesAlsoForCategoriesThatWereUsed) {
  Log log;
  log.log(LogLevel::debug, "engine", "before");
  log.configure("orvik");
  EXPECT_EQ(log.subsystem(), "orvik");
}

TEST(Log, DebugReachesNeitherSinksNorStandardErrorAtTheDefaultLevel) {
  Log log;
  const auto sink = std::make_shared<Recorder>();
  log.addSink(sink);
  log.setEchoToStderr(true);
  testing::internal::CaptureStderr();
  log.log(LogLevel::debug, "engine", "hidden");
  log.emit(event(LogLevel::debug, "hidden"), false);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(sink->events().empty());
}

TEST(Log, TheMinimumLevelItselfPasses) {
  Log log;
  const auto sink = std::make_shared<Recorder>();
  log.addSink(sink);
  log.setMinimumLevel(LogLevel::notice);
  for (const LogLevel level : {LogLevel::debug, LogLevel::info, LogLevel::notice, LogLevel::error}) {
    log.emit(event(level, std::string(platform::json::textOf(level))), false);
  }
  EXPECT_THAT(sink->messages(), ElementsAre("notice", "error"));
}

TEST(Log, AnEventCarriesMomentCategoryAndProcess) {
  Log log;
  const auto sink = std::make_shared<Recorder>();
  log.addSink(sink);
  const platform::Date before = platform::now();
  log.log(LogLevel::error, "auth", "refused\nby the server");
  ASSERT_EQ(sink->events().size(), 1u);
  const LogEvent seen = sink->events().front();
  EXPECT_GE(seen.date, before);
  EXPECT_LE(seen.date, platform::now());
  EXPECT_EQ(seen, (LogEvent{seen.date, LogLevel::error, "auth", "refused\nby the server",
                            platform::processName()}));
}

TEST(Log, SinksAreCalledInTheOrderAddedAndOutsideTheLock) {
  class Numbered final : public LogSink {
   public:
    Numbered(int number, std::vector<int>& order) : number_(number), order_(order) {}
    void write(const LogEvent&) noexcept override { order_.push_back(number_); }

   private:
    int number_;
    std::vector<int>& order_;
  };
  Log log;
  std::vector<int> order;
  const auto reentrant = std::make_shared<Recorder>(&log);
  for (const int number : {1, 2, 3}) log.addSink(std::make_shared<Numbered>(number, order));
  log.addSink(reentrant);
  log.addSink(nullptr);
  log.emit(event(LogLevel::info, "m"), false);
  EXPECT_THAT(order, ElementsAre(1, 2, 3));
  EXPECT_THAT(reentrant->levelsSeen(), ElementsAre(LogLevel::info));
}

TEST(Log, TheEchoIsTheFormattedLine) {
  const orvik::test::ScopedZone zone("UTC");
  Log log;
  log.setEchoToStderr(true);
  testing::internal::CaptureStderr();
  log.emit(event(LogLevel::error, "one\ntwo"), false);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), event(LogLevel::error, "one\ntwo").formatted() + "\n");
}

TEST(Log, ManyThreadsMayLogWhileItIsConfigured) {
  Log log;
  const auto sink = std::make_shared<Recorder>();
  log.addSink(sink);
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
        for (int n = 0; n < 100; ++n) log.log(LogLevel::info, "requests", "line");
      });
    }
    for (int n = 0; n < 100; ++n) {
      log.configure("name " + std::to_string(n));
      log.setMinimumLevel(LogLevel::info);
      log.addSink(std::make_shared<Recorder>());
    }
  }
  EXPECT_EQ(sink->events().size(), 400u);
  EXPECT_EQ(log.subsystem(), "name 99");
}

TEST(Log, ACategoryLoggerLogsAtEachLevelOfTheSharedLog) {
  const auto sink = std::make_shared<Recorder>();
  Log::shared().addSink(sink);
  Log::shared().setMinimumLevel(LogLevel::debug);
  const CategoryLogger logger{"download"};
  logger.debug("a");
  logger.info("b");
  logger.notice("c");
  logger.error("d");
  std::vector<std::string> seen;
  for (const LogEvent& one : sink->events()) {
    seen.push_back(one.category + " " + std::string(platform::json::textOf(one.level)) + " " + one.message);
  }
  EXPECT_THAT(seen,
              ElementsAre("download debug a", "download info b", "download notice c", "download error d"));
  Log::shared().setMinimumLevel(LogLevel::info);
}

TEST(LogDeathTest, LinesThatAreQueuedWhenTheProcessExitsAreWritten) {
  const platform::files::TempFolder folder;
  const auto path = folder / "tool.log";
  EXPECT_EXIT(
      {
        Log::shared().addSink(std::make_shared<FileLogSink>(path, 1 << 20, 3));
        for (int i = 0; i < 100; ++i) Log::shared().log(LogLevel::info, "engine", "line");
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
  EXPECT_EQ(std::ranges::count(platform::files::read(path), '\n'), 100);
}

}  // namespace
}  // namespace tuv
