#include "OrvikCore/Jamf/RetryPolicy.h"

#include <gtest/gtest.h>

namespace orvik {
namespace {

TEST(RetryPolicy, NoneHasOneAttemptAndNoDelay) {
  EXPECT_EQ(RetryPolicy::none, (RetryPolicy{1, 0, 0}));
  EXPECT_EQ(RetryPolicy::none.delay(1, {}), 0);
}

TEST(RetryPolicy, AZeroRetryAfterIsIgnored) {
  const RetryPolicy policy{5, 1, 60};
  const double delay = policy.delay(1, 0.0);
  EXPECT_GE(delay, 0.8);
  EXPECT_LE(delay, 1.2);
}

TEST(RetryPolicy, ANegativeRetryAfterIsIgnored) {
  EXPECT_DOUBLE_EQ((RetryPolicy{5, 1, 60}.delay(2, -5.0, 1.0)), 2);
}

TEST(RetryPolicy, TheThirdAttemptWithBaseOneAndMaxThreeStaysWithinTheJitterOfTheCap) {
  const RetryPolicy policy{5, 1, 3};
  for (int i = 0; i < 1000; ++i) {
    const double delay = policy.delay(3, {});
    EXPECT_GE(delay, 2.4);
    EXPECT_LE(delay, 3.6);
  }
}

TEST(RetryPolicy, ALongRetryAfterIsCappedAtFiveTimesTheMaximumWithoutJitter) {
  const RetryPolicy policy{5, 1, 30};
  EXPECT_EQ(policy.delay(1, 1000.0), 150);
  EXPECT_EQ(policy.delay(1, 12.5), 12.5);
}

struct DelayRow {
  int attempt;
  double expected;
};

class RetryPolicyDelays : public testing::TestWithParam<DelayRow> {};

TEST_P(RetryPolicyDelays, DoubleFromAttemptToAttemptUpToTheCap) {
  EXPECT_DOUBLE_EQ((RetryPolicy{9, 1, 60}.delay(GetParam().attempt, {}, 1.0)), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, RetryPolicyDelays,
                         testing::Values(DelayRow{0, 1}, DelayRow{1, 1}, DelayRow{2, 2}, DelayRow{3, 4},
                                         DelayRow{6, 32}, DelayRow{7, 60}, DelayRow{5000, 60}));

}  // namespace
}  // namespace orvik
