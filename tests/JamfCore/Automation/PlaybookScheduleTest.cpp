#include <gtest/gtest.h>

#include "JamfCore/Automation/Playbook.h"

namespace jamf {
namespace {

using platform::locale::Calendar;

platform::Date utc(const char* text) { return platform::parseZonedISO8601(std::string(text) + "Z").value(); }

std::string next(const PlaybookSchedule& schedule, const char* after, const std::string& zone = "UTC") {
  const auto date = schedule.nextRunDate(utc(after), Calendar::inZone(zone).value());
  return date ? platform::iso8601(*date) : "nothing";
}

PlaybookSchedule daily(std::string time) { return {Recurrence::daily, std::move(time), {}, {}, {}}; }
PlaybookSchedule weekly(std::optional<std::int64_t> day, std::string time = "07:30") {
  return {Recurrence::weekly, std::move(time), day, {}, {}};
}
PlaybookSchedule monthly(std::optional<std::int64_t> day, std::string time = "07:30") {
  return {Recurrence::monthly, std::move(time), {}, day, {}};
}
PlaybookSchedule once(std::optional<std::string> date, std::string time = "07:30") {
  return {Recurrence::once, std::move(time), {}, {}, std::move(date)};
}

TEST(PlaybookSchedule, TheSameMomentIsNotLater) {
  EXPECT_EQ(next(daily("07:30"), "2026-11-22T07:29:59"), "2026-11-22T07:30:00Z");
  EXPECT_EQ(next(daily("07:30"), "2026-11-22T07:30:00"), "2026-11-23T07:30:00Z");
  EXPECT_EQ(next(daily("7:5"), "2026-12-31T23:59:59"), "2027-01-01T07:05:00Z");
}

TEST(PlaybookSchedule, ATimeThatIsNoneNeverComesDue) {
  for (const auto* time :
       {"0730", "07:30:00", "", ":", "07:", "x:y", "07.30", "7:3x", "99999999999999999999:1"}) {
    for (const auto& schedule : {daily(time), weekly(1, time), monthly(1, time), once("2030-01-01", time)})
      EXPECT_EQ(next(schedule, "2026-11-22T00:00:00"), "nothing") << time;
  }
  EXPECT_EQ(next(daily("::07::30::"), "2026-11-22T00:00:00"), "2026-11-22T07:30:00Z");
}

TEST(PlaybookSchedule, PartsBeyondTheirRangeRunOver) {
  EXPECT_EQ(next(daily("25:00"), "2026-11-22T00:30:00"), "2026-11-23T01:00:00Z");
  EXPECT_EQ(next(daily("-1:00"), "2026-11-22T12:00:00"), "2026-11-22T23:00:00Z");
  EXPECT_EQ(next(once("2026-02-31"), "2026-01-01T00:00:00"), "2026-03-03T07:30:00Z");
  EXPECT_EQ(next(daily("1000000000000:00"), "2026-11-22T00:30:00"), "nothing");
}

TEST(PlaybookSchedule, ADayThatIsLeftOutNeverComesDue) {
  EXPECT_EQ(next(weekly({}), "2026-11-22T00:00:00"), "nothing");
  EXPECT_EQ(next(monthly({}), "2026-11-22T00:00:00"), "nothing");
  EXPECT_EQ(next(once({}), "2026-11-22T00:00:00"), "nothing");
  for (const auto* date : {"", "2026-11", "2026-11-22-1", "2026/11/22", "x-y-z", "22. 11. 2026"})
    EXPECT_EQ(next(once(date), "2020-01-01T00:00:00"), "nothing") << date;
}

TEST(PlaybookSchedule, OnceFiresOnceAndNeverAfterwards) {
  EXPECT_EQ(next(once("2026-11-22"), "2026-11-22T07:29:00"), "2026-11-22T07:30:00Z");
  EXPECT_EQ(next(once("2026-11-22"), "2026-11-22T07:30:00"), "nothing");
  EXPECT_EQ(next(once("2025-11-22"), "2026-11-22T07:30:00"), "nothing");
}

TEST(PlaybookSchedule, WeeksBeginOnSunday) {
  // 22 November 2026 is a Sunday.
  EXPECT_EQ(next(weekly(1), "2026-11-22T07:00:00"), "2026-11-22T07:30:00Z");
  EXPECT_EQ(next(weekly(1), "2026-11-22T07:30:00"), "2026-11-29T07:30:00Z");
  EXPECT_EQ(next(weekly(7), "2026-11-22T07:30:00"), "2026-11-28T07:30:00Z");
  for (const std::int64_t day : {0, 8, -1}) EXPECT_EQ(next(weekly(day), "2026-11-22T07:30:00"), "nothing");
}

TEST(PlaybookSchedule, MonthsWithoutTheDayArePassedOver) {
  EXPECT_EQ(next(monthly(31), "2026-02-02T12:00:00"), "2026-03-31T07:30:00Z");
  EXPECT_EQ(next(monthly(30), "2026-01-30T08:00:00"), "2026-03-30T07:30:00Z");
  EXPECT_EQ(next(monthly(29), "2026-02-01T00:00:00"), "2026-03-29T07:30:00Z");
  EXPECT_EQ(next(monthly(29), "2028-02-01T00:00:00"), "2028-02-29T07:30:00Z");
  EXPECT_EQ(next(monthly(5), "2026-12-05T07:30:00"), "2027-01-05T07:30:00Z");
  for (const std::int64_t day : {0, 32, -5}) EXPECT_EQ(next(monthly(day), "2026-02-02T12:00:00"), "nothing");
}

TEST(PlaybookSchedule, TheClockOfTheZoneCounts) {
  EXPECT_EQ(next(daily("07:30"), "2026-11-22T00:00:00", "Europe/Berlin"), "2026-11-22T06:30:00Z");
  EXPECT_EQ(next(daily("07:30"), "2026-07-01T00:00:00", "Europe/Berlin"), "2026-07-01T05:30:00Z");
  EXPECT_EQ(next(daily("07:30"), "2026-11-22T00:00:00", "Asia/Kathmandu"), "2026-11-22T01:45:00Z");
  EXPECT_EQ(next(weekly(1), "2026-11-22T03:00:00", "America/Los_Angeles"), "2026-11-22T15:30:00Z");
}

TEST(PlaybookSchedule, ATimeThatClocksPassOverMovesOn) {
  // In Berlin, 2:00 became 3:00 on 29 March 2026.
  EXPECT_EQ(next(daily("02:30"), "2026-03-28T12:00:00", "Europe/Berlin"), "2026-03-29T01:30:00Z");
  EXPECT_EQ(next(once("2026-03-29", "02:30"), "2026-03-28T12:00:00", "Europe/Berlin"),
            "2026-03-29T01:30:00Z");
}

TEST(PlaybookSchedule, OfATimeThatComesTwiceTheFirstCounts) {
  // In Berlin, 3:00 became 2:00 on 25 October 2026.
  EXPECT_EQ(next(daily("02:30"), "2026-10-24T12:00:00", "Europe/Berlin"), "2026-10-25T00:30:00Z");
  EXPECT_EQ(next(daily("02:30"), "2026-10-25T00:30:00", "Europe/Berlin"), "2026-10-26T01:30:00Z");
}

}  // namespace
}  // namespace jamf
