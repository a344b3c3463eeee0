#include "Platform/Locale/DurationText.h"

#include <gtest/gtest.h>

namespace platform::locale {
namespace {

using namespace std::chrono_literals;

TEST(DurationTextTest, UnitsThatAreZeroAreLeftOut) {
  EXPECT_EQ(durationText(0s), "0 sec");
  EXPECT_EQ(durationText(5s), "5 sec");
  EXPECT_EQ(durationText(3min), "3 min");
  EXPECT_EQ(durationText(2h + 5s), "2 hr, 5 sec");
  EXPECT_EQ(durationText(2h + 4min + 5s), "2 hr, 4 min, 5 sec");
  EXPECT_EQ(durationText(100h), "100 hr");
}

TEST(DurationTextTest, PartsOfASecondDoNotCount) { EXPECT_EQ(durationText(1999ms), "1 sec"); }

TEST(DurationTextTest, ANegativeDurationCountsAsNone) { EXPECT_EQ(durationText(-5min), "0 sec"); }

}  // namespace
}  // namespace platform::locale
