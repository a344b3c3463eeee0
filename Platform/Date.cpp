#include "Platform/Date.h"

#include <algorithm>
#include <array>

namespace platform {

namespace {

using namespace std::chrono;

// The two written forms: a "0" stands for the next digit of year, month, day, hour, minute and second.
constexpr std::string_view iso8601Form = "0000-00-00T00:00:00Z";
constexpr std::string_view compactForm = "0000-00-00T000000Z";

constexpr Date earliest = sys_days(year(0) / January / 1);
constexpr Date latest = sys_days(year(9999) / December / 31) + hours(24) - seconds(1);

using Digits = std::array<char, 14>;

Digits digitsOf(Date date) {
  const auto instant = floor<seconds>(std::clamp(date, earliest, latest));
  const auto midnight = floor<days>(instant);
  const year_month_day day(midnight);
  const hh_mm_ss time(instant - midnight);

  Digits digits{};
  std::size_t end = 0;
  const auto put = [&](unsigned value, std::size_t width) {
    end += width;
    for (std::size_t i = 1; i <= width; ++i, value /= 10)
      digits[end - i] = static_cast<char>('0' + value % 10);
  };
  put(static_cast<unsigned>(static_cast<int>(day.year())), 4);
  put(static_cast<unsigned>(day.month()), 2);
  put(static_cast<unsigned>(day.day()), 2);
  put(static_cast<unsigned>(time.hours().count()), 2);
  put(static_cast<unsigned>(time.minutes().count()), 2);
  put(static_cast<unsigned>(time.seconds().count()), 2);
  return digits;
}

std::string render(Date date, std::string_view form) {
  const Digits digits = digitsOf(date);
  std::string text(form);
  auto next = digits.begin();
  for (char& character : text)
    if (character == '0') character = *next++;
  return text;
}

std::optional<Date> parse(std::string_view text, std::string_view form) {
  if (text.size() != form.size()) return std::nullopt;
  Digits digits{};
  auto next = digits.begin();
  for (std::size_t i = 0; i < form.size(); ++i) {
    if (form[i] != '0') {
      if (text[i] != form[i]) return std::nullopt;
    } else {
      if (text[i] < '0' || text[i] > '9') return std::nullopt;
      *next++ = text[i];
    }
  }

  std::size_t at = 0;
  const auto take = [&](std::size_t width) {
    unsigned value = 0;
    for (const std::size_t end = at + width; at < end; ++at)
      value = value * 10 + static_cast<unsigned>(digits[at] - '0');
    return value;
  };
  const year_month_day day{year(static_cast<int>(take(4))), month(take(2)), std::chrono::day(take(2))};
  const unsigned hour = take(2);
  const unsigned minute = take(2);
  const unsigned second = take(2);
  if (!day.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  return sys_days(day) + hours(hour) + minutes(minute) + seconds(second);
}

}  // namespace

Date now() { return floor<milliseconds>(system_clock::now()); }

std::string iso8601(Date date) { return render(date, iso8601Form); }

std::optional<Date> parseISO8601(std::string_view text) { return parse(text, iso8601Form); }

std::string compactUTC(Date date) { return render(date, compactForm); }

std::optional<Date> parseCompactUTC(std::string_view text) { return parse(text, compactForm); }

}  // namespace platform
