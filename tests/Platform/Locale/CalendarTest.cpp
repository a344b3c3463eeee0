#include "Platform/Locale/Calendar.h"

#include <gtest/gtest.h>

namespace platform::locale {
namespace {

Date utc(const char* text) { return parseISO8601(text).value(); }

TEST(Calendar, KnowsTheZonesOfTheDatabaseAlone) {
  EXPECT_TRUE(Calendar::inZone("Europe/Lisbon"));
  EXPECT_EQ(Calendar::inZone("Europe/Lisbon")->zone(), "Europe/Lisbon");
  EXPECT_FALSE(Calendar::inZone("Europe/Nowhere"));
  EXPECT_FALSE(Calendar::inZone(""));
}

TEST(Calendar, ShowsTheDayOfItsZone) {
  const auto date = utc("2026-11-22T23:30:00Z");
  EXPECT_EQ(Calendar::inZone("UTC")->day(date), (CalendarDay{2026, 11, 22, 1}));
  EXPECT_EQ(Calendar::inZone("Asia/Tokyo")->day(date), (CalendarDay{2026, 11, 23, 2}));
}

TEST(Calendar, PartsRunOverIntoTheNextLarger) {
  const auto calendar = *Calendar::inZone("UTC");
  EXPECT_EQ(calendar.date(2026, 13, 1, 0, 0), utc("2027-01-01T00:00:00Z"));
  EXPECT_EQ(calendar.date(2026, 0, 31, 24, 60), utc("2026-01-01T01:00:00Z"));
  EXPECT_EQ(calendar.date(2026, 4, 31, 0, -1), utc("2026-04-30T23:59:00Z"));
  EXPECT_EQ(calendar.date(2026, -11, 1, 0, 0), utc("2025-01-01T00:00:00Z"));
}

TEST(Calendar, WhatLiesBeyondItsYearsIsNothing) {
  const auto calendar = *Calendar::inZone("UTC");
  EXPECT_EQ(calendar.date(10000, 1, 1, 0, 0), std::nullopt);
  EXPECT_EQ(calendar.date(0, 1, 1, 0, 0), std::nullopt);
  EXPECT_EQ(calendar.date(2026, 1, 1'000'000'000, 0, 0), std::nullopt);
  EXPECT_EQ(calendar.date(INT64_MAX, 1, 1, 0, 0), std::nullopt);
  EXPECT_EQ(calendar.date(2026, 1, 1, INT64_MIN, 0), std::nullopt);
}

TEST(Calendar, ADayLaterTheClockShowsTheSame) {
  const auto berlin = *Calendar::inZone("Europe/Berlin");
  EXPECT_EQ(berlin.addingDay(utc("2026-03-28T06:30:00Z")), utc("2026-03-29T05:30:00Z"));
  EXPECT_EQ(berlin.addingDay(utc("2026-10-24T05:30:00Z")), utc("2026-10-25T06:30:00Z"));
}

}  // namespace
}  // namespace platform::locale
