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

bool isDigit(char c) { return c >= '0' && c <= '9'; }

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
      if (!isDigit(text[i])) return std::nullopt;
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

/// Takes a fraction of a second off the front of `text`: nothing for a point without a digit, zero where
/// there is no point.
std::optional<milliseconds> takeFraction(std::string_view& text) {
  if (!text.starts_with('.')) return milliseconds(0);
  const auto digits = text.substr(1, std::min(text.find_first_not_of("0123456789", 1), text.size()) - 1);
  if (digits.empty()) return std::nullopt;
  text.remove_prefix(1 + digits.size());
  int value = 0;
  for (std::size_t i = 0; i < 3; ++i) value = value * 10 + (i < digits.size() ? digits[i] - '0' : 0);
  return milliseconds(value);
}

/// How far a zone is ahead of UTC.
std::optional<minutes> offsetOf(std::string_view zone) {
  if (zone == "Z") return minutes(0);
  if (!zone.starts_with('+') && !zone.starts_with('-')) return std::nullopt;
  std::string digits(zone.substr(1));
  if (digits.size() == 2) digits += "00";
  if (digits.size() == 5 && digits[2] == ':') digits.erase(2, 1);
  if (digits.size() != 4 || !std::ranges::all_of(digits, isDigit)) return std::nullopt;
  const int hour = (digits[0] - '0') * 10 + (digits[1] - '0');
  const int minute = (digits[2] - '0') * 10 + (digits[3] - '0');
  if (hour > 23 || minute > 59) return std::nullopt;
  const minutes distance = hours(hour) + minutes(minute);
  return zone.front() == '-' ? -distance : distance;
}

}  // namespace

Date now() { return floor<milliseconds>(system_clock::now()); }

std::string iso8601(Date date) { return render(date, iso8601Form); }

std::optional<Date> parseISO8601(std::string_view text) { return parse(text, iso8601Form); }

std::optional<Date> parseZonedISO8601(std::string_view text) {
  const auto withoutZone = iso8601Form.substr(0, iso8601Form.size() - 1);
  const auto second = parse(text.substr(0, withoutZone.size()), withoutZone);
  if (!second) return std::nullopt;
  text.remove_prefix(withoutZone.size());
  const auto fraction = takeFraction(text);
  const auto offset = fraction ? offsetOf(text) : std::nullopt;
  if (!offset) return std::nullopt;
  return *second + *fraction - *offset;
}

std::string compactUTC(Date date) { return render(date, compactForm); }

std::optional<Date> parseCompactUTC(std::string_view text) { return parse(text, compactForm); }

}  // namespace platform
