#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Platform/Date.h"

namespace platform::locale {

/// What a calendar shows at a moment.
struct CalendarDay {
  std::int64_t year = 0;
  std::int64_t month = 0;    ///< 1 to 12
  std::int64_t day = 0;      ///< 1 to 31
  std::int64_t weekday = 0;  ///< 1 is Sunday, 7 is Saturday

  bool operator==(const CalendarDay&) const = default;
};

/// The Gregorian calendar in one time zone. Immutable; any thread may ask.
class Calendar {
 public:
  /// The zone of this machine and user (TZ, else the machine's).
  static Calendar current();
  /// A zone of the time zone database, "Europe/Lisbon"; nothing for a name that it doesn't have.
  static std::optional<Calendar> inZone(const std::string& name);

  CalendarDay day(Date date) const;

  /// The moment of these parts, seconds at zero. Parts beyond their range run over into the next larger: 25
  /// hours are the next day's first, 31 April is 1 May. A time that clocks pass over when they are set
  /// forward moves on by as much as they do; of two, where they are set back, it is the first. Nothing for
  /// what lies beyond the years 1 to 9999.
  std::optional<Date> date(std::int64_t year, std::int64_t month, std::int64_t day, std::int64_t hour,
                           std::int64_t minute) const;

  /// The same time of the clock on the next day, by the rules of `date`.
  std::optional<Date> addingDay(Date date) const;

  /// The name of the zone.
  const std::string& zone() const { return zoneName_; }

 private:
  struct Zone;
  Calendar(std::shared_ptr<const Zone> zone, std::string name);

  std::chrono::milliseconds offset(Date date) const;
  /// When the clock shows that.
  std::optional<Date> whenShown(Date shown) const;

  std::shared_ptr<const Zone> zone_;
  std::string zoneName_;
};

}  // namespace platform::locale
