#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "JamfCore/Models/ClassicRecords.h"
#include "JamfCore/Models/Scope.h"
#include "JamfCore/Networking/FlexibleArray.h"
#include "Platform/JSON/Codable.h"

namespace jamf {

/// A policy as its list shows it.
struct PolicySummary {
  std::int64_t id = 0;
  std::string name;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("id", &PolicySummary::id), field("name", &PolicySummary::name));
  }
  bool operator==(const PolicySummary&) const = default;
};

/// When a policy runs, and how often.
struct PolicyGeneral {
  std::int64_t id = 0;
  std::string name;
  bool enabled = false;
  std::optional<std::string> trigger;
  bool triggerCheckin = false;
  bool triggerEnrollmentComplete = false;
  bool triggerLogin = false;
  bool triggerNetworkStateChanged = false;
  bool triggerStartup = false;
  std::optional<std::string> triggerOther;
  std::string frequency;
  std::optional<NamedReference> category;
  std::optional<NamedReference> site;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("id", &PolicyGeneral::id), field("name", &PolicyGeneral::name),
                     field("enabled", &PolicyGeneral::enabled), field("trigger", &PolicyGeneral::trigger),
                     field("trigger_checkin", &PolicyGeneral::triggerCheckin),
                     field("trigger_enrollment_complete", &PolicyGeneral::triggerEnrollmentComplete),
                     field("trigger_login", &PolicyGeneral::triggerLogin),
                     field("trigger_network_state_changed", &PolicyGeneral::triggerNetworkStateChanged),
                     field("trigger_startup", &PolicyGeneral::triggerStartup),
                     field("trigger_other", &PolicyGeneral::triggerOther),
                     field("frequency", &PolicyGeneral::frequency),
                     field("category", &PolicyGeneral::category), field("site", &PolicyGeneral::site));
  }
  bool operator==(const PolicyGeneral&) const = default;
};

/// Whom a policy reaches.
struct PolicyScope {
  bool allComputers = false;
  FlexibleArray<PolicyScopeTarget> computers;
  FlexibleArray<PolicyScopeTarget> computerGroups;
  FlexibleArray<PolicyScopeTarget> buildings;
  FlexibleArray<PolicyScopeTarget> departments;
  std::optional<ScopeUserGroups> limitToUsers;
  std::optional<ScopeLimitations> limitations;
  std::optional<ScopeExclusions> exclusions;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(
        field("all_computers", &PolicyScope::allComputers), field("computers", &PolicyScope::computers),
        field("computer_groups", &PolicyScope::computerGroups), field("buildings", &PolicyScope::buildings),
        field("departments", &PolicyScope::departments), field("limit_to_users", &PolicyScope::limitToUsers),
        field("limitations", &PolicyScope::limitations), field("exclusions", &PolicyScope::exclusions));
  }
  bool operator==(const PolicyScope&) const = default;
};

/// A package that a policy handles.
struct PolicyPackageReference {
  std::int64_t id = 0;
  std::string name;
  std::optional<std::string> action;  ///< Install, Cache, Install Cached or Uninstall

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("id", &PolicyPackageReference::id), field("name", &PolicyPackageReference::name),
                     field("action", &PolicyPackageReference::action));
  }
  bool operator==(const PolicyPackageReference&) const = default;
};

/// The packages of a policy, which its record keeps in "package_configuration": `{"packages":[...]}`.
struct PolicyPackages {
  FlexibleArray<PolicyPackageReference> packages;

  static constexpr bool mayBeAbsent = true;

  static constexpr auto fields() {
    return fieldList(platform::json::field("packages", &PolicyPackages::packages));
  }
  bool operator==(const PolicyPackages&) const = default;
};

/// A script that a policy runs, with what it hands to it.
struct PolicyScriptReference {
  std::int64_t id = 0;
  std::string name;
  std::optional<std::string> priority;  ///< Before or After
  std::optional<std::string> parameter4;
  std::optional<std::string> parameter5;
  std::optional<std::string> parameter6;
  std::optional<std::string> parameter7;
  std::optional<std::string> parameter8;
  std::optional<std::string> parameter9;
  std::optional<std::string> parameter10;
  std::optional<std::string> parameter11;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("id", &PolicyScriptReference::id), field("name", &PolicyScriptReference::name),
                     field("priority", &PolicyScriptReference::priority),
                     field("parameter4", &PolicyScriptReference::parameter4),
                     field("parameter5", &PolicyScriptReference::parameter5),
                     field("parameter6", &PolicyScriptReference::parameter6),
                     field("parameter7", &PolicyScriptReference::parameter7),
                     field("parameter8", &PolicyScriptReference::parameter8),
                     field("parameter9", &PolicyScriptReference::parameter9),
                     field("parameter10", &PolicyScriptReference::parameter10),
                     field("parameter11", &PolicyScriptReference::parameter11));
  }
  bool operator==(const PolicyScriptReference&) const = default;
};

/// A policy. Servers wrap it: `{"policy":{...}}`.
struct PolicyDetail {
  PolicyGeneral general;
  std::optional<PolicyScope> scope;
  PolicyPackages packages;
  FlexibleArray<PolicyScriptReference> scripts;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("general", &PolicyDetail::general), field("scope", &PolicyDetail::scope),
                     field("package_configuration", &PolicyDetail::packages),
                     field("scripts", &PolicyDetail::scripts));
  }
  bool operator==(const PolicyDetail&) const = default;
};

}  // namespace jamf
