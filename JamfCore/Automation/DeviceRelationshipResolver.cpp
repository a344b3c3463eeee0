#include "JamfCore/Automation/DeviceRelationshipResolver.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <optional>
#include <set>

#include "JamfCore/Automation/MapConcurrently.h"
#include "JamfCore/Services/ComputerExtensionAttributeService.h"
#include "JamfCore/Services/ConfigurationProfileService.h"
#include "JamfCore/Services/DeviceService.h"
#include "JamfCore/Services/EachPage.h"
#include "JamfCore/Services/IfFound.h"
#include "JamfCore/Services/OrCancelled.h"
#include "JamfCore/Services/PolicyService.h"
#include "JamfCore/Services/SmartGroupService.h"

namespace jamf {

namespace {

using Watcher = DeviceRelationshipResolver::Watcher;

/// Places in a list of groups.
using Places = std::vector<std::size_t>;

template <class Scope>
Places targetsOf(const std::optional<Scope>& scope, const std::vector<std::string>& groupIDs) {
  Places places;
  if (!scope || scope->computerGroups.empty()) return places;
  std::set<std::string> named;
  for (const auto& target : scope->computerGroups) named.insert(std::to_string(target.id));
  for (std::size_t place = 0; place < groupIDs.size(); ++place)
    if (named.contains(groupIDs[place])) places.push_back(place);
  return places;
}

/// Reads every object of a kind and adds it to the results of the groups that its scope names.
template <class Service, class Summary>
void relate(const Service& service, std::string_view kind, const std::vector<std::string>& groupIDs,
            std::vector<Summary> PolicyProfileResult::*list, std::vector<PolicyProfileResult>& results,
            const std::stop_token& stop, const Watcher& watcher) {
  const std::vector<Summary> all = service.list(stop);
  std::atomic<std::size_t> done = 0;
  const auto read = [&](const Summary& summary, const std::stop_token& groupStop) {
    auto places = ifFound([&] { return targetsOf(service.get(summary.id, groupStop).scope, groupIDs); });
    if (watcher.onRecord) watcher.onRecord(++done, all.size());
    return places;
  };
  const auto targets = mapConcurrently(all, DeviceRelationshipResolver::maxConcurrent, read, stop);
  for (std::size_t index = 0; index < all.size(); ++index) {
    if (!targets[index] && watcher.onVanished) watcher.onVanished({kind, all[index].id, all[index].name});
    for (const auto place : targets[index].value_or(Places())) (results[place].*list).push_back(all[index]);
  }
}

GroupDevicesResult membersOf(APIClient& client, const std::string& groupID, const std::stop_token& stop) {
  return orCancelled(stop, [&] {
    GroupDevicesResult result{client.classicGroupMembers(groupID, stop), 0};
    result.totalCount = static_cast<std::int64_t>(result.devices.size());
    return result;
  });
}

/// The section in which the inventory shows an attribute, where that is none of `sections` yet.
void addSectionOf(const ComputerExtensionAttribute& attribute, DeviceService::Sections& sections) {
  using platform::json::textOf;
  for (const auto section : {DeviceSection::hardware, DeviceSection::operatingSystem,
                             DeviceSection::userAndLocation, DeviceSection::purchasing})
    if (textOf(section) == attribute.inventoryDisplayType) sections.push_back(section);
}

/// Gathers the values of one attribute from computers.
class ValueGroups {
 public:
  explicit ValueGroups(const std::string& name) : name_(name) {}

  void add(const Device& device) {
    std::set<std::string> values;
    const auto look = [&](const auto& attributes) {
      if (!attributes) return;
      for (const auto& each : *attributes)
        if (each.name && *each.name == name_ && each.values)
          values.insert(each.values->begin(), each.values->end());
    };
    look(device.extensionAttributeValues);
    if (device.general) look(device.general->extensionAttributes);
    if (device.hardware) look(device.hardware->extensionAttributes);
    if (device.operatingSystem) look(device.operatingSystem->extensionAttributes);
    if (device.userAndLocation) look(device.userAndLocation->extensionAttributes);
    if (device.purchasing) look(device.purchasing->extensionAttributes);
    values.erase("");
    const auto name = device.general ? device.general->name.value_or("") : std::string();
    for (const auto& value : values) groups_[value].push_back({device.id, name});
  }

  std::vector<ExtensionAttributeValueGroup> sorted() && {
    std::vector<ExtensionAttributeValueGroup> groups;
    for (auto& [value, devices] : groups_) groups.push_back({value, std::move(devices)});
    return groups;
  }

 private:
  const std::string& name_;
  std::map<std::string, std::vector<GroupMemberDevice>> groups_;
};

}  // namespace

PolicyProfileResult DeviceRelationshipResolver::policiesAndProfiles(const std::string& scopedToGroupId,
                                                                    const std::stop_token& stop,
                                                                    const Watcher& watcher) const {
  return policiesAndProfilesOfEach({scopedToGroupId}, stop, watcher).front();
}

std::vector<PolicyProfileResult> DeviceRelationshipResolver::policiesAndProfilesOfEach(
    const std::vector<std::string>& scopedToGroupIds, const std::stop_token& stop,
    const Watcher& watcher) const {
  return orCancelled(stop, [&] {
    std::vector<PolicyProfileResult> results(scopedToGroupIds.size());
    if (results.empty()) return results;
    relate(PolicyService{client}, "policy", scopedToGroupIds, &PolicyProfileResult::policies, results, stop,
           watcher);
    relate(ConfigurationProfileService{client}, "configuration profile", scopedToGroupIds,
           &PolicyProfileResult::profiles, results, stop, watcher);
    return results;
  });
}

PackageScriptResult DeviceRelationshipResolver::packagesAndScripts(std::int64_t forPolicyId,
                                                                   const std::stop_token& stop) const {
  return orCancelled(stop, [&]() -> PackageScriptResult {
    auto policy = PolicyService{client}.get(forPolicyId, stop);
    return {std::move(policy.packages.packages.elements), std::move(policy.scripts.elements)};
  });
}

std::vector<ComputerExtensionAttribute> DeviceRelationshipResolver::extensionAttributes(
    const std::vector<SmartGroupCriterion>& referencedByCriteriaOf, const std::stop_token& stop) const {
  return orCancelled(stop, [&] {
    auto attributes = allPages(pageSize, [&](const ListRequest& request) {
      return ComputerExtensionAttributeService{client}.list(request, stop);
    });
    std::set<std::string> named;
    for (const auto& criterion : referencedByCriteriaOf) named.insert(criterion.name);
    std::erase_if(attributes, [&](const auto& attribute) { return !named.contains(attribute.name); });
    return attributes;
  });
}

GroupDevicesResult DeviceRelationshipResolver::devicesInSmartGroup(const std::string& id,
                                                                   const std::stop_token& stop) const {
  return membersOf(*client, id, stop);
}

GroupDevicesResult DeviceRelationshipResolver::devicesInStaticGroup(const std::string& id,
                                                                    const std::stop_token& stop) const {
  return membersOf(*client, id, stop);
}

std::vector<ClassifiedGroup> DeviceRelationshipResolver::classify(
    const std::vector<PolicyScopeTarget>& scopeGroups, const std::stop_token& stop) const {
  const auto kindOf = [&](const PolicyScopeTarget& group, const std::stop_token& groupStop) {
    ClassifiedGroup result{std::to_string(group.id), group.name, false};
    result.isSmart = ifFound([&] { return SmartGroupService{client}.get(result.id, groupStop); }).has_value();
    return result;
  };
  return mapConcurrently(scopeGroups, maxConcurrent, kindOf, stop);
}

ExtensionAttributeValuesResult DeviceRelationshipResolver::distinctValues(
    const std::string& forExtensionAttributeName, const std::stop_token& stop, const Watcher& watcher) const {
  return orCancelled(stop, [&] {
    // Without its general section a computer has no name.
    DeviceService::Sections sections{DeviceSection::general, DeviceSection::extensionAttributes};
    for (const auto& each : ComputerExtensionAttributeService{client}.search(forExtensionAttributeName, stop))
      if (each.name == forExtensionAttributeName) addSectionOf(each, sections);

    ExtensionAttributeValuesResult result;
    ValueGroups groups(forExtensionAttributeName);
    const auto list = [&](const ListRequest& request) {
      return DeviceService{client}.list(request, sections, stop);
    };
    eachPage(pageSize, list, [&](const DevicePage& page) {
      for (const auto& device : page.results) groups.add(device);
      result.devicesScanned += static_cast<std::int64_t>(page.results.size());
      result.totalDevices = page.totalCount;
      if (watcher.onRecord)
        watcher.onRecord(static_cast<std::size_t>(result.devicesScanned),
                         static_cast<std::size_t>(std::max(result.devicesScanned, page.totalCount)));
      return result.devicesScanned < mostDevices;
    });
    result.groups = std::move(groups).sorted();
    return result;
  });
}

}  // namespace jamf
