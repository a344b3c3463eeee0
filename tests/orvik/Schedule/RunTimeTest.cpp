#include "orvik/Schedule/RunTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvik/ExitStatus.h"
#include "tests/Support/SampleRecords.h"
#include "tests/Support/ScopedZone.h"

namespace orvik::host {
namespace {

using platform::iso8601;
using testing::HasSubstr;

class RunTimeTest : public testing::Test {
 protected:
  std::string at(const std::string& text) const { return iso8601(RunTime::at(text, now)); }
  std::string refusalOf(const std::string& text) const {
    try {
      return "taken as " + at(text);
    } catch (const UsageError& error) {
      return error.description();
    }
  }

 private:
  const test::ScopedZone zone_{"Europe/Berlin"};

 protected:
  platform::Date now = test::date("2026-11-22T09:30:00Z") + std::chrono::milliseconds(400);
};

TEST_F(RunTimeTest, AZoneInTheTextDecides) {
  EXPECT_EQ(at("2026-11-22T23:00:00Z"), "2026-11-22T23:00:00Z");
  EXPECT_EQ(at("2026-11-22T23:00:00+05:30"), "2026-11-22T17:30:00Z");
  EXPECT_EQ(at("2026-11-22T23:00:00.75-0800"), "2026-11-23T07:00:00Z");
}

TEST_F(RunTimeTest, AMomentMayBePast) {
  EXPECT_EQ(iso8601(RunTime::moment("2001-02-03T04:05:06.7Z", now)), "2001-02-03T04:05:06Z");
  EXPECT_EQ(iso8601(RunTime::moment("2001-02-03 04:05", now)), "2001-02-03T03:05:00Z");
  EXPECT_THROW(RunTime::moment("soon", now), UsageError);
}

TEST_F(RunTimeTest, SecondsMayBeLeftOut) {
  EXPECT_EQ(at("2026-11-22T23:00Z"), "2026-11-22T23:00:00Z");
  EXPECT_EQ(at("2026-11-22T23:00+01:00"), "2026-11-22T22:00:00Z");
}

TEST_F(RunTimeTest, WithoutAZoneTheClockOfThisMachineDecides) {
  EXPECT_EQ(at("2026-11-22 23:00"), "2026-11-22T22:00:00Z");
  EXPECT_EQ(at("2027-07-04 23:00"), "2027-07-04T21:00:00Z") << "in summer";
}

TEST_F(RunTimeTest, ATimeOfDayIsTheNextOne) {
  EXPECT_EQ(at("23:00"), "2026-11-22T22:00:00Z");
  EXPECT_EQ(at("10:31"), "2026-11-22T09:31:00Z") << "a minute ahead";
  EXPECT_EQ(at("10:30"), "2026-11-23T09:30:00Z") << "has begun";
  EXPECT_EQ(at("00:00"), "2026-11-22T23:00:00Z");
}

TEST_F(RunTimeTest, ATimeOfDayThatTheClockPassesOverIsThatOfTheDayAfter) {
  now = test::date("2027-03-27T22:00:00Z");
  EXPECT_EQ(at("02:30"), "2027-03-29T00:30:00Z");
  now = test::date("2027-03-27T01:45:00Z");
  EXPECT_EQ(at("02:30"), "2027-03-29T00:30:00Z") << "today's has passed, tomorrow has none";
}

TEST_F(RunTimeTest, ATimeThatTheClockPassesOverIsRefused) {
  EXPECT_THAT(refusalOf("2027-03-28 02:30"), HasSubstr("set forward"));
}

TEST_F(RunTimeTest, OfATimeThatComesTwiceTheFirstIsMeant) {
  EXPECT_EQ(at("2027-10-31 02:30"), "2027-10-31T00:30:00Z");
}

TEST_F(RunTimeTest, ThePastIsRefusedWithItsDistance) {
  EXPECT_THAT(refusalOf("2026-11-22T08:30:00Z"), HasSubstr("has passed, 1 h ago"));
  EXPECT_THAT(refusalOf("2026-11-22 10:29"), HasSubstr("has passed"));
  EXPECT_EQ(at("2026-11-22T09:30:00Z"), "2026-11-22T09:30:00Z") << "this second";
}

TEST_F(RunTimeTest, TenYearsAheadIsTheFarthest) {
  EXPECT_EQ(at("2036-11-19T09:30:00Z"), "2036-11-19T09:30:00Z");
  EXPECT_THAT(refusalOf("2036-11-20T00:00:00Z"), HasSubstr("ten years"));
  EXPECT_THAT(refusalOf("9999-12-31 23:59"), HasSubstr("ten years"));
}

TEST_F(RunTimeTest, AnyOtherTextIsRefusedWithTheForms) {
  for (const std::string text :
       {"", " ", "now", "24:00", "23:60", "9:00", "23.00", "2026-11-31 10:00", "2026-13-01 10:00",
        "2026-11-22T23:00", "2026-11-22  23:00", "2026-11-22 23:00:00", "22.11.2026 23:00", "-1:00", "1",
        "2026-11-22T23:00:00", "2026-11-22T23:00:00+99:00", "2026-11-22T23:00Zulu", "\x1b[2J"})
    EXPECT_THAT(refusalOf(text), HasSubstr("is no time. Write 2026-11-22T23:00:00Z")) << text;
  EXPECT_LT(refusalOf(std::string(100'000, '1')).size(), 200u);
  EXPECT_THAT(refusalOf("\x1b[2J"), testing::Not(HasSubstr("\x1b")));
}

TEST_F(RunTimeTest, HoursCountFromNowToTheSecond) {
  EXPECT_EQ(iso8601(RunTime::in(0, now)), "2026-11-22T09:30:00Z");
  EXPECT_EQ(iso8601(RunTime::in(1.5, now)), "2026-11-22T11:00:00Z");
  EXPECT_EQ(RunTime::in(24, now), test::date("2026-11-23T09:30:00Z")) << "no fraction that a file would lose";
  EXPECT_EQ(iso8601(RunTime::in(87600, now)), "2036-11-19T09:30:00Z");
  EXPECT_THROW(RunTime::in(87601, now), UsageError);
}

}  // namespace
}  // namespace orvik::host
