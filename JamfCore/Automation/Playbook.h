#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "JamfCore/Automation/PlaybookResource.h"
#include "Platform/Date.h"
#include "Platform/JSON/Codable.h"
#include "Platform/Locale/Calendar.h"

namespace jamf {

enum class Recurrence { once, daily, weekly, monthly };

constexpr auto enumTexts(Recurrence) {
  using namespace std::string_view_literals;
  return std::array{std::pair{Recurrence::once, "once"sv}, std::pair{Recurrence::daily, "daily"sv},
                    std::pair{Recurrence::weekly, "weekly"sv}, std::pair{Recurrence::monthly, "monthly"sv}};
}

/// When a playbook is to be run. Nothing is checked when it is read: what can't be used never comes due.
struct PlaybookSchedule {
  Recurrence recurrence = Recurrence::daily;
  std::string time;                             ///< "HH:mm" in the calendar's zone
  std::optional<std::int64_t> dayOfWeek = {};   ///< of `weekly`: 1 is Sunday, 7 is Saturday
  std::optional<std::int64_t> dayOfMonth = {};  ///< of `monthly`; months without that day are passed over
  std::optional<std::string> date = {};         ///< of `once`: "YYYY-MM-DD"

  /// The first run later than `after`, or nothing.
  std::optional<platform::Date> nextRunDate(platform::Date after,
                                            const platform::locale::Calendar& calendar) const;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("recurrence", &PlaybookSchedule::recurrence),
                     field("time", &PlaybookSchedule::time), field("dayOfWeek", &PlaybookSchedule::dayOfWeek),
                     field("dayOfMonth", &PlaybookSchedule::dayOfMonth),
                     field("date", &PlaybookSchedule::date));
  }
  bool operator==(const PlaybookSchedule&) const = default;
};

/// The objects that a server should have and those that it shouldn't, as an administrator declares them. Its
/// fields are the keys of its YAML document, in the order in which they are written.
struct Playbook {
  std::string name;
  std::optional<std::string> description = {};
  std::optional<PlaybookSchedule> schedule = {};  ///< nothing: it is run by hand alone
  std::vector<PlaybookResource> resources = {};

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("name", &Playbook::name), field("description", &Playbook::description),
                     field("schedule", &Playbook::schedule), field("resources", &Playbook::resources));
  }
  bool operator==(const Playbook&) const = default;
};

}  // namespace jamf
