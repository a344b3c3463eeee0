#include <array>
#include <map>

#include "OrvikCore/Explore/ObjectDescriber.h"

/// What people want to see of the objects of each section. Paths are those of the servers' records: the
/// modern API's first, then the Classic API's.
namespace orvik {

namespace {

namespace json = platform::json;

using Path = ObjectDescriber::Path;
using Spec = ObjectDescriber::Spec;
using Variants = std::vector<ObjectDescriber::Variant>;
using Facts = std::vector<ObjectDescription::Fact>;

std::vector<std::string_view> split(std::string_view text, std::string_view separator) {
  std::vector<std::string_view> parts;
  for (std::size_t end; (end = text.find(separator)) != std::string_view::npos;) {
    parts.push_back(text.substr(0, end));
    text.remove_prefix(end + separator.size());
  }
  parts.push_back(text);
  return parts;
}

/// The keys of a path have dots between them.
Path path(std::string_view dotted) { return split(dotted, "."); }

std::vector<Path> paths(std::string_view text, std::string_view separator) {
  std::vector<Path> paths;
  for (const auto part : split(text, separator)) paths.push_back(path(part));
  return paths;
}

/// "a.b / c.d": the second path counts where the first gives no text.
Spec::Fact fact(std::string label, std::string_view alternatives) {
  return {std::move(label), paths(alternatives, " / ")};
}

/// "a, b": an entry shows both fields.
Spec::List list(std::string title, std::string_view dotted, std::string_view fields) {
  return {std::move(title), path(dotted), paths(fields, ", ")};
}
/// An entry is the element itself.
Spec::List list(std::string title, std::string_view dotted) { return {std::move(title), path(dotted), {}}; }

Spec::Text code(std::string title, std::string_view dotted) {
  return {std::move(title), {path(dotted)}, true};
}

/// The first truth value at a path.
std::optional<bool> firstBoolean(const Path& path, const Variants& variants) {
  for (const auto& variant : variants) {
    const auto node = ObjectDescriber::node(path, variant.value);
    if (const auto value = node ? node->boolean() : std::nullopt) return value;
  }
  return std::nullopt;
}

/// When a policy runs, its custom event apart.
Facts triggers(const Variants& variants) {
  struct Trigger {
    std::string_view key;
    std::string_view words;
  };
  constexpr std::array known{Trigger{"trigger_checkin", "Recurring check-in"},
                             Trigger{"trigger_enrollment_complete", "Enrollment complete"},
                             Trigger{"trigger_login", "Login"},
                             Trigger{"trigger_logout", "Logout"},
                             Trigger{"trigger_network_state_changed", "Network state change"},
                             Trigger{"trigger_startup", "Startup"}};
  std::string names;
  for (const auto& [key, words] : known)
    if (firstBoolean({"general", key}, variants).value_or(false))
      names.append(names.empty() ? "" : ", ").append(words);
  return names.empty() ? Facts() : Facts{{"Triggers", std::move(names)}};
}

Facts groupKind(const Variants& variants) {
  const bool smart = firstBoolean({"is_smart"}, variants).value_or(false);
  return {{"Kind", smart ? "Smart group" : "Static group"}};
}

/// Whom an object is given to.
std::vector<Spec::List> scopeLists() {
  return {
      list("Scope: computers", "scope.computers", "name"),
      list("Scope: computer groups", "scope.computer_groups", "name"),
      list("Scope: mobile devices", "scope.mobile_devices", "name"),
      list("Scope: mobile device groups", "scope.mobile_device_groups", "name"),
      list("Scope: buildings", "scope.buildings", "name"),
      list("Scope: departments", "scope.departments", "name"),
      list("Scope: users", "scope.jss_users", "name"),
      list("Scope: user groups", "scope.jss_user_groups", "name"),
      list("Limited to directory users", "scope.limitations.users", "name"),
      list("Limited to directory groups", "scope.limitations.user_groups", "name"),
      list("Limited to network segments", "scope.limitations.network_segments", "name"),
      list("Excluded computers", "scope.exclusions.computers", "name"),
      list("Excluded computer groups", "scope.exclusions.computer_groups", "name"),
      list("Excluded mobile devices", "scope.exclusions.mobile_devices", "name"),
      list("Excluded mobile device groups", "scope.exclusions.mobile_device_groups", "name"),
      list("Excluded buildings", "scope.exclusions.buildings", "name"),
      list("Excluded departments", "scope.exclusions.departments", "name"),
      list("Excluded users", "scope.exclusions.users", "name"),
      list("Excluded user groups", "scope.exclusions.user_groups", "name"),
  };
}

Spec computers() {
  Spec spec;
  spec.facts = {
      fact("Serial number", "hardware.serialNumber / general.serial_number"),
      fact("Model", "hardware.model / hardware.model_identifier"),
      fact("macOS", "operatingSystem.version / hardware.os_version"),
      fact("Build", "operatingSystem.build / hardware.os_build"),
      fact("User", "userAndLocation.username / location.username"),
      fact("Full name", "userAndLocation.realname / location.realname"),
      fact("Email", "userAndLocation.email / location.email_address"),
      fact("Site", "general.site.name"),
      fact("Last check-in", "general.lastContactTime / general.last_contact_time"),
      fact("Last inventory", "general.reportDate / general.report_date"),
      fact("Enrolled", "general.lastEnrolledDate / general.last_enrolled_date"),
      fact("Supervised", "general.supervised"),
      fact("Automated Device Enrollment", "general.enrolledViaAutomatedDeviceEnrollment"),
      fact("FileVault", "operatingSystem.fileVault2Status"),
      fact("IP address", "general.lastIpAddress / general.ip_address"),
      fact("Management ID", "general.managementId"),
  };
  spec.lists = {
      list("Groups", "groupMemberships", "groupName"),
      list("Configuration profiles", "configurationProfiles", "displayName"),
      list("Extension attributes", "extensionAttributes", "name, values"),
      list("Local accounts", "localUserAccounts", "username, fullName"),
      list("Applications", "applications", "name, version"),
  };
  return spec;
}

Spec mobileDevices() {
  Spec spec;
  spec.facts = {
      fact("Serial number", "hardware.serialNumber / general.serial_number"),
      fact("Model", "hardware.model / general.model"),
      fact("Type", "deviceType"),
      fact("OS version", "general.osVersion / general.os_version"),
      fact("User", "userAndLocation.username / location.username"),
      fact("Full name", "userAndLocation.realName / location.realname"),
      fact("Email", "userAndLocation.emailAddress / location.email_address"),
      fact("Site", "general.site.name"),
      fact("Last inventory", "general.lastInventoryUpdateDate / general.last_inventory_update"),
      fact("Supervised", "general.supervised"),
      fact("Managed", "general.managed"),
      fact("Asset tag", "general.assetTag / general.asset_tag"),
  };
  spec.lists = {
      list("Groups", "groups", "groupName, name"),
      list("Configuration profiles", "profiles", "displayName"),
      list("Extension attributes", "extensionAttributes", "name, value"),
      list("Applications", "applications", "name, version"),
  };
  return spec;
}

Spec users() {
  Spec spec;
  spec.facts = {
      fact("Full name", "full_name"), fact("Email", "email / email_address"),  fact("Phone", "phone_number"),
      fact("Position", "position"),   fact("LDAP server", "ldap_server.name"),
  };
  spec.lists = {
      list("Computers", "links.computers", "name"),
      list("Mobile devices", "links.mobile_devices", "name"),
      list("User groups", "user_groups.user_group", "name"),
  };
  return spec;
}

Spec policies() {
  Spec spec;
  spec.facts = {
      fact("Enabled", "general.enabled"),
      fact("Category", "general.category.name"),
      fact("Site", "general.site.name"),
      fact("Frequency", "general.frequency"),
      fact("Custom trigger", "general.trigger_other"),
      fact("Self Service", "self_service.use_for_self_service"),
      fact("Self Service name", "self_service.self_service_display_name"),
      fact("All computers", "scope.all_computers"),
      fact("Update inventory", "maintenance.recon"),
      fact("Restart", "reboot.restart_option"),
  };
  spec.lists = {
      list("Packages", "package_configuration.packages", "name, action"),
      list("Scripts", "scripts", "name, priority"),
      list("Printers", "printers", "name, action"),
      list("Dock items", "dock_items", "name, action"),
  };
  const auto scope = scopeLists();
  spec.lists.insert(spec.lists.end(), scope.begin(), scope.end());
  spec.texts = {code("Run command", "files_processes.run_command")};
  spec.custom = triggers;
  return spec;
}

Spec scripts() {
  Spec spec;
  spec.facts = {
      fact("Category", "categoryName"),
      fact("Priority", "priority"),
      fact("OS requirements", "osRequirements"),
      fact("Info", "info"),
      fact("Notes", "notes"),
      fact("Parameter 4", "parameter4"),
      fact("Parameter 5", "parameter5"),
      fact("Parameter 6", "parameter6"),
      fact("Parameter 7", "parameter7"),
      fact("Parameter 8", "parameter8"),
      fact("Parameter 9", "parameter9"),
      fact("Parameter 10", "parameter10"),
      fact("Parameter 11", "parameter11"),
  };
  spec.texts = {code("Script", "scriptContents")};
  return spec;
}

Spec computerExtensionAttributes() {
  Spec spec;
  spec.facts = {
      fact("Description", "description"),
      fact("Enabled", "enabled"),
      fact("Data type", "dataType"),
      fact("Input type", "inputType"),
      fact("Inventory display", "inventoryDisplayType"),
      fact("LDAP attribute", "ldapAttributeMapping"),
  };
  spec.lists = {list("Pop-up choices", "popupMenuChoices")};
  spec.texts = {code("Script", "scriptContents")};
  return spec;
}

/// Of mobile devices and of users.
Spec classicExtensionAttributes() {
  Spec spec;
  spec.facts = {
      fact("Description", "description"),
      fact("Data type", "data_type"),
      fact("Inventory display", "inventory_display"),
      fact("Input type", "input_type.type"),
      fact("Enabled", "enabled"),
  };
  spec.lists = {list("Pop-up choices", "input_type.popup_choices")};
  spec.texts = {code("Script", "input_type.script")};
  return spec;
}

Spec configurationProfiles() {
  Spec spec;
  spec.facts = {
      fact("Description", "general.description"),
      fact("Category", "general.category.name"),
      fact("Site", "general.site.name"),
      fact("Level", "general.level"),
      fact("Distribution", "general.distribution_method / general.deployment_method"),
      fact("Removable by user", "general.user_removable"),
      fact("Redeploy on update", "general.redeploy_on_update"),
      fact("All computers", "scope.all_computers"),
      fact("All mobile devices", "scope.all_mobile_devices"),
      fact("All users", "scope.all_jss_users"),
  };
  spec.lists = scopeLists();
  spec.payloads = path("general.payloads");
  return spec;
}

Spec groups() {
  Spec spec;
  spec.facts = {
      fact("Type", "is_smart"),
      fact("Site", "site.name"),
  };
  spec.lists = {
      list("Criteria", "criteria", "and_or, name, search_type, value"),
      list("Members", "computers", "name"),
      list("Members", "mobile_devices", "name"),
      list("Members", "users", "name, full_name"),
  };
  spec.custom = groupKind;
  return spec;
}

Spec packages() {
  Spec spec;
  spec.facts = {
      fact("File name", "fileName"),
      fact("Category", "categoryId"),
      fact("Priority", "priority"),
      fact("Reboot required", "rebootRequired"),
      fact("Fill user template", "fillUserTemplate"),
      fact("OS requirements", "osRequirements"),
      fact("Hash", "hashType"),
      fact("Hash value", "hashValue"),
      fact("Info", "info"),
      fact("Notes", "notes"),
  };
  return spec;
}

Spec distributionPoints() {
  Spec spec;
  spec.facts = {
      fact("Server", "ip_address / server"),
      fact("Master", "is_master"),
      fact("Protocol", "connection_type / protocol"),
      fact("Share", "share_name"),
      fact("HTTP downloads", "http_downloads_enabled"),
      fact("HTTP URL", "http_url"),
      fact("Anonymous HTTP", "no_authentication_required"),
      fact("Failover", "failover_point"),
  };
  return spec;
}

}  // namespace

const ObjectDescriber::Spec* ObjectDescriber::spec(std::string_view sectionID) {
  static const std::map<std::string_view, Spec> specs{
      {"computers", computers()},
      {"mobileDevices", mobileDevices()},
      {"users", users()},
      {"policies", policies()},
      {"scripts", scripts()},
      {"computerExtensionAttributes", computerExtensionAttributes()},
      {"mobileExtensionAttributes", classicExtensionAttributes()},
      {"userExtensionAttributes", classicExtensionAttributes()},
      {"computerConfigurationProfiles", configurationProfiles()},
      {"mobileConfigurationProfiles", configurationProfiles()},
      {"computerGroups", groups()},
      {"mobileDeviceGroups", groups()},
      {"userGroups", groups()},
      {"packages", packages()},
      {"distributionPoints", distributionPoints()},
  };
  const auto found = specs.find(sectionID);
  return found == specs.end() ? nullptr : &found->second;
}

}  // namespace orvik
