#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "JamfCore/Models/ConfigurationProfile.h"
#include "JamfCore/Models/Policy.h"
#include "JamfCore/Networking/GroupMemberDevice.h"

namespace jamf {

/// What is scoped to a group.
struct PolicyProfileResult {
  std::vector<PolicySummary> policies;
  std::vector<ConfigurationProfileSummary> profiles;

  bool operator==(const PolicyProfileResult&) const = default;
};

/// What a policy installs and runs.
struct PackageScriptResult {
  std::vector<PolicyPackageReference> packages;
  std::vector<PolicyScriptReference> scripts;

  bool operator==(const PackageScriptResult&) const = default;
};

/// The members of a group.
struct GroupDevicesResult {
  std::vector<GroupMemberDevice> devices;
  std::int64_t totalCount = 0;

  bool operator==(const GroupDevicesResult&) const = default;
};

/// A group of a scope, with its kind.
struct ClassifiedGroup {
  std::string id;
  std::string name;
  bool isSmart = false;

  bool operator==(const ClassifiedGroup&) const = default;
};

/// The computers on which an extension attribute has one value.
struct ExtensionAttributeValueGroup {
  std::string value;
  std::vector<GroupMemberDevice> devices;

  bool operator==(const ExtensionAttributeValueGroup&) const = default;
};

/// The values that an extension attribute has in a fleet, ascending as bytes. Computers without a value are
/// counted and stand in no group.
struct ExtensionAttributeValuesResult {
  std::vector<ExtensionAttributeValueGroup> groups;
  std::int64_t devicesScanned = 0;
  std::int64_t totalDevices = 0;  ///< that the server has

  bool operator==(const ExtensionAttributeValuesResult&) const = default;
};

}  // namespace jamf
