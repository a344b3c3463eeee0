#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Jamf/SectionCatalog.h"
#include "Platform/JSON/Value.h"
#include "tests/OrvikCore/Explore/Describing.h"

// Every path of every section's table, on records that are made of that path.

namespace orvik {
namespace {

namespace json = platform::json;
using test::described;
using Lines = std::vector<std::string>;

struct FactRow {
  std::string_view label;
  std::vector<std::string_view> paths;
};
struct ListRow {
  std::string_view title;
  std::string_view path;
  std::vector<std::string_view> fields;
};
struct TextRow {
  std::string_view title;
  std::string_view path;
};
struct Table {
  std::vector<std::string_view> sections;
  std::vector<FactRow> facts;
  std::vector<ListRow> lists;
  std::vector<TextRow> texts;
};

const std::vector<ListRow> scope{
    {"Scope: computers", "scope.computers", {"name"}},
    {"Scope: computer groups", "scope.computer_groups", {"name"}},
    {"Scope: mobile devices", "scope.mobile_devices", {"name"}},
    {"Scope: mobile device groups", "scope.mobile_device_groups", {"name"}},
    {"Scope: buildings", "scope.buildings", {"name"}},
    {"Scope: departments", "scope.departments", {"name"}},
    {"Scope: users", "scope.jss_users", {"name"}},
    {"Scope: user groups", "scope.jss_user_groups", {"name"}},
    {"Limited to directory users", "scope.limitations.users", {"name"}},
    {"Limited to directory groups", "scope.limitations.user_groups", {"name"}},
    {"Limited to network segments", "scope.limitations.network_segments", {"name"}},
    {"Excluded computers", "scope.exclusions.computers", {"name"}},
    {"Excluded computer groups", "scope.exclusions.computer_groups", {"name"}},
    {"Excluded mobile devices", "scope.exclusions.mobile_devices", {"name"}},
    {"Excluded mobile device groups", "scope.exclusions.mobile_device_groups", {"name"}},
    {"Excluded buildings", "scope.exclusions.buildings", {"name"}},
    {"Excluded departments", "scope.exclusions.departments", {"name"}},
    {"Excluded users", "scope.exclusions.users", {"name"}},
    {"Excluded user groups", "scope.exclusions.user_groups", {"name"}},
};

std::vector<ListRow> withScope(std::vector<ListRow> lists) {
  lists.insert(lists.end(), scope.begin(), scope.end());
  return lists;
}

const std::vector<Table> tables{
    {{"computers"},
     {{"Serial number", {"hardware.serialNumber", "general.serial_number"}},
      {"Model", {"hardware.model", "hardware.model_identifier"}},
      {"macOS", {"operatingSystem.version", "hardware.os_version"}},
      {"Build", {"operatingSystem.build", "hardware.os_build"}},
      {"User", {"userAndLocation.username", "location.username"}},
      {"Full name", {"userAndLocation.realname", "location.realname"}},
      {"Email", {"userAndLocation.email", "location.email_address"}},
      {"Site", {"general.site.name"}},
      {"Last check-in", {"general.lastContactTime", "general.last_contact_time"}},
      {"Last inventory", {"general.reportDate", "general.report_date"}},
      {"Enrolled", {"general.lastEnrolledDate", "general.last_enrolled_date"}},
      {"Supervised", {"general.supervised"}},
      {"Automated Device Enrollment", {"general.enrolledViaAutomatedDeviceEnrollment"}},
      {"FileVault", {"operatingSystem.fileVault2Status"}},
      {"IP address", {"general.lastIpAddress", "general.ip_address"}},
      {"Management ID", {"general.managementId"}}},
     {{"Groups", "groupMemberships", {"groupName"}},
      {"Configuration profiles", "configurationProfiles", {"displayName"}},
      {"Extension attributes", "extensionAttributes", {"name", "values"}},
      {"Local accounts", "localUserAccounts", {"username", "fullName"}},
      {"Applications", "applications", {"name", "version"}}},
     {}},
    {{"mobileDevices"},
     {{"Serial number", {"hardware.serialNumber", "general.serial_number"}},
      {"Model", {"hardware.model", "general.model"}},
      {"Type", {"deviceType"}},
      {"OS version", {"general.osVersion", "general.os_version"}},
      {"User", {"userAndLocation.username", "location.username"}},
      {"Full name", {"userAndLocation.realName", "location.realname"}},
      {"Email", {"userAndLocation.emailAddress", "location.email_address"}},
      {"Site", {"general.site.name"}},
      {"Last inventory", {"general.lastInventoryUpdateDate", "general.last_inventory_update"}},
      {"Supervised", {"general.supervised"}},
      {"Managed", {"general.managed"}},
      {"Asset tag", {"general.assetTag", "general.asset_tag"}}},
     {{"Groups", "groups", {"groupName", "name"}},
      {"Configuration profiles", "profiles", {"displayName"}},
      {"Extension attributes", "extensionAttributes", {"name", "value"}},
      {"Applications", "applications", {"name", "version"}}},
     {}},
    {{"users"},
     {{"Full name", {"full_name"}},
      {"Email", {"email", "email_address"}},
      {"Phone", {"phone_number"}},
      {"Position", {"position"}},
      {"LDAP server", {"ldap_server.name"}}},
     {{"Computers", "links.computers", {"name"}},
      {"Mobile devices", "links.mobile_devices", {"name"}},
      {"User groups", "user_groups.user_group", {"name"}}},
     {}},
    {{"policies"},
     {{"Enabled", {"general.enabled"}},
      {"Category", {"general.category.name"}},
      {"Site", {"general.site.name"}},
      {"Frequency", {"general.frequency"}},
      {"Custom trigger", {"general.trigger_other"}},
      {"Self Service", {"self_service.use_for_self_service"}},
      {"Self Service name", {"self_service.self_service_display_name"}},
      {"All computers", {"scope.all_computers"}},
      {"Update inventory", {"maintenance.recon"}},
      {"Restart", {"reboot.restart_option"}}},
     withScope({{"Packages", "package_configuration.packages", {"name", "action"}},
                {"Scripts", "scripts", {"name", "priority"}},
                {"Printers", "printers", {"name", "action"}},
                {"Dock items", "dock_items", {"name", "action"}}}),
     {{"Run command", "files_processes.run_command"}}},
    {{"scripts"},
     {{"Category", {"categoryName"}},
      {"Priority", {"priority"}},
      {"OS requirements", {"osRequirements"}},
      {"Info", {"info"}},
      {"Notes", {"notes"}},
      {"Parameter 4", {"parameter4"}},
      {"Parameter 5", {"parameter5"}},
      {"Parameter 6", {"parameter6"}},
      {"Parameter 7", {"parameter7"}},
      {"Parameter 8", {"parameter8"}},
      {"Parameter 9", {"parameter9"}},
      {"Parameter 10", {"parameter10"}},
      {"Parameter 11", {"parameter11"}}},
     {},
     {{"Script", "scriptContents"}}},
    {{"computerExtensionAttributes"},
     {{"Description", {"description"}},
      {"Enabled", {"enabled"}},
      {"Data type", {"dataType"}},
      {"Input type", {"inputType"}},
      {"Inventory display", {"inventoryDisplayType"}},
      {"LDAP attribute", {"ldapAttributeMapping"}}},
     {{"Pop-up choices", "popupMenuChoices", {}}},
     {{"Script", "scriptContents"}}},
    {{"mobileExtensionAttributes", "userExtensionAttributes"},
     {{"Description", {"description"}},
      {"Data type", {"data_type"}},
      {"Inventory display", {"inventory_display"}},
      {"Input type", {"input_type.type"}},
      {"Enabled", {"enabled"}}},
     {{"Pop-up choices", "input_type.popup_choices", {}}},
     {{"Script", "input_type.script"}}},
    {{"computerConfigurationProfiles", "mobileConfigurationProfiles"},
     {{"Description", {"general.description"}},
      {"Category", {"general.category.name"}},
      {"Site", {"general.site.name"}},
      {"Level", {"general.level"}},
      {"Distribution", {"general.distribution_method", "general.deployment_method"}},
      {"Removable by user", {"general.user_removable"}},
      {"Redeploy on update", {"general.redeploy_on_update"}},
      {"All computers", {"scope.all_computers"}},
      {"All mobile devices", {"scope.all_mobile_devices"}},
      {"All users", {"scope.all_jss_users"}}},
     scope,
     {}},
    {{"computerGroups", "mobileDeviceGroups", "userGroups"},
     {{"Type", {"is_smart"}}, {"Site", {"site.name"}}},
     {{"Criteria", "criteria", {"and_or", "name", "search_type", "value"}},
      {"Members", "computers", {"name"}},
      {"Members", "mobile_devices", {"name"}},
      {"Members", "users", {"name", "full_name"}}},
     {}},
    {{"packages"},
     {{"File name", {"fileName"}},
      {"Category", {"categoryId"}},
      {"Priority", {"priority"}},
      {"Reboot required", {"rebootRequired"}},
      {"Fill user template", {"fillUserTemplate"}},
      {"OS requirements", {"osRequirements"}},
      {"Hash", {"hashType"}},
      {"Hash value", {"hashValue"}},
      {"Info", {"info"}},
      {"Notes", {"notes"}}},
     {},
     {}},
    {{"distributionPoints"},
     {{"Server", {"ip_address", "server"}},
      {"Master", {"is_master"}},
      {"Protocol", {"connection_type", "protocol"}},
      {"Share", {"share_name"}},
      {"HTTP downloads", {"http_downloads_enabled"}},
      {"HTTP URL", {"http_url"}},
      {"Anonymous HTTP", {"no_authentication_required"}},
      {"Failover", {"failover_point"}}},
     {},
     {}},
};

/// Sets what lies at a dotted path.
void put(json::Value& object, std::string_view path, json::Value value) {
  const auto dot = path.find('.');
  const auto key = path.substr(0, dot);
  if (dot == std::string_view::npos) {
    object.set(key, std::move(value));
    return;
  }
  if (!object.find(key)) object.set(key, json::Value::object());
  put(*object.find(key), path.substr(dot + 1), std::move(value));
}

/// A record that nothing is unwrapped of, with that at a path.
json::Value record(std::string_view path, json::Value value) {
  auto object = json::Value::object({{"unknown", 1}, {"unknown too", 2}});
  put(object, path, std::move(value));
  return object;
}

/// The facts of a record but what kind of group it is, which is always shown.
Lines factLines(std::string_view section, const json::Value& object) {
  auto lines = test::factLines(described(section, object.text()));
  std::erase(lines, "Kind: Static group");
  return lines;
}

std::string joined(std::string_view label, std::string_view value) {
  return std::string(label) + ": " + std::string(value);
}

void forEachSection(const std::function<void(std::string_view section, const Table& table)>& check) {
  for (const auto& table : tables)
    for (const auto section : table.sections) {
      SCOPED_TRACE(std::string(section));
      check(section, table);
    }
}

TEST(ObjectSpecsTest, EveryPathOfAFactGivesIt) {
  forEachSection([](std::string_view section, const Table& table) {
    for (const auto& [label, paths] : table.facts)
      for (const auto path : paths)
        EXPECT_EQ(factLines(section, record(path, "shown")), Lines{joined(label, "shown")}) << path;
  });
}

TEST(ObjectSpecsTest, TheEarlierPathOfAFactCounts) {
  forEachSection([](std::string_view section, const Table& table) {
    for (const auto& [label, paths] : table.facts) {
      if (paths.size() == 1) continue;
      auto object = record(paths[1], "second");
      put(object, paths[0], "first");
      EXPECT_EQ(factLines(section, object), Lines{joined(label, "first")});
    }
  });
}

TEST(ObjectSpecsTest, FactsStandInTheOrderOfTheTable) {
  forEachSection([](std::string_view section, const Table& table) {
    json::Value object = json::Value::object();
    Lines expected;
    for (const auto& [label, paths] : table.facts) {
      put(object, paths[0], paths[0]);
      expected.push_back(joined(label, paths[0]));
    }
    EXPECT_EQ(factLines(section, object), expected);
  });
}

TEST(ObjectSpecsTest, EveryListShowsItsFields) {
  forEachSection([](std::string_view section, const Table& table) {
    for (const auto& [title, path, fields] : table.lists) {
      json::Value element = "element";
      std::string entry = fields.empty() ? "element" : "";
      for (const auto field : fields) {
        put(element, field, field);
        entry += (entry.empty() ? "" : " · ") + std::string(field);
      }
      const auto object = record(path, json::Value::array({element, element}));
      EXPECT_EQ(test::listLines(described(section, object.text())), Lines(2, joined(title, entry))) << path;
    }
  });
}

TEST(ObjectSpecsTest, ListsStandInTheOrderOfTheTable) {
  forEachSection([](std::string_view section, const Table& table) {
    json::Value object = json::Value::object({{"unknown", 1}, {"unknown too", 2}});
    Lines expected;
    for (const auto& [title, path, fields] : table.lists) {
      auto element = fields.empty() ? json::Value("x") : json::Value::object({{std::string(fields[0]), "x"}});
      put(object, path, json::Value::array({std::move(element)}));
      expected.push_back(joined(title, "x"));
    }
    EXPECT_EQ(test::listLines(described(section, object.text())), expected);
  });
}

TEST(ObjectSpecsTest, EveryTextIsCode) {
  forEachSection([](std::string_view section, const Table& table) {
    json::Value object = json::Value::object({{"unknown", 1}, {"unknown too", 2}});
    std::vector<ObjectDescription::Text> expected;
    for (const auto& [title, path] : table.texts) {
      put(object, path, "#!/bin/sh\n");
      expected.push_back({std::string(title), "#!/bin/sh\n", true});
    }
    EXPECT_EQ(described(section, object.text()).texts, expected);
  });
}

TEST(ObjectSpecsTest, OtherSectionsHaveNone) {
  for (const auto& section : SectionCatalog::all()) {
    const bool known = std::ranges::any_of(
        tables, [&](const Table& table) { return std::ranges::count(table.sections, section.id) > 0; });
    EXPECT_EQ(ObjectDescriber::spec(section.id) != nullptr, known) << section.id;
  }
  EXPECT_EQ(ObjectDescriber::spec(""), nullptr);
  EXPECT_EQ(ObjectDescriber::spec("Computers"), nullptr);
}

TEST(ObjectSpecsTest, OnlyProfilesHavePayloads) {
  forEachSection([](std::string_view section, const Table&) {
    const bool isProfile = section.ends_with("ConfigurationProfiles");
    EXPECT_EQ(ObjectDescriber::spec(section)->payloads.has_value(), isProfile);
  });
  EXPECT_EQ(ObjectDescriber::spec("computerConfigurationProfiles")->payloads,
            (ObjectDescriber::Path{"general", "payloads"}));
}

}  // namespace
}  // namespace orvik
