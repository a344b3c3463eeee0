#include "orvik/Schedule/RunText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/Support/SampleRecords.h"

namespace orvik::host {
namespace {

using std::chrono::hours;
using testing::AllOf;
using testing::HasSubstr;
using TooSoon = BackupInterval::Decision::TooSoon;

const auto now = test::date("2026-11-22T09:30:00Z");

TEST(RunText, AMomentIsToldWithItsDistance) {
  EXPECT_THAT(runText::when(now + hours(3), now), HasSubstr("(in 3 h)"));
  EXPECT_THAT(runText::when(now + hours(96), now), HasSubstr("(in 4 days)"));
  EXPECT_THAT(runText::when(now - hours(96), now), HasSubstr("(due 4 days ago)"));
  EXPECT_THAT(runText::when(now, now), HasSubstr("(due 0 s ago)"));
}

TEST(RunText, ARunThatComesTooSoonSaysWhenItMayBegin) {
  EXPECT_THAT(runText::tooSoon("School", TooSoon{now - hours(3), now + hours(21)}, now),
              AllOf(HasSubstr("The last backup of School is too young ("), HasSubstr(", 3 h ago)."),
                    HasSubstr("(in 21 h); until then its run stays in the schedule.")));
}

TEST(RunText, ALastBackupInTheFutureIsCalledSo) {
  EXPECT_THAT(
      runText::tooSoon("School", TooSoon{now + hours(96), now + hours(120)}, now),
      AllOf(HasSubstr("lies in the future"), HasSubstr("a clock is or was wrong"), HasSubstr("(in 5 days)")));
}

}  // namespace
}  // namespace orvik::host
