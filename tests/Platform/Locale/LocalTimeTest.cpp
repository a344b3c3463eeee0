#include "Platform/Locale/LocalTime.h"

#include <gtest/gtest.h>

#include "tests/Support/ScopedZone.h"

namespace platform::locale {
namespace {

using namespace std::chrono_literals;
using std::chrono::local_days;
using std::chrono::sys_days;

constexpr auto summerBegins = std::chrono::March / 29 / 2026;
constexpr auto summerEnds = std::chrono::October / 25 / 2026;

class LocalTime : public testing::Test {
 protected:
  const orvik::test::ScopedZone zone{"UTC"};
};

TEST_F(LocalTime, TheClockOnTheWallIsAheadByTheZonesOffset) {
  zone.set("Europe/Berlin");
  const Date winter = sys_days(std::chrono::March / 4 / 2026) + 9h;
  EXPECT_EQ(localTime(winter), local_days(std::chrono::March / 4 / 2026) + 10h);
  EXPECT_EQ(dateOf(local_days(std::chrono::July / 4 / 2026) + 10h),
            sys_days(std::chrono::July / 4 / 2026) + 8h);
  zone.set("America/New_York");
  EXPECT_EQ(dateOf(local_days(std::chrono::July / 4 / 2026) + 23h),
            sys_days(std::chrono::July / 5 / 2026) + 3h);
}

TEST_F(LocalTime, AClockThatIsSetForwardPassesOverAnHour) {
  zone.set("Europe/Berlin");
  EXPECT_EQ(dateOf(local_days(summerBegins) + 1h + 59min), sys_days(summerBegins) + 59min);
  EXPECT_EQ(dateOf(local_days(summerBegins) + 2h), std::nullopt);
  EXPECT_EQ(dateOf(local_days(summerBegins) + 2h + 59min), std::nullopt);
  EXPECT_EQ(dateOf(local_days(summerBegins) + 3h), sys_days(summerBegins) + 1h);
}

TEST_F(LocalTime, OfAnHourThatComesTwiceTheEarlierIsMeant) {
  zone.set("Europe/Berlin");
  EXPECT_EQ(dateOf(local_days(summerEnds) + 2h + 30min), sys_days(summerEnds) + 30min);
  EXPECT_EQ(dateOf(local_days(summerEnds) + 3h), sys_days(summerEnds) + 2h);
}

TEST_F(LocalTime, AZoneIsTakenInEveryFormThatTheSystemKnows) {
  zone.set("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(zoneOffset(sys_days(summerBegins)), 1h);
  EXPECT_EQ(zoneOffset(sys_days(summerBegins) + 1h), 2h);
  EXPECT_EQ(dateOf(local_days(summerBegins) + 2h + 30min), std::nullopt);
  zone.set("Asia/Kolkata");
  EXPECT_EQ(zoneOffset(sys_days(summerBegins)), 5h + 30min);
}

}  // namespace
}  // namespace platform::locale
