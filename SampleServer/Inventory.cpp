#include "SampleServer/Inventory.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "SampleServer/ClassicBody.h"
#include "SampleServer/Draw.h"
#include "SampleServer/ListQuery.h"
#include "SampleServer/ProBody.h"
#include "SampleServer/WrittenRecord.h"

namespace sample {
namespace {

using platform::json::Value;

/// What a section is called in a query, and the key that it stands under.
struct InventorySection {
  std::string_view name;
  std::string_view key;
};
constexpr InventorySection inventorySections[] = {
    {"GENERAL", "general"},
    {"DISK_ENCRYPTION", "diskEncryption"},
    {"PURCHASING", "purchasing"},
    {"APPLICATIONS", "applications"},
    {"STORAGE", "storage"},
    {"USER_AND_LOCATION", "userAndLocation"},
    {"CONFIGURATION_PROFILES", "configurationProfiles"},
    {"PRINTERS", "printers"},
    {"SERVICES", "services"},
    {"HARDWARE", "hardware"},
    {"LOCAL_USER_ACCOUNTS", "localUserAccounts"},
    {"CERTIFICATES", "certificates"},
    {"ATTACHMENTS", "attachments"},
    {"PLUGINS", "plugins"},
    {"PACKAGE_RECEIPTS", "packageReceipts"},
    {"FONTS", "fonts"},
    {"SECURITY", "security"},
    {"OPERATING_SYSTEM", "operatingSystem"},
    {"LICENSED_SOFTWARE", "licensedSoftware"},
    {"IBEACONS", "ibeacons"},
    {"SOFTWARE_UPDATES", "softwareUpdates"},
    {"EXTENSION_ATTRIBUTES", "extensionAttributes"},
    {"CONTENT_CACHING", "contentCaching"},
    {"GROUP_MEMBERSHIPS", "groupMemberships"},
};

constexpr std::string_view sortFields[] = {
    "id",
    "udid",
    "general.name",
    "general.assetTag",
    "general.jamfBinaryVersion",
    "general.lastContactTime",
    "general.lastEnrolledDate",
    "general.lastCloudBackupDate",
    "general.reportDate",
    "general.platform",
    "hardware.make",
    "hardware.model",
    "operatingSystem.name",
    "operatingSystem.version",
    "operatingSystem.build",
    "userAndLocation.realname",
    "purchasing.lifeExpectancy",
    "purchasing.warrantyDate",
};
constexpr std::string_view filterFields[] = {
    "id",
    "udid",
    "general.name",
    "general.assetTag",
    "general.jamfBinaryVersion",
    "general.lastContactTime",
    "general.lastEnrolledDate",
    "general.lastCloudBackupDate",
    "general.reportDate",
    "general.platform",
    "general.barcode1",
    "general.barcode2",
    "general.lastIpAddress",
    "general.managementId",
    "general.supervised",
    "general.remoteManagement.managed",
    "general.userApprovedMdm",
    "hardware.make",
    "hardware.model",
    "hardware.serialNumber",
    "hardware.modelIdentifier",
    "hardware.macAddress",
    "hardware.appleSilicon",
    "operatingSystem.name",
    "operatingSystem.version",
    "operatingSystem.build",
    "operatingSystem.fileVault2Status",
    "operatingSystem.activeDirectoryStatus",
    "userAndLocation.realname",
    "userAndLocation.username",
    "userAndLocation.email",
    "userAndLocation.room",
    "userAndLocation.buildingId",
    "userAndLocation.departmentId",
    "security.firewallEnabled",
    "security.recoveryLockEnabled",
    "security.activationLockEnabled",
    "purchasing.lifeExpectancy",
    "purchasing.warrantyDate",
    "purchasing.poNumber",
    "purchasing.vendor",
};

}  // namespace

Inventory::Inventory(Fleet& fleet, const Dialect& dialect)
    : fleet_(fleet), dialect_(dialect), computers_(*sectionNumber("computers")) {}

std::vector<Route> Inventory::routes() {
  using Handler = std::optional<Answer> (Inventory::*)(const Call&);
  std::vector<Route> made;
  const auto add = [&](std::string_view pattern, Handler handler) {
    made.push_back({pattern, "computers", [this, handler](const Call& call) {
                      if (call.segments[1] == "v4" && !dialect_.inventoryV4) refuse(call, 404);
                      return (this->*handler)(call);
                    }});
  };
  for (const char* list : {"api/v1/computers-inventory", "api/v2/computers-inventory",
                           "api/v3/computers-inventory", "api/v4/computers-inventory"})
    add(list, &Inventory::serveList);
  for (const char* one : {"api/v1/computers-inventory/*", "api/v2/computers-inventory/*",
                          "api/v3/computers-inventory/*", "api/v4/computers-inventory/*"})
    add(one, &Inventory::serveComputer);
  for (const char* detail : {"api/v1/computers-inventory-detail/*", "api/v2/computers-inventory-detail/*",
                             "api/v3/computers-inventory-detail/*", "api/v4/computers-inventory-detail/*"})
    add(detail, &Inventory::serveDetail);
  add("JSSResource/computerhistory/id/*/subset/*", &Inventory::servePolicyLogs);
  return made;
}

std::vector<std::string> Inventory::sectionsOf(const Request& request) {
  std::vector<std::string> keys;
  for (const std::string& name : request.queryItems("section")) {
    const auto found = std::ranges::find(inventorySections, name, &InventorySection::name);
    if (found == std::end(inventorySections))
      refuseField(fmt::format("'{}' is no section", name.substr(0, 40)), "section");
    keys.emplace_back(found->key);
  }
  return keys;
}

void Inventory::show(Value& computer, const std::vector<std::string>& sections) const {
  for (auto& [key, member] : *computer.object_()) {
    const bool isSection = key != "id" && key != "udid";
    if (isSection && !sections.empty() && std::ranges::find(sections, key) == sections.end())
      member = Value();
    if (dialect_.attributesNamedValues && key == "extensionAttributes") key = "extensionAttributeValues";
  }
}

std::optional<Answer> Inventory::serveList(const Call& call) {
  if (!call.is("GET")) refuse(call, 405);
  std::vector<std::string> sections = sectionsOf(call.request);
  if (sections.empty()) sections = {"general"};
  const ListQuery query(call.request, {filterFields, sortFields});
  // The fleet's own list has this one section.
  if (query.isPlain() && sections == std::vector<std::string>{"general"} && !dialect_.attributesNamedValues)
    return std::nullopt;
  return query.answer(
      fleet_.ids(computers_), [&](const std::string& id) { return fleet_.recordValue(computers_, id); },
      [&](Value& computer) { show(computer, sections); });
}

std::optional<Answer> Inventory::serveComputer(const Call& call) {
  if (call.is("DELETE")) {
    if (!fleet_.remove(computers_, call.last())) refuse(call, 404);
    return noContent();
  }
  if (!call.is("GET")) refuse(call, 405);
  const std::vector<std::string> sections = sectionsOf(call.request);
  if (sections.empty() && !dialect_.attributesNamedValues) return std::nullopt;
  auto computer = fleet_.recordValue(computers_, call.last());
  if (!computer) refuse(call, 404);
  show(*computer, sections);
  return proAnswer(computer->text());
}

std::optional<Answer> Inventory::serveDetail(const Call& call) {
  const std::string& id = call.last();
  if (call.is("GET") && !dialect_.attributesNamedValues) return std::nullopt;
  auto computer = fleet_.recordValue(computers_, id);
  if (!computer) refuse(call, 404);
  if (call.is("PATCH")) {
    const Value body = readObject(call.request);
    const Value* general = body.find("general");
    if (general && !general->object_()) refuseField("The value of 'general' has the wrong type", "general");
    const auto text = [&](std::string_view key) {
      const Value* member = general ? readMember(*general, key, MemberType::text) : nullptr;
      return member ? std::optional(*member->string()) : std::nullopt;
    };
    if (text("name") == "") refuseField("The name is empty", "name");
    fleet_.describeDevice(computers_, id, text("name"), text("assetTag"));
    if (!dialect_.patchGivesRecord) return noContent();
    computer = fleet_.recordValue(computers_, id);
  } else if (!call.is("GET")) {
    refuse(call, 405);
  }
  show(*computer, {});
  return proAnswer(computer->text());
}

std::optional<Answer> Inventory::servePolicyLogs(const Call& call) {
  if (!call.is("GET")) refuse(call, 405);
  requireJSON(call.request);
  const std::string& id = call.segments[3];
  if (!equalIgnoringCase(call.last(), "PolicyLogs") || !fleet_.currentName(computers_, id)) refuse(call, 404);
  return classicAnswer(
      Value::object({{"computer_history", Value::object({{"policy_logs", policyLogs(id)}})}}).text());
}

/// The first computer without any has an object where the others have a list, as an old converter writes it.
Value Inventory::policyLogs(const std::string& id) const {
  if (id == "2") return Value::object();
  Value logs = Value::array();
  const std::size_t policies = *sectionNumber("policies");
  const std::vector<std::string> ids = fleet_.ids(policies);
  Draw draw(mix(fleet_.seed() ^ hashText(id)));
  const std::uint64_t count = id == "3" || ids.empty() ? 0 : draw.between(2, 9);
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::string& policy = ids[draw.below(ids.size())];
    const std::uint64_t day = draw.between(10, 28);
    const std::uint64_t hour = draw.between(1, 12);
    const std::uint64_t minute = draw.below(60);
    const std::int64_t epoch =
        1'782'864'000'000 + static_cast<std::int64_t>(((day - 1) * 24 + hour) * 60 + minute) * 60'000;
    logs.append(Value::object(
        {{"policy_id", std::stoll(policy)},
         {"policy_name", fleet_.currentName(policies, policy).value_or("")},
         {"username", draw.chance(20) ? "" : loginName(fleet_.seed(), draw.below(30))},
         {"date_completed", fmt::format("2026/07/{} at {}:{:02} AM", day, hour, minute)},
         {"date_completed_epoch", epoch},
         {"date_completed_utc", fmt::format("2026-07-{}T{:02}:{:02}:00.000+0000", day, hour, minute)},
         {"status", draw.chance(15) ? "Failed" : "Completed"}}));
  }
  return logs;
}

}  // namespace sample
