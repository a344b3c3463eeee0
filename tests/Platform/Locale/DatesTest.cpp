#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "Platform/Locale/Text.h"
#include "tests/Support/DateTexts.h"
#include "tests/Support/ScopedVariable.h"
#include "tests/Support/ScopedZone.h"

namespace platform::locale {
namespace {

using namespace std::chrono_literals;
using orvik::test::ScopedVariable;
using orvik::test::ScopedZone;
using orvik::test::withPlainBlanks;
using std::chrono::sys_days;

class Dates : public testing::Test {
 protected:
  void writeDatesIn(const std::string& all, const char* time = "", const char* lang = "") const {
    all_.set(all);
    time_.set(time);
    lang_.set(lang);
  }

  const ScopedZone zone{"UTC"};

 private:
  const ScopedVariable all_{"LC_ALL"};
  const ScopedVariable time_{"LC_TIME"};
  const ScopedVariable lang_{"LANG"};
};

const Date winter = sys_days(std::chrono::March / 4 / 2025) + 9h + 15min + 123ms;
const Date summer = sys_days(std::chrono::July / 4 / 2025) + 9h + 15min + 7s;

TEST_F(Dates, ZonedTextHasMillisecondsAndTheZonesOffset) {
  zone.set("Europe/Berlin");
  EXPECT_EQ(zonedISO8601(winter), "2025-03-04T10:15:00.123+01:00");
  EXPECT_EQ(zonedISO8601(summer), "2025-07-04T11:15:07.000+02:00");
  zone.set("UTC");
  EXPECT_EQ(zonedISO8601(winter), "2025-03-04T09:15:00.123+00:00");
  zone.set("Asia/Kolkata");
  EXPECT_EQ(zonedISO8601(winter), "2025-03-04T14:45:00.123+05:30");
  zone.set("America/St_Johns");
  EXPECT_EQ(zonedISO8601(winter), "2025-03-04T05:45:00.123-03:30");
  EXPECT_EQ(zonedISO8601(summer), "2025-07-04T06:45:07.000-02:30");
}

TEST_F(Dates, EveryFormOfAZoneIsUnderstood) {
  zone.set(":Asia/Tokyo");
  EXPECT_EQ(zonedISO8601(winter), "2025-03-04T18:15:00.123+09:00");
  zone.set("<-0945>9:45");
  EXPECT_EQ(zonedISO8601(winter), "2025-03-03T23:30:00.123-09:45");
  zone.set("");
  EXPECT_EQ(zonedISO8601(winter), "2025-03-04T09:15:00.123+00:00");
}

TEST_F(Dates, TimesBefore1970CountForward) {
  EXPECT_EQ(zonedISO8601(Date(-1ms)), "1969-12-31T23:59:59.999+00:00");
  EXPECT_EQ(zonedISO8601(Date(-24h)), "1969-12-31T00:00:00.000+00:00");
}

TEST_F(Dates, AnOffsetWithSecondsStillNamesTheSameMoment) {
  zone.set("Europe/Berlin");  // local mean time until 1893: 53 minutes and 28 seconds
  EXPECT_EQ(zonedISO8601(sys_days(std::chrono::January / 1 / 1880)), "1880-01-01T00:53:00.000+00:53");
}

TEST_F(Dates, TheTwoHoursOfTheClocksReturnDiffer) {
  zone.set("Europe/Berlin");
  const Date change = sys_days(std::chrono::October / 26 / 2025) + 1h;
  EXPECT_EQ(zonedISO8601(change - 1ms), "2025-10-26T02:59:59.999+02:00");
  EXPECT_EQ(zonedISO8601(change), "2025-10-26T02:00:00.000+01:00");
}

TEST_F(Dates, PeopleReadAMediumDateAndAShortTimeInTheirLocaleAndZone) {
  zone.set("Europe/Berlin");
  writeDatesIn("en_US.UTF-8");
  EXPECT_EQ(withPlainBlanks(dateText(winter)), "Mar 4, 2025, 10:15 AM");
  writeDatesIn("de_DE.UTF-8");
  EXPECT_EQ(dateText(winter), "04.03.2025, 10:15");
  zone.set("America/St_Johns");
  EXPECT_EQ(dateText(summer), "04.07.2025, 06:45");
  writeDatesIn("fr_FR@euro");
  EXPECT_EQ(withPlainBlanks(dateText(winter)), "4 mars 2025, 05:45");
}

TEST_F(Dates, TheVariablesCountInTheirOrder) {
  writeDatesIn("de_DE.UTF-8", "en_US.UTF-8", "en_US.UTF-8");
  EXPECT_EQ(dateText(winter), "04.03.2025, 09:15");
  writeDatesIn("", "de_DE.UTF-8", "en_US.UTF-8");
  EXPECT_EQ(dateText(winter), "04.03.2025, 09:15");
  writeDatesIn("", "", "de_DE.UTF-8");
  EXPECT_EQ(dateText(winter), "04.03.2025, 09:15");
}

TEST_F(Dates, WithoutALanguageDatesAreEnglish) {
  for (const char* name : {"C", "POSIX", "C.UTF-8", ""}) {
    writeDatesIn(name);
    EXPECT_EQ(withPlainBlanks(dateText(winter)), "Mar 4, 2025, 9:15 AM") << name;
  }
}

TEST_F(Dates, AnUnknownLocaleStillNamesTheDate) {
  for (const std::string& name : {std::string("xx_YY"), std::string("//"), std::string(20, 'q'),
                                  std::string(150, 'q'), std::string(5000, 'q')}) {
    writeDatesIn(name);
    EXPECT_NE(dateText(winter).find("2025"), std::string::npos) << name.substr(0, 20);
  }
}

TEST_F(Dates, ManyThreadsGetTheSameTexts) {
  zone.set("Europe/Berlin");
  writeDatesIn("de_DE.UTF-8");
  std::vector<std::string> texts(8);
  {
    std::vector<std::jthread> threads;
    for (std::string& text : texts) {
      threads.emplace_back([&text] { text = dateText(winter) + " " + zonedISO8601(summer); });
    }
  }
  EXPECT_EQ(texts, std::vector<std::string>(8, "04.03.2025, 10:15 2025-07-04T11:15:07.000+02:00"));
}

}  // namespace
}  // namespace platform::locale
