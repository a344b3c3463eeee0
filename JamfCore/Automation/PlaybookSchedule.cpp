#include <algorithm>
#include <charconv>

#include "JamfCore/Automation/Playbook.h"

namespace jamf {

namespace {

using platform::Date;
using platform::locale::Calendar;
using platform::locale::CalendarDay;

/// The pieces between separators as decimal integers, empty pieces dropped; nothing unless they are exactly
/// `N` and each is one.
template <std::size_t N>
std::optional<std::array<std::int64_t, N>> integers(std::string_view text, char separator) {
  std::array<std::int64_t, N> found{};
  std::size_t count = 0;
  while (!text.empty()) {
    const auto end = std::min(text.find(separator), text.size());
    std::string_view piece = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (piece.empty()) continue;
    if (count == N) return std::nullopt;
    if (piece.size() > 1 && piece.front() == '+' && piece[1] != '-') piece.remove_prefix(1);
    const auto [stop, problem] = std::from_chars(piece.data(), piece.data() + piece.size(), found[count++]);
    if (problem != std::errc{} || stop != piece.data() + piece.size()) return std::nullopt;
  }
  return count == N ? std::optional(found) : std::nullopt;
}

/// The search of one schedule: what it starts from.
struct Search {
  const PlaybookSchedule& schedule;
  const Date after;
  const Calendar& calendar;
  const CalendarDay today;
  const std::int64_t hour;
  const std::int64_t minute;

  std::optional<Date> at(std::int64_t year, std::int64_t month, std::int64_t day) const {
    return calendar.date(year, month, day, hour, minute);
  }
  /// That many days later, at the time.
  std::optional<Date> later(std::int64_t days) const { return at(today.year, today.month, today.day + days); }

  std::optional<Date> once() const {
    const auto day = schedule.date ? integers<3>(*schedule.date, '-') : std::nullopt;
    if (!day) return std::nullopt;
    const auto candidate = at((*day)[0], (*day)[1], (*day)[2]);
    return candidate && *candidate > after ? candidate : std::nullopt;
  }

  std::optional<Date> daily() const {
    const auto candidate = later(0);
    return !candidate || *candidate > after ? candidate : calendar.addingDay(*candidate);
  }

  std::optional<Date> weekly() const {
    constexpr std::int64_t daysTested = 8;
    if (!schedule.dayOfWeek) return std::nullopt;
    for (std::int64_t days = 0; days < daysTested; ++days) {
      const auto candidate = later(days);
      if (candidate && *candidate > after && calendar.day(*candidate).weekday == *schedule.dayOfWeek)
        return candidate;
    }
    return std::nullopt;
  }

  std::optional<Date> monthly() const {
    constexpr std::int64_t greatestOffset = 12;
    if (!schedule.dayOfMonth) return std::nullopt;
    for (std::int64_t offset = 0; offset <= greatestOffset; ++offset) {
      const auto candidate = at(today.year, today.month + offset, *schedule.dayOfMonth);
      if (candidate && *candidate > after && calendar.day(*candidate).day == *schedule.dayOfMonth)
        return candidate;
    }
    return std::nullopt;
  }
};

}  // namespace

std::optional<Date> PlaybookSchedule::nextRunDate(Date after, const Calendar& calendar) const {
  const auto clock = integers<2>(time, ':');
  if (!clock) return std::nullopt;
  const Search search{*this, after, calendar, calendar.day(after), (*clock)[0], (*clock)[1]};
  switch (recurrence) {
    case Recurrence::once:
      return search.once();
    case Recurrence::daily:
      return search.daily();
    case Recurrence::weekly:
      return search.weekly();
    case Recurrence::monthly:
      break;
  }
  return search.monthly();
}

}  // namespace jamf
