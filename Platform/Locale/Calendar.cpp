#include "Platform/Locale/Calendar.h"

#include <unicode/timezone.h>

#include <utility>

namespace platform::locale {

using namespace std::chrono;

struct Calendar::Zone {
  std::unique_ptr<const icu::TimeZone> rules;
};

namespace {

/// More than any part may have; sums of them stay far within 64 bits.
constexpr std::int64_t greatestPart = 1'000'000'000;

std::string nameOf(const icu::TimeZone& zone) {
  icu::UnicodeString id;
  std::string name;
  return zone.getID(id).toUTF8String(name);
}

}  // namespace

Calendar::Calendar(std::shared_ptr<const Zone> zone, std::string name)
    : zone_(std::move(zone)), zoneName_(std::move(name)) {}

Calendar Calendar::current() {
  std::unique_ptr<const icu::TimeZone> rules(icu::TimeZone::detectHostTimeZone());
  const std::string name = nameOf(*rules);
  return {std::make_shared<const Zone>(Zone{std::move(rules)}), name};
}

std::optional<Calendar> Calendar::inZone(const std::string& name) {
  std::unique_ptr<const icu::TimeZone> rules(
      icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(name)));
  if (*rules == icu::TimeZone::getUnknown()) return std::nullopt;
  return Calendar(std::make_shared<const Zone>(Zone{std::move(rules)}), name);
}

milliseconds Calendar::offset(Date date) const {
  std::int32_t raw = 0;
  std::int32_t saving = 0;
  UErrorCode status = U_ZERO_ERROR;
  zone_->rules->getOffset(static_cast<UDate>(date.time_since_epoch().count()), 0, raw, saving, status);
  return milliseconds(std::int64_t{raw} + saving);
}

CalendarDay Calendar::day(Date date) const {
  const auto days = floor<std::chrono::days>(date + offset(date));
  const year_month_day shown(days);
  return {int{shown.year()}, unsigned{shown.month()}, unsigned{shown.day()}, weekday(days).c_encoding() + 1};
}

std::optional<Date> Calendar::date(std::int64_t year, std::int64_t month, std::int64_t day, std::int64_t hour,
                                   std::int64_t minute) const {
  constexpr std::int64_t monthsOfYear = 12;
  for (const auto part : {year, month, day, hour, minute})
    if (part < -greatestPart || part > greatestPart) return std::nullopt;
  const std::int64_t months = year * monthsOfYear + month - 1;
  const std::int64_t wholeYear = (months >= 0 ? months : months - (monthsOfYear - 1)) / monthsOfYear;
  const auto inRange = [](std::int64_t value) { return value >= 1 && value <= 9999; };
  if (!inRange(wholeYear)) return std::nullopt;
  const auto first = sys_days(std::chrono::year(static_cast<int>(wholeYear)) /
                              static_cast<int>(months - wholeYear * monthsOfYear + 1) / 1);
  const Date shown = first + days(day - 1) + hours(hour) + minutes(minute);
  return whenShown(shown);
}

std::optional<Date> Calendar::addingDay(Date date) const { return whenShown(date + offset(date) + days(1)); }

std::optional<Date> Calendar::whenShown(Date shown) const {
  if (shown < Date(sys_days(std::chrono::year(1) / 1 / 1)) ||
      shown >= Date(sys_days(std::chrono::year(10000) / 1 / 1)))
    return std::nullopt;

  // Clocks change less often than every other day, so the offset is the one before or the one after.
  const auto before = offset(shown - days(1));
  const auto after = offset(shown + days(1));
  if (offset(shown - before) == before) return shown - before;
  if (offset(shown - after) == after) return shown - after;
  return shown - before;  // clocks pass over it
}

}  // namespace platform::locale
