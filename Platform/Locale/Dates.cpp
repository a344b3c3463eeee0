#include <fmt/format.h>
#include <unicode/datefmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <memory>

#include "Platform/Locale/LocalTime.h"
#include "Platform/Locale/Text.h"
#include "Platform/Locale/UserLocale.h"

namespace platform::locale {

namespace {

using std::chrono::minutes;

/// A format of one's own per thread, since formatting changes it; made again when the environment names
/// another locale. Its zone is UTC: it is handed times that are shifted already.
const icu::DateFormat* userFormat() {
  thread_local std::string name;
  thread_local std::unique_ptr<icu::DateFormat> format;
  std::string wanted = userLocale("LC_TIME");
  if (format && wanted == name) return format.get();
  const icu::Locale locale(wanted.empty() ? "en_US_POSIX" : wanted.c_str());
  format.reset(
      icu::DateFormat::createDateTimeInstance(icu::DateFormat::kMedium, icu::DateFormat::kShort, locale));
  if (format) format->setTimeZone(*icu::TimeZone::getGMT());
  name = std::move(wanted);
  return format.get();
}

}  // namespace

std::string dateText(Date date) {
  const icu::DateFormat* format = userFormat();
  if (!format) return zonedISO8601(date);
  const Date local = date + zoneOffset(date);
  icu::UnicodeString wide;
  format->format(static_cast<UDate>(local.time_since_epoch().count()), wide);
  std::string text;
  return wide.toUTF8String(text);
}

std::string zonedISO8601(Date date) {
  const minutes offset = zoneOffset(date);
  const Date local = date + offset;
  const auto midnight = std::chrono::floor<std::chrono::days>(local);
  const std::chrono::year_month_day day(midnight);
  const std::chrono::hh_mm_ss time(local - midnight);
  const std::chrono::hh_mm_ss distance(std::chrono::abs(offset));
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}{}{:02}:{:02}", static_cast<int>(day.year()),
                     static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()),
                     time.hours().count(), time.minutes().count(), time.seconds().count(),
                     time.subseconds().count(), offset < minutes(0) ? '-' : '+', distance.hours().count(),
                     distance.minutes().count());
}

}  // namespace platform::locale
