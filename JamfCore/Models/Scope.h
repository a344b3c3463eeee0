#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "JamfCore/Networking/FlexibleArray.h"
#include "Platform/JSON/Codable.h"

namespace jamf {

/// Somebody or something that a scope names. Computers have a UDID too.
struct PolicyScopeTarget {
  std::int64_t id = 0;
  std::string name;
  std::optional<std::string> udid;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("id", &PolicyScopeTarget::id), field("name", &PolicyScopeTarget::name),
                     field("udid", &PolicyScopeTarget::udid));
  }
  bool operator==(const PolicyScopeTarget&) const = default;
};

/// A user, a group of a directory or a place that a scope is limited to or excludes. The server may not know
/// an id of its own for it.
struct ScopeLimitation {
  std::optional<std::int64_t> id;
  std::string name;

  void encode(platform::json::Writer& writer) const;
  /// An id that is a text of digits is read as a number; any other is none.
  static ScopeLimitation decode(platform::json::View view);
  bool operator==(const ScopeLimitation&) const = default;
};

struct ScopeUserGroups {
  FlexibleArray<ScopeLimitation> userGroups;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("user_groups", &ScopeUserGroups::userGroups));
  }
  bool operator==(const ScopeUserGroups&) const = default;
};

/// Whom a scope is limited to.
struct ScopeLimitations {
  FlexibleArray<ScopeLimitation> users;
  FlexibleArray<ScopeLimitation> userGroups;
  FlexibleArray<ScopeLimitation> networkSegments;
  FlexibleArray<ScopeLimitation> ibeacons;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("users", &ScopeLimitations::users),
                     field("user_groups", &ScopeLimitations::userGroups),
                     field("network_segments", &ScopeLimitations::networkSegments),
                     field("ibeacons", &ScopeLimitations::ibeacons));
  }
  bool operator==(const ScopeLimitations&) const = default;
};

/// Whom a scope leaves out.
struct ScopeExclusions {
  FlexibleArray<PolicyScopeTarget> computers;
  FlexibleArray<PolicyScopeTarget> computerGroups;
  FlexibleArray<PolicyScopeTarget> buildings;
  FlexibleArray<PolicyScopeTarget> departments;
  FlexibleArray<ScopeLimitation> users;
  FlexibleArray<ScopeLimitation> userGroups;
  FlexibleArray<ScopeLimitation> networkSegments;
  FlexibleArray<ScopeLimitation> ibeacons;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(
        field("computers", &ScopeExclusions::computers),
        field("computer_groups", &ScopeExclusions::computerGroups),
        field("buildings", &ScopeExclusions::buildings), field("departments", &ScopeExclusions::departments),
        field("users", &ScopeExclusions::users), field("user_groups", &ScopeExclusions::userGroups),
        field("network_segments", &ScopeExclusions::networkSegments),
        field("ibeacons", &ScopeExclusions::ibeacons));
  }
  bool operator==(const ScopeExclusions&) const = default;
};

}  // namespace jamf
