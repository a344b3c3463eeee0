#include "orvik/Relations/RelationCommands.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <optional>

#include "JamfCore/Services/ComputerExtensionAttributeService.h"
#include "JamfCore/Services/DeviceService.h"
#include "JamfCore/Services/IfFound.h"
#include "JamfCore/Services/OrCancelled.h"
#include "JamfCore/Services/SmartGroupService.h"
#include "JamfCore/Services/StaticGroupService.h"
#include "orvik/Orgs/Organizations.h"
#include "orvik/Output/NearNames.h"
#include "orvik/Output/Report.h"
#include "orvik/Relations/RelationGraph.h"
#include "orvik/Relations/RelationText.h"

namespace orvik::host {

namespace {

using jamf::ClassifiedGroup;
using jamf::ifFound;
using jamf::orCancelled;

/// The server of a command, and how it tells what it finds.
class RelationServer {
 public:
  RelationServer(const RelationsArguments& arguments, const HostPlaces& places, Results& results,
                 const std::stop_token& stop)
      : report_(arguments, results),
        stop_(stop),
        chosen_(chosenOrganization(arguments, places)),
        arguments_(arguments),
        view_(report_.view(Verbosity::brief)) {}

  jamf::DeviceRelationshipResolver resolver() const { return {chosen_.client}; }
  template <class Service>
  Service service() const {
    return {chosen_.client};
  }
  ProgressView& view() { return *view_; }
  const std::stop_token& stop() const { return stop_; }

  /// `names` are some that the server has.
  [[noreturn]] void failUnknown(std::string_view kind, const std::vector<std::string>& names = {}) const {
    throw NotFoundError(fmt::format("{} has no {} {}{}.", chosen_.record.name, kind, arguments_.name,
                                    nearIt(arguments_.name, names)));
  }

  ExitStatus print(const Relations& relations) {
    view_.reset();
    if (!arguments_.dot) {
      relationText::print(relations, report_);
      report_.finished(relationText::summary(relations), relationText::counts(relations));
      return ExitStatus::done;
    }
    for (const auto& each : relations.vanished)
      report_.note(fmt::format("The {} {} (#{}) vanished while it was read.", each.kind, each.name, each.id));
    report_.text(relationGraph::drawing(relations));
    return ExitStatus::done;
  }

  /// What a reader of the values must know.
  void tellLimits(const jamf::ExtensionAttributeValuesResult& values) const {
    if (values.devicesScanned < values.totalDevices)
      report_.note(
          fmt::format("Only {} of {} computers were read.", values.devicesScanned, values.totalDevices));
  }
  ExitStatus print(const jamf::ExtensionAttributeValuesResult& values) {
    view_.reset();
    tellLimits(values);
    if (arguments_.dot) {
      report_.text(relationGraph::drawing(arguments_.name, values));
      return ExitStatus::done;
    }
    relationText::print(values, report_);
    report_.finished(relationText::summary(values),
                     platform::json::Value::object({{"attribute", arguments_.name},
                                                    {"values", values.groups.size()},
                                                    {"devicesScanned", values.devicesScanned},
                                                    {"totalDevices", values.totalDevices}}));
    return ExitStatus::done;
  }

 private:
  const Report report_;
  const std::stop_token stop_;
  const ChosenOrganization chosen_;
  const RelationsArguments& arguments_;
  std::unique_ptr<ProgressView> view_;
};

bool isNumber(std::string_view text) {
  return !text.empty() && text.size() <= 18 && text.find_first_not_of("0123456789") == text.npos;
}

/// The groups of a kind that have exactly that name.
template <class Service>
void addNamed(const Service& service, const std::string& name, bool isSmart,
              std::vector<ClassifiedGroup>& found, const std::stop_token& stop) {
  for (const auto& each : service.list({.filter = jamf::exactFilter("name", name)}, stop).results)
    if (each.name == name) found.push_back({each.id, each.name, isSmart});
}

template <class Service>
void addWithID(const Service& service, const std::string& id, bool isSmart,
               std::vector<ClassifiedGroup>& found, const std::stop_token& stop) {
  if (const auto group = ifFound([&] { return service.get(id, stop); }))
    found.push_back({id, group->name, isSmart});
}

/// The group of exactly that name, or else with that ID.
ClassifiedGroup groupNamed(const RelationServer& server, const std::string& name) {
  const auto smart = server.service<jamf::SmartGroupService>();
  const auto fixed = server.service<jamf::StaticGroupService>();
  std::vector<ClassifiedGroup> found;
  addNamed(smart, name, true, found, server.stop());
  addNamed(fixed, name, false, found, server.stop());
  if (found.empty() && isNumber(name)) {
    addWithID(smart, name, true, found, server.stop());
    if (found.empty()) addWithID(fixed, name, false, found, server.stop());
  }
  if (found.empty()) server.failUnknown("group");
  if (found.size() > 1) {
    std::vector<std::string_view> ids;
    for (const auto& each : found) ids.emplace_back(each.id);
    throw UsageError(fmt::format("{} groups are called {}; name one by its ID: {}.", found.size(), name,
                                 fmt::join(ids, ", ")));
  }
  return found.front();
}

/// Members, and the attributes that its criteria name; a group that is gone by now has neither.
void addMembers(const RelationServer& server, const ClassifiedGroup& group, Relations& relations) {
  const auto resolver = server.resolver();
  const auto members = ifFound([&] {
    return group.isSmart ? resolver.devicesInSmartGroup(group.id, server.stop())
                         : resolver.devicesInStaticGroup(group.id, server.stop());
  });
  const auto detail =
      group.isSmart && members
          ? ifFound([&] { return server.service<jamf::SmartGroupService>().get(group.id, server.stop()); })
          : std::nullopt;
  if (members) relations.devices = members->devices;
  if (detail) relations.attributes = resolver.extensionAttributes(detail->criteria, server.stop());
  if (!members || (group.isSmart && !detail)) relations.vanished.push_back({"group", group.id, group.name});
}

jamf::Device deviceNamed(const RelationServer& server, const std::string& name) {
  const auto devices = server.service<jamf::DeviceService>();
  const jamf::DeviceService::Sections sections{jamf::DeviceSection::general,
                                               jamf::DeviceSection::groupMemberships};
  if (isNumber(name))
    if (auto device = ifFound([&] { return devices.get(name, sections, server.stop()); })) return *device;
  const auto found = devices.search(name, server.stop());
  if (found.empty()) server.failUnknown("computer with the ID or serial number");
  if (found.size() > 1)
    throw UsageError(
        fmt::format("{} computers have the serial number {}; name one by its ID.", found.size(), name));
  return devices.get(found.front().id, sections, server.stop());
}

/// The groups of a computer's record, as the resolver takes them.
std::vector<jamf::PolicyScopeTarget> membershipsOf(const jamf::Device& device) {
  std::vector<jamf::PolicyScopeTarget> groups;
  if (!device.groupMemberships) return groups;
  for (const auto& each : *device.groupMemberships)
    if (each.groupId && isNumber(*each.groupId))
      groups.push_back({std::stoll(*each.groupId), each.groupName.value_or(""), {}});
  return groups;
}

}  // namespace

ExitStatus relateGroup(const GroupRelationsArguments& arguments, const HostPlaces& places, Results& results,
                       const std::stop_token& stop) {
  RelationServer server(arguments, places, results, stop);
  server.view().step("Looking for the group");
  Relations relations;
  orCancelled(stop, [&] {
    relations.groups = {groupNamed(server, arguments.name)};
    addMembers(server, relations.groups.front(), relations);
  });
  relations.addTargets(server.resolver(), server.view(), stop);
  return server.print(relations);
}

ExitStatus relateDevice(const DeviceRelationsArguments& arguments, const HostPlaces& places, Results& results,
                        const std::stop_token& stop) {
  RelationServer server(arguments, places, results, stop);
  server.view().step("Looking for the computer");
  const auto device = orCancelled(stop, [&] { return deviceNamed(server, arguments.name); });
  Relations relations;
  relations.devices = {{device.id, device.general ? device.general->name.value_or("") : ""}};
  relations.groups = server.resolver().classify(membershipsOf(device), stop);
  relations.addTargets(server.resolver(), server.view(), stop);
  return server.print(relations);
}

ExitStatus relateAttribute(const AttributeRelationsArguments& arguments, const HostPlaces& places,
                           Results& results, const std::stop_token& stop) {
  RelationServer server(arguments, places, results, stop);
  server.view().step("Looking for the extension attribute");
  const auto attributes = server.service<jamf::ComputerExtensionAttributeService>();
  const auto defined = orCancelled(stop, [&] { return attributes.search(arguments.name, stop); });
  if (std::ranges::find(defined, arguments.name, &jamf::ComputerExtensionAttribute::name) == defined.end()) {
    std::vector<std::string> names;
    for (auto& each : orCancelled(stop, [&] { return attributes.list({}, stop).results; }))
      names.push_back(std::move(each.name));
    server.failUnknown("computer extension attribute", names);
  }
  server.view().step("Reading computers");
  const auto values = server.resolver().distinctValues(
      arguments.name, stop,
      {.onRecord = [&](std::size_t done, std::size_t total) { server.view().progress(done, total); }});
  return server.print(values);
}

}  // namespace orvik::host
