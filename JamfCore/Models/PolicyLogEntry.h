#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Platform/JSON/Codable.h"

namespace jamf {

/// One run of a policy on a computer.
struct PolicyLogEntry {
  std::int64_t policyId = 0;
  std::string policyName;
  std::optional<std::string> username;
  std::optional<std::string> dateCompleted;     ///< for people, in a form of the server's
  std::optional<std::string> dateCompletedUTC;  ///< "2026-07-19T10:03:16.540+0000"
  std::string status;                           ///< Completed, Failed, ...

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(
        field("policy_id", &PolicyLogEntry::policyId), field("policy_name", &PolicyLogEntry::policyName),
        field("username", &PolicyLogEntry::username), field("date_completed", &PolicyLogEntry::dateCompleted),
        field("date_completed_utc", &PolicyLogEntry::dateCompletedUTC),
        field("status", &PolicyLogEntry::status));
  }
  bool operator==(const PolicyLogEntry&) const = default;
};

}  // namespace jamf
