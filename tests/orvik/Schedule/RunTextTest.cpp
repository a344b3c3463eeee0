#include "orvik/Schedule/RunText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/Support/SampleRecords.h"

namespace orvik::host {
namespace {

using std::chrono::hours;
using testing::HasSubstr;

const auto now = test::date("2026-11-22T09:30:00Z");

TEST(RunText, AMomentIsToldWithItsDistance) {
  EXPECT_THAT(runText::when(now + hours(3), now), HasSubstr("(in 3 h)"));
  EXPECT_THAT(runText::when(now + hours(96), now), HasSubstr("(in 4 days)"));
  EXPECT_THAT(runText::when(now - hours(96), now), HasSubstr("(due 4 days ago)"));
  EXPECT_THAT(runText::when(now, now), HasSubstr("(due 0 s ago)"));
}

}  // namespace
}  // namespace orvik::host
