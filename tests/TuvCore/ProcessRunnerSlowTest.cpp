#include <gtest/gtest.h>
#include <signal.h>

#include "TuvCore/ProcessRunner.h"

namespace tuv {
namespace {

using namespace std::chrono_literals;

TEST(ProcessRunner, AChildThatIgnoresTheRequestToEndIsKilledFiveSecondsLater) {
  const auto begin = std::chrono::steady_clock::now();
  const auto output = ProcessRunner::run(
      "/bin/sh", {"-c", "trap '' TERM; echo on; while :; do sleep 0.1; done"}, std::nullopt, 300ms);
  const auto took = std::chrono::steady_clock::now() - begin;
  EXPECT_TRUE(output.timedOut);
  EXPECT_EQ(output.status, SIGKILL);
  EXPECT_EQ(output.stdout_, "on\n");
  EXPECT_GE(took, 5300ms);
  EXPECT_LT(took, 15s);
}

}  // namespace
}  // namespace tuv
