#include "Platform/Process/FedProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Error.h"

namespace platform {
namespace {

using testing::HasSubstr;

CapturedProcess shell(const std::string& command) {
  CapturedProcess process;
  process.path = "/bin/sh";
  process.arguments = {"-c", command};
  return process;
}

TEST(FedProcess, GetsAllPiecesInTheirOrderAndThenTheEnd) {
  FedProcess process(shell("cat; echo end; echo aside >&2; exit 3"), {});
  EXPECT_TRUE(process.write("one "));
  EXPECT_TRUE(process.write(""));
  EXPECT_TRUE(process.write("two\n"));
  const auto end = process.finish();
  EXPECT_EQ(end.status, 3);
  EXPECT_EQ(end.output, "one two\nend\n");
  EXPECT_EQ(end.errors, "aside\n");
}

TEST(FedProcess, TakesMoreThanAnyBufferHolds) {
  FedProcess process(shell("wc -c"), {});
  const std::string megabyte(1 << 20, 'x');
  for (int i = 0; i < 20; ++i) ASSERT_TRUE(process.write(megabyte));
  EXPECT_EQ(std::stoi(process.finish().output), 20 << 20);
}

TEST(FedProcess, AProgramThatPrintsWhatItGetsDoesNotGetStuck) {
  FedProcess process(shell("cat"), {});
  const std::string piece(1 << 16, 'x');
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(process.write(piece));
  EXPECT_EQ(process.finish().output.size(), FedProcess::outputLimit);
}

TEST(FedProcess, AProgramThatReadsNoMoreIsNoSignalButAnAnswer) {
  std::signal(SIGPIPE, SIG_DFL);
  FedProcess process(shell("echo enough >&2; exit 4"), {});
  const std::string piece(1 << 16, 'x');
  bool isRead = true;
  for (int i = 0; i < 1000 && isRead; ++i) isRead = process.write(piece);
  EXPECT_FALSE(isRead);
  const auto end = process.finish();
  EXPECT_EQ(end.status, 4);
  EXPECT_EQ(end.errors, "enough\n");
}

TEST(FedProcess, AProgramThatIsNotThereIsAnErrorAtTheEnd) {
  CapturedProcess nothing;
  nothing.path = "/nowhere/program";
  FedProcess process(nothing, {});
  const std::string piece(1 << 20, 'x');
  while (process.write(piece)) {
  }
  try {
    process.finish();
    FAIL() << "it ran";
  } catch (const Error& error) {
    EXPECT_THAT(error.description(), HasSubstr("No such file or directory"));
  }
}

TEST(FedProcess, AStopEndsTheProgramAndTheWriteThatWaitsForIt) {
  std::stop_source source;
  FedProcess process(shell("exec sleep 60"), source.get_token());
  const auto start = MonotonicClock::now();
  std::jthread stopper([&] {
    sleep(std::chrono::milliseconds(200), {});
    source.request_stop();
  });
  const std::string piece(1 << 20, 'x');
  const auto feed = [&] {
    while (process.write(piece)) {
    }
  };
  EXPECT_THROW(feed(), CancellationError);
  EXPECT_LT(MonotonicClock::now() - start, std::chrono::seconds(5));
}

TEST(FedProcess, WhoLeavesEarlyEndsTheProgram) {
  const auto start = MonotonicClock::now();
  {
    FedProcess process(shell("exec sleep 60"), {});
    EXPECT_TRUE(process.write("begin"));
  }
  EXPECT_LT(MonotonicClock::now() - start, std::chrono::seconds(5));
}

}  // namespace
}  // namespace platform
