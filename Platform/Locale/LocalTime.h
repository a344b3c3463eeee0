#pragma once

#include <chrono>
#include <optional>

#include "Platform/Date.h"

/// The clock on the wall, in the current time zone (TZ, else the machine's). Any thread may ask; the zone is
/// read when the process first needs it, or at `tzset`.
namespace platform::locale {

/// How far the zone is ahead of UTC at `date`, in whole minutes.
std::chrono::minutes zoneOffset(Date date);

/// What the clock on the wall shows at `date`.
std::chrono::local_time<Date::duration> localTime(Date date);

/// The moment at which it shows that: of two, where clocks are set back, the earlier one; nothing where they
/// are set forward and pass over it.
std::optional<Date> dateOf(std::chrono::local_time<Date::duration> time);

}  // namespace platform::locale
