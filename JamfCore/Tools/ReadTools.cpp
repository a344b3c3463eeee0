#include "JamfCore/Services/CategoryService.h"
#include "JamfCore/Services/ComputerExtensionAttributeService.h"
#include "JamfCore/Services/ConfigurationProfileService.h"
#include "JamfCore/Services/DeviceService.h"
#include "JamfCore/Services/PackageService.h"
#include "JamfCore/Services/PatchComplianceService.h"
#include "JamfCore/Services/PolicyService.h"
#include "JamfCore/Services/ScriptService.h"
#include "JamfCore/Services/SmartGroupService.h"
#include "JamfCore/Services/StaticGroupService.h"
#include "JamfCore/Tools/ToolBuilder.h"

namespace jamf {

namespace {

using tools::Arguments;
using tools::Client;
using tools::required;
using tools::text;
using tools::tool;

JamfTool listOrganizations() {
  return {
      "list_organizations",
      "Lists every Jamf Pro organization configured in Kelm (name and base URL only — never credentials). "
      "Call this first to discover valid values for the orgName argument every other tool takes.",
      {},
      [](OrgManager& organizations, const Arguments&, const std::stop_token&) {
        std::vector<JamfToolCatalog::OrgSummary> summaries;
        for (auto& known : organizations.organizationSummaries())
          summaries.push_back({std::move(known.name), std::move(known.baseURL)});
        return JamfTool::encode(summaries);
      }};
}

/// The first page of a list, or those of exactly the name that `nameFilter` gives.
template <class Service>
JamfTool listTool(std::string name, std::string description, std::string filterDescription) {
  return tool(std::move(name), std::move(description), {text("nameFilter", std::move(filterDescription))},
              [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
                const Service service{client};
                const auto wanted = JamfTool::optionalStringArgument(arguments, "nameFilter");
                if constexpr (requires { service.search(std::string(), stop); })
                  return wanted ? service.search(*wanted, stop) : service.list({}, stop).results;
                else
                  return service
                      .list({.filter = wanted ? std::optional(exactFilter("name", *wanted)) : std::nullopt},
                            stop)
                      .results;
              });
}

/// One object by its id.
template <class Service>
JamfTool getTool(std::string name, std::string description, std::string idDescription) {
  return tool(std::move(name), std::move(description), {required(text("id", std::move(idDescription)))},
              [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
                return Service{client}.get(JamfTool::stringArgument(arguments, "id"), stop);
              });
}

/// One Classic object, by its id when the argument reads as a decimal integer, else by its exact name.
template <class Service>
JamfTool getByIDOrNameTool(std::string name, std::string description, std::string parameterDescription) {
  return tool(std::move(name), std::move(description),
              {required(text("idOrName", std::move(parameterDescription)))},
              [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
                const auto given = JamfTool::stringArgument(arguments, "idOrName");
                const auto id = JamfTool::optionalIntArgument(arguments, "idOrName");
                return id ? Service{client}.get(*id, stop) : Service{client}.get(given, stop);
              });
}

std::vector<JamfTool> makeTools() {
  std::vector<JamfTool> made;
  made.push_back(listOrganizations());
  made.push_back(tool(
      "list_devices",
      "Lists computers in a Jamf org's inventory. Optionally filter with an RSQL expression, e.g. "
      "hardware.serialNumber==\"C02ABC123\".",
      {text("filter", "RSQL filter expression")},
      [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
        return DeviceService{client}.list({.filter = JamfTool::optionalStringArgument(arguments, "filter")},
                                          DeviceService::listSections(), stop);
      }));
  made.push_back(tool("get_device", "Gets a single computer's full inventory record by id.",
                      {required(text("id", "Computer id"))},
                      [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
                        return DeviceService{client}.get(JamfTool::stringArgument(arguments, "id"),
                                                         DeviceService::allSections(), stop);
                      }));
  made.push_back(listTool<SmartGroupService>(
      "list_smart_groups", "Lists Smart Groups in a Jamf org, optionally filtered by an exact name match.",
      "Exact Smart Group name to search for"));
  made.push_back(getTool<SmartGroupService>(
      "get_smart_group", "Gets a Smart Group's full detail (criteria, site) by id.", "Smart Group id"));
  made.push_back(tool("get_smart_group_membership",
                      "Gets the computer ids currently matching a Smart Group's criteria.",
                      {required(text("id", "Smart Group id"))},
                      [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
                        return JamfToolCatalog::Membership{SmartGroupService{client}.membership(
                            JamfTool::stringArgument(arguments, "id"), stop)};
                      }));
  made.push_back(listTool<StaticGroupService>(
      "list_static_groups", "Lists Static Groups in a Jamf org, optionally filtered by an exact name match.",
      "Exact Static Group name to search for"));
  made.push_back(getTool<StaticGroupService>("get_static_group",
                                             "Gets a Static Group's full detail (member assignments) by id.",
                                             "Static Group id"));
  made.push_back(tool("list_policies", "Lists Policies in a Jamf org, optionally restricted to one category.",
                      {text("category", "Exact category name to restrict the list to")},
                      [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
                        const auto category = JamfTool::optionalStringArgument(arguments, "category");
                        const PolicyService policies{client};
                        return category ? policies.list(*category, stop) : policies.list(stop);
                      }));
  made.push_back(getByIDOrNameTool<PolicyService>(
      "get_policy", "Gets a Policy's full detail (general settings, scope) by id or exact name.",
      "Policy id (numeric) or exact name"));
  made.push_back(listTool<ScriptService>(
      "list_scripts", "Lists Scripts in a Jamf org, optionally filtered by an exact name match.",
      "Exact script name to search for"));
  made.push_back(getTool<ScriptService>(
      "get_script", "Gets a Script's full detail, including its contents, by id.", "Script id"));
  made.push_back(tool("list_configuration_profiles", "Lists macOS Configuration Profiles in a Jamf org.", {},
                      [](const Client& client, const Arguments&, const std::stop_token& stop) {
                        return ConfigurationProfileService{client}.list(stop);
                      }));
  made.push_back(getByIDOrNameTool<ConfigurationProfileService>(
      "get_configuration_profile",
      "Gets a Configuration Profile's full detail (general settings, scope) by id or exact name.",
      "Configuration Profile id (numeric) or exact name"));
  made.push_back(listTool<PackageService>(
      "list_packages", "Lists Packages in a Jamf org, optionally filtered by an exact name match.",
      "Exact package name to search for"));
  made.push_back(getTool<PackageService>(
      "get_package", "Gets a Package's full metadata (category, hashes, install behavior) by id.",
      "Package id"));
  made.push_back(listTool<ComputerExtensionAttributeService>(
      "list_extension_attributes",
      "Lists computer Extension Attributes in a Jamf org, optionally filtered by an exact name match.",
      "Exact extension attribute name to search for"));
  made.push_back(getTool<ComputerExtensionAttributeService>(
      "get_extension_attribute", "Gets a computer Extension Attribute's full detail by id.",
      "Extension attribute id"));
  made.push_back(listTool<CategoryService>(
      "list_categories", "Lists Categories in a Jamf org, optionally filtered by an exact name match.",
      "Exact category name to search for"));
  made.push_back(tool("list_patch_titles", "Lists patch software titles tracked in a Jamf org.", {},
                      [](const Client& client, const Arguments&, const std::stop_token& stop) {
                        return PatchComplianceService{client}.list(stop);
                      }));
  made.push_back(getTool<PatchComplianceService>("get_patch_title",
                                                 "Gets a tracked patch software title's configuration by id.",
                                                 "Patch software title configuration id"));
  made.push_back(
      tool("get_patch_summary",
           "Gets a patch title's compliance summary (up-to-date vs. out-of-date computer counts) by id.",
           {required(text("id", "Patch software title configuration id"))},
           [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
             return PatchComplianceService{client}.summary(JamfTool::stringArgument(arguments, "id"), stop);
           }));
  made.push_back(tool(
      "get_patch_report",
      "Gets per-computer patch version detail for a patch title by id (first page, 100 results).",
      {required(text("id", "Patch software title configuration id"))},
      [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
        return PatchComplianceService{client}.report(JamfTool::stringArgument(arguments, "id"), {}, stop);
      }));
  return made;
}

}  // namespace

const std::vector<JamfTool>& JamfToolCatalog::readOnlyTools() {
  static const std::vector<JamfTool> catalog = makeTools();
  return catalog;
}

}  // namespace jamf
