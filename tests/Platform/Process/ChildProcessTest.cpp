#include "Platform/Process/ChildProcess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Error.h"

namespace platform {
namespace {

using namespace std::chrono_literals;

std::vector<std::string> shell(const std::string& command) { return {"/bin/sh", "-c", command}; }

TEST(ChildProcess, TheStatusIsTheProgramsOrItsSignals) {
  EXPECT_EQ(runProgram(shell("exit 0"), {}), 0);
  EXPECT_EQ(runProgram(shell("exit 7"), {}), 7);
  EXPECT_EQ(runProgram(shell("kill -9 $$"), {}), 128 + 9);
}

TEST(ChildProcess, OutputIsReadWhole) {
  const auto output = runForSecret(shell("printf 'a\\nb'; exit 3"), 100, {});
  EXPECT_EQ(output.status, 3);
  EXPECT_EQ(output.text.reveal(), "a\nb");
}

TEST(ChildProcess, OutputWithoutEndIsRefused) {
  EXPECT_THROW(runForSecret(shell("while :; do echo xxxxxxxxxxxxxxxx; done"), 1000, {}), Error);
}

TEST(ChildProcess, AProgramThatIsNotThereIsNamed) {
  try {
    runProgram({"/nowhere/program"}, {});
    FAIL() << "it ran";
  } catch (const Error& error) {
    EXPECT_EQ(error.description(), "Can't run /nowhere/program: No such file or directory");
  }
}

TEST(ChildProcess, AStopEndsTheProgram) {
  std::stop_source source;
  source.request_stop();
  const auto start = MonotonicClock::now();
  EXPECT_THROW(runProgram(shell("exec sleep 60"), source.get_token()), CancellationError);
  EXPECT_THROW(runForSecret(shell("exec sleep 60"), 100, source.get_token()), CancellationError);
  EXPECT_LT(MonotonicClock::now() - start, 1s);
}

TEST(ChildProcess, AProgramThatDoesNotListenIsKilled) {
  std::stop_source source;
  const auto start = MonotonicClock::now();
  std::jthread stopper([&] {
    sleep(300ms, {});
    source.request_stop();
  });
  EXPECT_THROW(runProgram(shell("trap '' TERM; while :; do sleep 0.1; done"), source.get_token()),
               CancellationError);
  EXPECT_GE(MonotonicClock::now() - start, 1s);
  EXPECT_LT(MonotonicClock::now() - start, 5s);
}

}  // namespace
}  // namespace platform
