#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// A point in calendar time (UTC, milliseconds since 1970). For what is stored or shown, never for waiting:
/// waits use the monotonic clock.
using Date = std::chrono::sys_time<std::chrono::milliseconds>;

/// The current calendar time. The one reader of the system's calendar clock.
Date now();

/// ISO 8601 in UTC at whole seconds, "2025-03-04T09:15:00Z". A fraction is cut off towards the past, not
/// rounded. The form has four digits for the year: a date before the year 0 or after 9999 is shown as the
/// first or the last second of that range.
std::string iso8601(Date date);

/// Reads exactly that form. Nothing for a fraction, another zone, a day or time that does not exist; a leap
/// second (":60") counts as a time that does not exist.
std::optional<Date> parseISO8601(std::string_view text);

/// Reads that form with a fraction of any length behind a point or none, of which milliseconds count, and any
/// zone: "Z" or an offset as "+01:00", "+0100" or "+01". Nothing for a day, time or offset that does not
/// exist, nor for a text without a zone.
std::optional<Date> parseZonedISO8601(std::string_view text);

/// "2025-03-04T091500Z": the same second, sortable and free of characters that a file system refuses.
std::string compactUTC(Date date);

/// The inverse of `compactUTC`; nothing for any other text.
std::optional<Date> parseCompactUTC(std::string_view text);

}  // namespace platform
