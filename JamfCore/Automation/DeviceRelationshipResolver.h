#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "JamfCore/Automation/RelationRecords.h"
#include "JamfCore/Models/ComputerExtensionAttribute.h"
#include "JamfCore/Models/ComputerGroups.h"
#include "JamfCore/Models/Scope.h"
#include "JamfCore/Networking/APIClient.h"

namespace jamf {

/// An object that its list named and that was gone when its record was asked for.
struct VanishedObject {
  std::string_view kind;  ///< "policy" or "configuration profile"
  std::int64_t id = 0;
  std::string name;

  bool operator==(const VanishedObject&) const = default;
};

/// Who wants to know what happens on the way. Each may be empty.
struct RelationWatcher {
  /// On the calling thread.
  std::function<void(const VanishedObject&)> onVanished = {};
  /// So many of so many records are read; on any thread, also on two at once.
  std::function<void(std::size_t done, std::size_t total)> onRecord = {};
};

/// Answers what servers don't: what is scoped to a group, what a policy brings, which values an attribute
/// has. It reads lists, then records, at most `maxConcurrent` of them at a time, and relates them. It holds
/// nothing that changes; any thread may call, and the bound counts for each call.
///
/// Results keep the order of the server's lists, or of what was given. All calls block and throw `APIError`,
/// or `platform::CancellationError` on a stop. Groups are named by their ids as text.
struct DeviceRelationshipResolver {
  using Watcher = RelationWatcher;

  static constexpr std::size_t maxConcurrent = 8;
  static constexpr std::int64_t pageSize = 200;
  /// More computers than that `distinctValues` doesn't read.
  static constexpr std::int64_t mostDevices = 100'000;

  std::shared_ptr<APIClient> client;

  /// The policies and computer profiles whose scope has the group among its computer groups; neither those
  /// for all computers nor those that exclude it. One that vanishes meanwhile is left out and told to the
  /// watcher; any other record that can't be read fails the call.
  PolicyProfileResult policiesAndProfiles(const std::string& scopedToGroupId,
                                          const std::stop_token& stop = {},
                                          const Watcher& watcher = {}) const;
  /// The same for several groups, a result for each, for the price of one.
  std::vector<PolicyProfileResult> policiesAndProfilesOfEach(const std::vector<std::string>& scopedToGroupIds,
                                                             const std::stop_token& stop = {},
                                                             const Watcher& watcher = {}) const;

  PackageScriptResult packagesAndScripts(std::int64_t forPolicyId, const std::stop_token& stop = {}) const;

  /// The extension attributes that criteria of a smart group name. Criteria on anything else name none.
  std::vector<ComputerExtensionAttribute> extensionAttributes(
      const std::vector<SmartGroupCriterion>& referencedByCriteriaOf, const std::stop_token& stop = {}) const;

  GroupDevicesResult devicesInSmartGroup(const std::string& id, const std::stop_token& stop = {}) const;
  GroupDevicesResult devicesInStaticGroup(const std::string& id, const std::stop_token& stop = {}) const;

  /// Which groups are smart. One that the server doesn't know as a smart group counts as a static one.
  std::vector<ClassifiedGroup> classify(const std::vector<PolicyScopeTarget>& scopeGroups,
                                        const std::stop_token& stop = {}) const;

  /// The values of the extension attribute of exactly that name. A computer with several values stands in the
  /// group of each; an empty text is no value. An attribute that isn't defined has none. At most
  /// `mostDevices` computers are read, which shows in the counts.
  ExtensionAttributeValuesResult distinctValues(const std::string& forExtensionAttributeName,
                                                const std::stop_token& stop = {},
                                                const Watcher& watcher = {}) const;
};

}  // namespace jamf
