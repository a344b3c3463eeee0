#include "orvik/Schedule/RunTime.h"

#include <fmt/format.h>

#include <chrono>
#include <optional>
#include <string>

#include "Platform/Locale/LocalTime.h"
#include "Platform/Locale/Text.h"
#include "orvik/ExitStatus.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"

namespace orvik::host::RunTime {

namespace {

using platform::Date;
using std::chrono::days;
using LocalTime = std::chrono::local_time<Date::duration>;

constexpr std::chrono::hours farthest{87600};
constexpr std::size_t dayLength = 10;     // "2026-11-22"
constexpr std::size_t minuteLength = 16;  // "2026-11-22 23:00"

Date reachable(Date date, Date now) {
  using std::chrono::floor;
  using std::chrono::seconds;
  if (floor<seconds>(date) < floor<seconds>(now))
    throw UsageError(
        fmt::format("{} has passed, {}.", platform::locale::dateText(date), wording::ago(date, now)));
  if (date > now + farthest) throw UsageError("A run can lie ten years ahead at most.");
  return floor<seconds>(date);
}

/// What a clock on the wall shows, from "2026-11-22" and "23:00".
std::optional<LocalTime> wallTime(std::string_view day, std::string_view time) {
  const auto read = platform::parseISO8601(fmt::format("{}T{}:00Z", day, time));
  if (!read) return std::nullopt;
  return LocalTime(read->time_since_epoch());
}

std::optional<Date> zoned(std::string_view text) {
  std::string whole(text);
  const bool endsAtMinutes = whole.size() > minuteLength &&
                             std::string_view("Z+-").find(whole[minuteLength]) != std::string_view::npos;
  if (endsAtMinutes) whole.insert(minuteLength, ":00");
  return platform::parseZonedISO8601(whole);
}

std::optional<Date> onThisClock(std::string_view text) {
  const auto time = text.size() == minuteLength && text[dayLength] == ' '
                        ? wallTime(text.substr(0, dayLength), text.substr(dayLength + 1))
                        : std::nullopt;
  if (!time) return std::nullopt;
  if (const auto date = platform::locale::dateOf(*time)) return date;
  throw UsageError(
      fmt::format("There is no {} on this machine's clock: it is set forward then.", visibleLine(text)));
}

/// The next moment at which the clock shows that time of day.
std::optional<Date> next(std::string_view time, Date now) {
  if (!wallTime("1970-01-01", time)) return std::nullopt;
  const auto today = std::chrono::floor<days>(platform::locale::localTime(now));
  const auto sinceMidnight = wallTime("1970-01-01", time)->time_since_epoch();
  // Beyond tomorrow only where a clock is set forward over the time.
  for (int day = 0; day < 3; ++day)
    if (const auto date = platform::locale::dateOf(today + days(day) + sinceMidnight); date && *date > now)
      return date;
  return std::nullopt;
}

}  // namespace

Date moment(std::string_view text, Date now) {
  auto date = zoned(text);
  if (!date) date = onThisClock(text);
  if (!date) date = next(text, now);
  if (!date)
    throw UsageError(fmt::format(
        "\"{}\" is no time. Write 2026-11-22T23:00:00Z, \"2026-11-22 23:00\" or 23:00.", fitted(text, 40)));
  return std::chrono::floor<std::chrono::seconds>(*date);
}

Date at(std::string_view text, Date now) { return reachable(moment(text, now), now); }

Date in(double hours, Date now) {
  return reachable(
      now + std::chrono::round<Date::duration>(std::chrono::duration<double, std::ratio<3600>>(hours)), now);
}

}  // namespace orvik::host::RunTime
