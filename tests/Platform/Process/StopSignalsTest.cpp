#include "Platform/Process/StopSignals.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>

#include "Platform/Concurrency/Cancellation.h"

namespace platform {
namespace {

void waitForStop(const std::stop_token& stop) {
  if (waitUntil(MonotonicClock::now() + std::chrono::seconds(10), stop)) std::_Exit(99);
}

/// In a process of its own, since the mask of signals is the process's.
TEST(StopSignalsDeathTest, TheFirstSignalAsksForAStop) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const int number : {SIGINT, SIGTERM, SIGHUP})
    EXPECT_EXIT(
        {
          {
            const StopSignals signals(130);
            ::kill(::getpid(), number);
            waitForStop(signals.token());
          }
          std::_Exit(7);
        },
        testing::ExitedWithCode(7), "");
}

TEST(StopSignalsDeathTest, TheSecondSignalEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        const StopSignals signals(130);
        ::kill(::getpid(), SIGINT);
        waitForStop(signals.token());
        ::kill(::getpid(), SIGTERM);
        sleep(std::chrono::seconds(10), {});
        std::_Exit(98);
      },
      testing::ExitedWithCode(130), "");
}

TEST(StopSignalsDeathTest, ABrokenPipeIsAnErrorOfTheWrite) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        const StopSignals signals(130);
        int ends[2];
        if (::pipe(ends) != 0) std::_Exit(97);
        ::close(ends[0]);
        std::_Exit(::write(ends[1], "x", 1) < 0 ? 7 : 96);
      },
      testing::ExitedWithCode(7), "");
}

}  // namespace
}  // namespace platform
