#include "TuvCore/ProcessRunner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <thread>

#include "Platform/Concurrency/Cancellation.h"
#include "tests/Support/ScopedVariable.h"

namespace tuv {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;

ProcessOutput shell(const std::string& script, std::chrono::milliseconds timeout = 20s,
                    std::size_t limit = ProcessRunner::usualOutputLimit) {
  return ProcessRunner::run("/bin/sh", {"-c", script}, std::nullopt, timeout, limit);
}

TEST(ProcessRunner, BothStreamsAndTheStatusComeBack) {
  const auto output = shell("echo out; echo err >&2; exit 7");
  EXPECT_EQ(output.status, 7);
  EXPECT_EQ(output.stdout_, "out\n");
  EXPECT_EQ(output.stderr_, "err\n");
  EXPECT_FALSE(output.timedOut);
}

TEST(ProcessRunner, AChildThatWritesMoreThanTheLimitRunsToItsEndAndIsCutThere) {
  const auto output = shell("head -c 3000000 /dev/zero | tr '\\0' x; echo done >&2; exit 3", 20s, 1000);
  EXPECT_EQ(output.status, 3);
  EXPECT_EQ(output.stdout_, std::string(1000, 'x'));
  EXPECT_EQ(output.stderr_, "done\n");
}

TEST(ProcessRunner, AChildThatFloodsBothPipesDoesNotBlock) {
  const auto output =
      shell("head -c 1000000 /dev/zero >&2 & head -c 1000000 /dev/zero; wait", 20s, 2'000'000);
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.stdout_.size(), 1'000'000U);
  EXPECT_EQ(output.stderr_.size(), 1'000'000U);
}

TEST(ProcessRunner, AChildThatExitsAtOnceLosesNoOutput) {
  for (int i = 0; i < 50; ++i) EXPECT_EQ(shell("printf %065000d 1").stdout_.size(), 65000U);
}

TEST(ProcessRunner, InvalidUTF8ComesBackWithReplacementCharacters) {
  EXPECT_EQ(shell("printf 'a\\377b\\303'").stdout_, "a\uFFFDb\uFFFD");
}

TEST(ProcessRunner, ACharacterThatTheLimitCutsIsReplaced) {
  EXPECT_EQ(shell("printf 'ab\\303\\244'", 20s, 3).stdout_, "ab\uFFFD");
}

TEST(ProcessRunner, APathThatDoesNotExistThrowsLaunchFailed) {
  try {
    ProcessRunner::run("/no/such/program", {}, std::nullopt, 1s);
    FAIL() << "it was started";
  } catch (const ProcessRunnerError& error) {
    EXPECT_EQ(error.description(), "Failed to launch: /no/such/program: No such file or directory");
  }
}

TEST(ProcessRunner, AFileThatIsNoProgramThrowsLaunchFailed) {
  EXPECT_THROW(ProcessRunner::run("/etc/passwd", {}, std::nullopt, 1s), ProcessRunnerError);
  EXPECT_THROW(ProcessRunner::run("", {}, std::nullopt, 1s), ProcessRunnerError);
}

TEST(ProcessRunner, AnEnvironmentReplacesThisProcesss) {
  const orvik::test::ScopedVariable inherited("ORVIK_TEST_INHERITED", "yes");
  EXPECT_EQ(shell("echo $ORVIK_TEST_INHERITED").stdout_, "yes\n");
  const auto output = ProcessRunner::run("/bin/sh", {"-c", "echo $GIVEN-$ORVIK_TEST_INHERITED"},
                                         ProcessRunner::Environment{{"GIVEN", "a b"}}, 20s);
  EXPECT_EQ(output.stdout_, "a b-\n");
}

TEST(ProcessRunner, ArgumentsReachTheChildAsTheyAre) {
  const auto output =
      ProcessRunner::run("/usr/bin/printf", {"%s|", "a b", "", "$HOME", "ä"}, std::nullopt, 20s);
  EXPECT_EQ(output.stdout_, "a b||$HOME|ä|");
}

TEST(ProcessRunner, StandardInputIsEmpty) { EXPECT_EQ(shell("cat; echo end").stdout_, "end\n"); }

TEST(ProcessRunner, ATimeoutEndsTheChildAndKeepsWhatItWrote) {
  const auto output = shell("echo before; exec sleep 60", 200ms);
  EXPECT_TRUE(output.timedOut);
  EXPECT_EQ(output.status, SIGTERM);
  EXPECT_EQ(output.stdout_, "before\n");
}

TEST(ProcessRunner, DeathByASignalIsItsNumber) {
  const auto output = shell("kill -9 $$");
  EXPECT_EQ(output.status, SIGKILL);
  EXPECT_FALSE(output.timedOut);
}

TEST(ProcessRunner, AGrandchildThatHoldsThePipeIsNotWaitedFor) {
  const auto begin = std::chrono::steady_clock::now();
  const auto output = shell("sleep 30 & echo $!");
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 15s);
  EXPECT_EQ(output.status, 0);
  kill(static_cast<pid_t>(std::stol(output.stdout_)), SIGKILL);
}

TEST(ProcessRunner, AStopEndsTheChild) {
  std::stop_source source;
  std::jthread stopper([&] {
    std::this_thread::sleep_for(50ms);
    source.request_stop();
  });
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_THROW(
      ProcessRunner::run("/bin/sh", {"-c", "exec sleep 60"}, std::nullopt, 60s, 10, source.get_token()),
      platform::CancellationError);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 15s);
}

TEST(OutputCollector, EachStreamHasTheLimitForItself) {
  OutputCollector collector(3);
  collector.append("ab", false);
  collector.append("cd", false);
  collector.append("ef", false);
  collector.append("x", true);
  EXPECT_EQ(collector.strings(), std::pair(std::string("abc"), std::string("x")));
}

}  // namespace
}  // namespace tuv
