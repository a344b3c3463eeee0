#include "Platform/Date.h"

#include <gtest/gtest.h>
#include <time.h>

#include <array>
#include <random>

namespace platform {
namespace {

using namespace std::chrono_literals;

Date at(std::int64_t milliseconds) { return Date(std::chrono::milliseconds(milliseconds)); }

constexpr std::int64_t example = 1'741'079'700'000;  // 2025-03-04T09:15:00Z

TEST(DateTest, RendersWholeSecondsInUTC) {
  EXPECT_EQ(iso8601(at(example)), "2025-03-04T09:15:00Z");
  EXPECT_EQ(compactUTC(at(example)), "2025-03-04T091500Z");
  EXPECT_EQ(iso8601(at(0)), "1970-01-01T00:00:00Z");
}

TEST(DateTest, AFractionIsCutOffTowardsThePast) {
  EXPECT_EQ(iso8601(at(example + 999)), "2025-03-04T09:15:00Z");
  EXPECT_EQ(iso8601(at(-1)), "1969-12-31T23:59:59Z");
  EXPECT_EQ(compactUTC(at(-1)), "1969-12-31T235959Z");
}

TEST(DateTest, ReadsBackWhatItRenders) {
  EXPECT_EQ(parseISO8601("2025-03-04T09:15:00Z"), at(example));
  EXPECT_EQ(parseCompactUTC("2025-03-04T091500Z"), at(example));
  for (const auto* text : {"0000-01-01T00:00:00Z", "0000-02-29T12:00:00Z", "1900-02-28T23:59:59Z",
                           "2000-02-29T00:00:00Z", "2024-02-29T23:59:59Z", "9999-12-31T23:59:59Z"}) {
    const auto date = parseISO8601(text);
    ASSERT_TRUE(date) << text;
    EXPECT_EQ(iso8601(*date), text);
    EXPECT_EQ(parseCompactUTC(compactUTC(*date)), date) << text;
  }
}

TEST(DateTest, AgreesWithTheSystemsCalendar) {
  const unsigned seed = std::random_device()();
  std::mt19937_64 random(seed);
  std::uniform_int_distribution<std::int64_t> seconds(-62'167'219'200, 253'402'300'799);
  for (int i = 0; i < 5000; ++i) {
    const time_t second = seconds(random);
    tm fields{};
    ASSERT_NE(gmtime_r(&second, &fields), nullptr);
    std::array<char, 128> expected{};
    snprintf(expected.data(), expected.size(), "%04d-%02d-%02dT%02d:%02d:%02dZ", fields.tm_year + 1900,
             fields.tm_mon + 1, fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec);
    ASSERT_EQ(iso8601(at(second * 1000)), expected.data()) << "seed " << seed;
    ASSERT_EQ(parseISO8601(expected.data()), at(second * 1000)) << "seed " << seed;
  }
}

TEST(DateTest, RefusesDaysAndTimesThatDoNotExist) {
  for (const auto* text :
       {"2025-02-29T00:00:00Z", "1900-02-29T00:00:00Z", "2025-04-31T00:00:00Z", "2025-00-10T00:00:00Z",
        "2025-13-10T00:00:00Z", "2025-01-00T00:00:00Z", "2025-01-32T00:00:00Z", "2025-01-01T24:00:00Z",
        "2025-01-01T00:60:00Z", "2016-12-31T23:59:60Z", "2025-01-01T00:00:99Z"})
    EXPECT_EQ(parseISO8601(text), std::nullopt) << text;
  EXPECT_EQ(parseCompactUTC("2025-02-29T000000Z"), std::nullopt);
  EXPECT_EQ(parseCompactUTC("2025-01-01T240000Z"), std::nullopt);
}

TEST(DateTest, RefusesEveryOtherForm) {
  for (const auto* text :
       {"", "2025-03-04", "2025-03-04T09:15:00", "2025-03-04T09:15:00.000Z", "2025-03-04T09:15:00+00:00",
        "2025-03-04t09:15:00z", "2025-03-04 09:15:00Z", " 2025-03-04T09:15:00Z", "2025-03-04T09:15:00Z ",
        "2025-3-4T09:15:00Z", "+025-03-04T09:15:00Z", "2025-03-04T09:15:0 Z", "-025-03-04T09:15:00Z",
        "2025-03-04T091500Z", "20250304T091500Z", "2025/03/04T09:15:00Z", "10000-01-01T00:00:00Z"})
    EXPECT_EQ(parseISO8601(text), std::nullopt) << text;
  for (const auto* text : {"", "2025-03-04T09:15:00Z", "2025-03-04T0915Z", "2025-03-04T091500Z.partial",
                           "2025-03-04T091500", ".DS_Store", "2025-03-04T09150aZ"})
    EXPECT_EQ(parseCompactUTC(text), std::nullopt) << text;
  EXPECT_EQ(parseISO8601(std::string_view("2025-03-04T09:15:00\0", 20)), std::nullopt);
}

TEST(DateTest, ReadsEveryZoneAndFraction) {
  struct Row {
    const char* text;
    std::int64_t later;  // than the example, milliseconds
  };
  constexpr std::int64_t hour = 3'600'000;
  for (const auto& [text, later] : {Row{"2025-03-04T09:15:00Z", 0},
                                    {"2025-03-04T09:15:00+00:00", 0},
                                    {"2025-03-04T09:15:00-00:00", 0},
                                    {"2025-03-04T09:15:00+01:00", -hour},
                                    {"2025-03-04T09:15:00+0100", -hour},
                                    {"2025-03-04T09:15:00+01", -hour},
                                    {"2025-03-04T09:15:00-03:30", 3 * hour + hour / 2},
                                    {"2025-03-04T23:15:00-23:59", 14 * hour + 24 * hour - 60'000},
                                    {"2025-03-05T00:15:00+15:00", 0},
                                    {"2025-03-04T09:15:00.1Z", 100},
                                    {"2025-03-04T09:15:00.12Z", 120},
                                    {"2025-03-04T09:15:00.123Z", 123},
                                    {"2025-03-04T09:15:00.1239Z", 123},
                                    {"2025-03-04T09:15:00.000000000000000000000001Z", 0},
                                    {"2025-03-04T09:15:00.999999+0000", 999}})
    EXPECT_EQ(parseZonedISO8601(text), at(example + later)) << text;
  EXPECT_EQ(parseZonedISO8601("1969-12-31T23:59:59.999Z"), at(-1));
}

TEST(DateTest, RefusesZonesFractionsAndTimesThatDoNotExist) {
  for (const auto* text : {"",
                           "2025-03-04",
                           "2025-03-04T09:15:00",
                           "2025-03-04T09:15Z",
                           "2025-03-04T09:15:00.Z",
                           "2025-03-04T09:15:00.5",
                           "2025-03-04T09:15:00,5Z",
                           "2025-03-04T09:15:00.5.5Z",
                           "2025-03-04T09:15:00z",
                           "2025-03-04T09:15:00 Z",
                           "2025-03-04T09:15:00ZZ",
                           "2025-03-04T09:15:00+",
                           "2025-03-04T09:15:00+1",
                           "2025-03-04T09:15:00+1:00",
                           "2025-03-04T09:15:00+01:0",
                           "2025-03-04T09:15:00+01:00:00",
                           "2025-03-04T09:15:00+24:00",
                           "2025-03-04T09:15:00+01:60",
                           "2025-03-04T09:15:00+01:",
                           "2025-03-04T09:15:00+0a:00",
                           "2025-03-04T09:15:00+-1:00",
                           "2025-03-04T09:15:00CET",
                           "2025-02-29T09:15:00Z",
                           "2025-03-04T24:00:00Z",
                           "2016-12-31T23:59:60Z",
                           "2016-12-31T23:59:60.5+00:00",
                           "2025-03-04t09:15:00Z",
                           "2025-03-04 09:15:00Z"})
    EXPECT_EQ(parseZonedISO8601(text), std::nullopt) << text;
}

TEST(DateTest, DatesBeyondFourDigitYearsAreShownAsTheEdgesOfTheRange) {
  EXPECT_EQ(iso8601(Date::max()), "9999-12-31T23:59:59Z");
  EXPECT_EQ(iso8601(Date::min()), "0000-01-01T00:00:00Z");
  EXPECT_EQ(iso8601(at(253'402'300'799'999)), "9999-12-31T23:59:59Z");
  EXPECT_EQ(compactUTC(Date::max()), "9999-12-31T235959Z");
}

TEST(DateTest, CompactTextsSortAsTheirDates) {
  Date date = at(example);
  for (const auto step : {1000ms, 59'000ms, 3'600'000ms, 86'400'000ms, 2'678'400'000ms, 31'622'400'000ms}) {
    EXPECT_LT(compactUTC(date), compactUTC(date + step));
    date += step;
  }
}

TEST(DateTest, NowIsTheSystemsTime) {
  const Date before = at(static_cast<std::int64_t>(time(nullptr)) * 1000);
  const Date date = now();
  EXPECT_GE(date, before - 1s);
  EXPECT_LE(date, at(static_cast<std::int64_t>(time(nullptr)) * 1000) + 2s);
}

}  // namespace
}  // namespace platform
