#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "JamfCore/Models/ClassicRecords.h"
#include "JamfCore/Models/Scope.h"
#include "JamfCore/Networking/FlexibleArray.h"
#include "Platform/JSON/Codable.h"

namespace jamf {

/// A macOS configuration profile as its list shows it.
struct ConfigurationProfileSummary {
  std::int64_t id = 0;
  std::string name;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("id", &ConfigurationProfileSummary::id),
                     field("name", &ConfigurationProfileSummary::name));
  }
  bool operator==(const ConfigurationProfileSummary&) const = default;
};

struct ConfigurationProfileGeneral {
  std::int64_t id = 0;
  std::string name;
  std::optional<std::string> description;
  std::optional<NamedReference> site;
  std::optional<NamedReference> category;
  std::optional<std::string> distributionMethod;
  std::optional<bool> userRemovable;
  std::optional<std::string> level;
  std::optional<std::string> uuid;
  std::optional<std::string> redeployOnUpdate;
  std::optional<std::string> payloads;  ///< a whole property list, as one text

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("id", &ConfigurationProfileGeneral::id),
                     field("name", &ConfigurationProfileGeneral::name),
                     field("description", &ConfigurationProfileGeneral::description),
                     field("site", &ConfigurationProfileGeneral::site),
                     field("category", &ConfigurationProfileGeneral::category),
                     field("distribution_method", &ConfigurationProfileGeneral::distributionMethod),
                     field("user_removable", &ConfigurationProfileGeneral::userRemovable),
                     field("level", &ConfigurationProfileGeneral::level),
                     field("uuid", &ConfigurationProfileGeneral::uuid),
                     field("redeploy_on_update", &ConfigurationProfileGeneral::redeployOnUpdate),
                     field("payloads", &ConfigurationProfileGeneral::payloads));
  }
  bool operator==(const ConfigurationProfileGeneral&) const = default;
};

/// Whom a profile reaches.
struct ConfigurationProfileScope {
  bool allComputers = false;
  FlexibleArray<PolicyScopeTarget> computers;
  FlexibleArray<PolicyScopeTarget> computerGroups;
  FlexibleArray<PolicyScopeTarget> buildings;
  FlexibleArray<PolicyScopeTarget> departments;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("all_computers", &ConfigurationProfileScope::allComputers),
                     field("computers", &ConfigurationProfileScope::computers),
                     field("computer_groups", &ConfigurationProfileScope::computerGroups),
                     field("buildings", &ConfigurationProfileScope::buildings),
                     field("departments", &ConfigurationProfileScope::departments));
  }
  bool operator==(const ConfigurationProfileScope&) const = default;
};

/// A profile. Servers wrap it: `{"os_x_configuration_profile":{...}}`.
struct ConfigurationProfileDetail {
  ConfigurationProfileGeneral general;
  std::optional<ConfigurationProfileScope> scope;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("general", &ConfigurationProfileDetail::general),
                     field("scope", &ConfigurationProfileDetail::scope));
  }
  bool operator==(const ConfigurationProfileDetail&) const = default;
};

}  // namespace jamf
