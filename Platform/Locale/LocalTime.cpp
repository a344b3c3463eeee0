#include "Platform/Locale/LocalTime.h"

#include <time.h>

#include <algorithm>
#include <array>

namespace platform::locale {

using namespace std::chrono;

// The C library is asked because it knows every form of TZ; its reentrant function takes its own lock.
minutes zoneOffset(Date date) {
  const std::time_t seconds = floor<std::chrono::seconds>(date).time_since_epoch().count();
  std::tm parts{};
  if (!localtime_r(&seconds, &parts)) return minutes(0);
  return duration_cast<minutes>(std::chrono::seconds(parts.tm_gmtoff));
}

local_time<Date::duration> localTime(Date date) {
  return local_time<Date::duration>((date + zoneOffset(date)).time_since_epoch());
}

std::optional<Date> dateOf(local_time<Date::duration> time) {
  // Clocks change less often than every other day, so the zone's offset is one of those around that time.
  const Date unshifted(time.time_since_epoch());
  const std::array candidates{unshifted - zoneOffset(unshifted - days(1)),
                              unshifted - zoneOffset(unshifted + days(1))};
  std::optional<Date> earliest;
  for (const Date date : candidates)
    if (localTime(date) == time) earliest = earliest ? std::min(*earliest, date) : date;
  return earliest;
}

}  // namespace platform::locale
