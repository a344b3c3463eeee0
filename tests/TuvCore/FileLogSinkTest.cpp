#include "TuvCore/FileLogSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

namespace tuv {
namespace {

namespace files = platform::files;
using testing::UnorderedElementsAre;

class FileLogSinkTest : public testing::Test {
 protected:
  static LogEvent event(std::string message) {
    return {{}, LogLevel::info, "engine", std::move(message), "orvik"};
  }
  static std::string line(const std::string& message) { return event(message).formatted() + "\n"; }
  static std::int64_t lineSize() { return static_cast<std::int64_t>(line("1").size()); }

  std::string content(const std::string& name) const { return files::read(folder_ / name); }
  std::vector<std::string> names() const { return files::list(folder_.path()); }

  void writeAndFlush(FileLogSink& sink, const std::vector<std::string>& messages) {
    for (const auto& message : messages) sink.write(event(message));
    sink.flush();
  }

  files::TempFolder folder_;
};

TEST_F(FileLogSinkTest, LinesStandInTheOrderOfTheirArrival) {
  FileLogSink sink(folder_ / "a.log", 1 << 20, 3);
  writeAndFlush(sink, {"1", "two\nlines", "3"});
  EXPECT_EQ(content("a.log"), line("1") + line("two\nlines") + line("3"));
  EXPECT_EQ(std::ranges::count(content("a.log"), '\n'), 3);
}

TEST_F(FileLogSinkTest, NothingIsTouchedBeforeTheFirstLine) {
  FileLogSink sink(folder_ / "deep/a.log", 1 << 20, 3);
  sink.flush();
  EXPECT_TRUE(names().empty());
}

TEST_F(FileLogSinkTest, TheFolderIsMadeWithItsParents) {
  FileLogSink sink(folder_ / "deep/deeper/a.log", 1 << 20, 3);
  writeAndFlush(sink, {"1"});
  EXPECT_EQ(content("deep/deeper/a.log"), line("1"));
}

TEST_F(FileLogSinkTest, AFormerFileIsAppendedTo) {
  for (const char* message : {"1", "2"}) FileLogSink(folder_ / "a.log", 1 << 20, 3).write(event(message));
  EXPECT_EQ(content("a.log"), line("1") + line("2"));
}

TEST_F(FileLogSinkTest, TheDestructorWritesWhatIsQueued) {
  {
    FileLogSink sink(folder_ / "a.log", 1 << 20, 3);
    for (int i = 0; i < 500; ++i) sink.write(event("1"));
  }
  EXPECT_EQ(std::ranges::count(content("a.log"), '\n'), 500);
}

TEST_F(FileLogSinkTest, RotationFollowsTheWriteThatCrossedTheLimit) {
  FileLogSink sink(folder_ / "a.log", 2 * lineSize(), 3);
  writeAndFlush(sink, {"1", "2"});
  EXPECT_THAT(names(), UnorderedElementsAre("a.log"));  // at the limit, not over it
  writeAndFlush(sink, {"3"});
  EXPECT_THAT(names(), UnorderedElementsAre("a.log.1"));  // the next line opens a new file
  EXPECT_EQ(content("a.log.1"), line("1") + line("2") + line("3"));
  writeAndFlush(sink, {"4"});
  EXPECT_EQ(content("a.log"), line("4"));
}

TEST_F(FileLogSinkTest, KeepThreeMeansUpToFourFiles) {
  FileLogSink sink(folder_ / "a.log", lineSize(), 3);
  writeAndFlush(sink, {"1", "2", "3", "4", "5", "6", "7", "8", "9"});
  EXPECT_THAT(names(), UnorderedElementsAre("a.log", "a.log.1", "a.log.2", "a.log.3"));
  EXPECT_EQ(content("a.log"), line("9"));
  EXPECT_EQ(content("a.log.1"), line("7") + line("8"));
  EXPECT_EQ(content("a.log.2"), line("5") + line("6"));
  EXPECT_EQ(content("a.log.3"), line("3") + line("4"));
}

TEST_F(FileLogSinkTest, WithLimitZeroEveryLineIsRotated) {
  FileLogSink sink(folder_ / "a.log", 0, 2);
  writeAndFlush(sink, {"1", "2", "3"});
  EXPECT_THAT(names(), UnorderedElementsAre("a.log.1", "a.log.2"));
  EXPECT_EQ(content("a.log.1"), line("3"));
  EXPECT_EQ(content("a.log.2"), line("2"));
}

TEST_F(FileLogSinkTest, KeepOneAndLessKeepOneFormerFile) {
  for (const int keep : {1, 0, -5}) {
    FileLogSink sink(folder_ / "a.log", 0, keep);
    writeAndFlush(sink, {"1", "2"});
    EXPECT_THAT(names(), UnorderedElementsAre("a.log.1")) << keep;
    EXPECT_EQ(content("a.log.1"), line("2")) << keep;
  }
}

TEST_F(FileLogSinkTest, ARotationThatMeetsAFolderGoesOn) {
  files::createDirectories(folder_ / "a.log.2/inside");
  FileLogSink sink(folder_ / "a.log", 0, 2);
  writeAndFlush(sink, {"1", "2", "3"});
  EXPECT_THAT(names(), UnorderedElementsAre("a.log.1", "a.log.2"));
  EXPECT_EQ(content("a.log.1"), line("3"));
  EXPECT_TRUE(files::isDirectory(folder_ / "a.log.2/inside"));
}

TEST_F(FileLogSinkTest, LinesThatCannotBeWrittenAreLostAndLaterOnesAreNot) {
  files::atomicWrite("in the way", folder_ / "sub");
  FileLogSink sink(folder_ / "sub/a.log", 1 << 20, 3);
  writeAndFlush(sink, {"1", "2"});
  EXPECT_EQ(content("sub"), "in the way");
  files::remove(folder_ / "sub");
  writeAndFlush(sink, {"3"});
  EXPECT_EQ(content("sub/a.log"), line("3"));
}

TEST_F(FileLogSinkTest, LinesOfManyThreadsStayWhole) {
  {
    FileLogSink sink(folder_ / "a.log", 1 << 20, 3);
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&sink, i] {
        for (int n = 0; n < 100; ++n) {
          sink.write(event(std::to_string(i)));
          if (n % 25 == 0) sink.flush();
        }
      });
    }
    threads.clear();
  }
  const std::string all = content("a.log");
  std::vector<int> counts(4);
  for (std::size_t at = 0; at < all.size(); at += static_cast<std::size_t>(lineSize())) {
    for (std::size_t i = 0; i < counts.size(); ++i) {
      if (all.compare(at, static_cast<std::size_t>(lineSize()), line(std::to_string(i))) == 0) ++counts[i];
    }
  }
  EXPECT_EQ(counts, std::vector<int>(4, 100));
}

}  // namespace
}  // namespace tuv
