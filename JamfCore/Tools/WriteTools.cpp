#include "JamfCore/Services/CategoryService.h"
#include "JamfCore/Services/ConfigurationProfileService.h"
#include "JamfCore/Services/DeviceService.h"
#include "JamfCore/Services/PolicyService.h"
#include "JamfCore/Services/SmartGroupService.h"
#include "JamfCore/Services/StaticGroupService.h"
#include "JamfCore/Tools/WriteToolBuilder.h"

namespace jamf {

namespace {

using namespace tools;

constexpr const char* scopeDescription =
    "JSON object: {\"allComputers\":Bool,\"computerIds\":[Int],\"computerGroupIds\":[Int],"
    "\"buildingIds\":[Int],\"departmentIds\":[Int]}";

/// Deletes what a service keeps under an integer.
template <class Service>
JamfTool deleteByInteger(std::string name, std::string description, std::string idDescription) {
  return tool(std::move(name), std::move(description), {required(integer("id", std::move(idDescription)))},
              [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
                const auto id = JamfTool::intArgument(arguments, "id");
                Service{client}.delete_(id, stop);
                return DeleteConfirmation{std::to_string(id)};
              });
}

SmartGroupWriteBody smartGroup(const Arguments& arguments) {
  auto criteria = JamfTool::decodeJSONArgument<std::vector<SmartGroupCriterion>>(arguments, "criteria");
  return {.name = JamfTool::stringArgument(arguments, "name"),
          .description = textOf(arguments, "description"),
          .siteId = {},
          .criteria = std::move(criteria).value_or(std::vector<SmartGroupCriterion>())};
}

StaticGroupWriteBody staticGroup(const Arguments& arguments) {
  auto assignments = JamfTool::decodeJSONArgument<std::vector<std::string>>(arguments, "assignments");
  return {.name = JamfTool::stringArgument(arguments, "name"),
          .description = textOf(arguments, "description"),
          .siteId = {},
          .assignments = std::move(assignments).value_or(std::vector<std::string>())};
}

void addGroups(std::vector<JamfTool>& made) {
  const auto id = required(text("id", "Smart Group id"));
  const Parameters smart{required(text("name", "Smart Group name")), text("description", "Description"),
                         text("criteria", "JSON array of criteria objects")};
  made.push_back(
      tool("create_smart_group",
           "Creates a Smart Group. criteria is a JSON array of objects like {\"name\":\"Operating System "
           "Version\",\"priority\":0,\"andOr\":\"and\",\"searchType\":\"is\",\"value\":\"14\"} — priorities "
           "must start at 0 and increment by 1.",
           smart, [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
             return SmartGroupService{client}.create(smartGroup(arguments), stop);
           }));
  made.push_back(
      tool("update_smart_group",
           "Replaces a Smart Group's name/description/criteria. This is a full replace, not a partial "
           "patch — omitted criteria clears them.",
           Parameters{id} + smart,
           [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
             const auto which = JamfTool::stringArgument(arguments, "id");
             return SmartGroupService{client}.update(which, smartGroup(arguments), stop);
           }));
  made.push_back(deleteByText<SmartGroupService>("delete_smart_group",
                                                 "Deletes a Smart Group. Fails with a 422 if a Policy or "
                                                 "Configuration Profile scope still depends on it.",
                                                 "Smart Group id"));

  const Parameters fixed{required(text("name", "Static Group name")), text("description", "Description"),
                         text("assignments", "JSON array of computer id strings")};
  made.push_back(tool("create_static_group",
                      "Creates a Static Group. assignments is a JSON array of computer id strings, e.g. "
                      "[\"12\",\"34\"].",
                      fixed,
                      [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
                        return StaticGroupService{client}.create(staticGroup(arguments), stop);
                      }));
  made.push_back(
      tool("update_static_group",
           "Replaces a Static Group's name/description/membership. This is a full replace, not a partial "
           "patch — omitted assignments clears membership entirely.",
           Parameters{required(text("id", "Static Group id"))} + fixed,
           [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
             const auto which = JamfTool::stringArgument(arguments, "id");
             return StaticGroupService{client}.update(which, staticGroup(arguments), stop);
           }));
  made.push_back(
      deleteByText<StaticGroupService>("delete_static_group", "Deletes a Static Group.", "Static Group id"));
}

std::optional<ClassicAPIScopeWrite> scopeOf(const Arguments& arguments) {
  return JamfTool::decodeJSONArgument<ClassicAPIScopeWrite>(arguments, "scope");
}

PolicyGeneralWrite policy(const Arguments& arguments) {
  return {.name = JamfTool::stringArgument(arguments, "name"),
          .enabled = isSet(arguments, "enabled"),
          .triggerCheckin = isSet(arguments, "triggerCheckin"),
          .triggerEnrollmentComplete = isSet(arguments, "triggerEnrollmentComplete"),
          .triggerLogin = isSet(arguments, "triggerLogin"),
          .triggerNetworkStateChanged = isSet(arguments, "triggerNetworkStateChanged"),
          .triggerStartup = isSet(arguments, "triggerStartup"),
          .triggerOther = textOf(arguments, "triggerOther"),
          .frequency = textOf(arguments, "frequency"),
          .categoryName = textOf(arguments, "categoryName")};
}

ConfigurationProfileGeneralWrite profile(const Arguments& arguments) {
  return {.name = JamfTool::stringArgument(arguments, "name"),
          .description = textOf(arguments, "description"),
          .distributionMethod = textOf(arguments, "distributionMethod"),
          .userRemovable = JamfTool::optionalBoolArgument(arguments, "userRemovable"),
          .level = textOf(arguments, "level"),
          .categoryName = textOf(arguments, "categoryName"),
          .payloads = textOf(arguments, "payloads")};
}

/// Makes the category that an object names, which the Classic API refuses when there is none.
void ensureCategory(const Client& client, const std::optional<std::string>& name,
                    const std::stop_token& stop) {
  if (name) CategoryService{client}.ensureCategory(*name, stop);
}

/// The two tools that write an object of the Classic API; `general` reads it from the arguments.
template <class Service, class General>
void addClassicWrites(std::vector<JamfTool>& made, const std::string& what, const Parameters& parameters,
                      const std::string& idDescription, const std::string& createDescription,
                      const std::string& updateDescription, General general) {
  made.push_back(
      tool("create_" + what, createDescription, parameters,
           [general](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
             const auto scope = scopeOf(arguments);
             const auto write = general(arguments);
             ensureCategory(client, write.categoryName, stop);
             const auto id = Service{client}.create(write, scope, stop);
             return IDConfirmation{std::to_string(id)};
           }));
  made.push_back(tool(
      "update_" + what, updateDescription, Parameters{required(integer("id", idDescription))} + parameters,
      [general](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
        const auto id = JamfTool::intArgument(arguments, "id");
        const auto scope = scopeOf(arguments);
        Service{client}.updateGeneral(id, general(arguments), scope, stop);
        return IDConfirmation{std::to_string(id)};
      }));
}

void addPoliciesAndProfiles(std::vector<JamfTool>& made) {
  addClassicWrites<PolicyService>(
      made, "policy",
      {required(text("name", "Policy name")), flag("enabled", "Whether the policy is enabled"),
       flag("triggerCheckin", "Run on recurring check-in"),
       flag("triggerEnrollmentComplete", "Run on enrollment complete"), flag("triggerLogin", "Run on login"),
       flag("triggerNetworkStateChanged", "Run on network state change"),
       flag("triggerStartup", "Run on startup"), text("triggerOther", "Custom trigger string"),
       text("frequency", "Execution frequency, e.g. \"Once per computer\""),
       text("categoryName", "Category name (created if it doesn't exist)"), text("scope", scopeDescription)},
      "Policy id",
      "Creates a bare Policy from its general settings and (optionally) scope. Only general settings + a "
      "scope "
      "subset are supported — self service, packages/scripts to run, and other sections aren't writable "
      "here. scope "
      "is a JSON object like {\"allComputers\":false,\"computerGroupIds\":[1]}.",
      "Replaces a Policy's general settings and (optionally) scope. This is a full replace of those "
      "sections, not a "
      "partial patch.",
      policy);
  made.push_back(deleteByInteger<PolicyService>("delete_policy", "Deletes a Policy.", "Policy id"));
  addClassicWrites<ConfigurationProfileService>(
      made, "configuration_profile",
      {required(text("name", "Configuration Profile name")), text("description", "Description"),
       text("distributionMethod", "e.g. \"Install Automatically\""),
       flag("userRemovable", "Whether the user can remove the profile"),
       text("level", "e.g. \"Computer Level\""),
       text("categoryName", "Category name (created if it doesn't exist)"),
       text("payloads", "The .mobileconfig plist content, verbatim"), text("scope", scopeDescription)},
      "Configuration Profile id",
      "Creates a bare macOS Configuration Profile from its general settings and (optionally) scope/payload. "
      "A profile "
      "created with no payloads won't deploy anything until one is set.",
      "Replaces a Configuration Profile's general settings and (optionally) scope/payload. This is a full "
      "replace of "
      "those sections, not a partial patch.",
      profile);
  made.push_back(deleteByInteger<ConfigurationProfileService>(
      "delete_configuration_profile", "Deletes a Configuration Profile.", "Configuration Profile id"));
}

void addCategoryAndDevice(std::vector<JamfTool>& made) {
  made.push_back(tool(
      "create_category",
      "Creates a Category. JamfCore has no update/delete for categories — none is implemented here either.",
      {required(text("name", "Category name")),
       integer("priority", "Install/grouping priority (default 9 if omitted)")},
      [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
        constexpr std::int64_t usualPriority = 9;
        return CategoryService{client}.create(
            {.id = {},
             .name = JamfTool::stringArgument(arguments, "name"),
             .priority = JamfTool::optionalIntArgument(arguments, "priority").value_or(usualPriority)},
            stop);
      }));
  made.push_back(tool(
      "update_device",
      "Updates a computer's name and/or asset tag. Computers are enrolled, not created, so there's no "
      "create_device.",
      {required(text("id", "Computer id")), text("name", "Computer name"), text("assetTag", "Asset tag")},
      [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
        return DeviceService{client}.updateGeneral(JamfTool::stringArgument(arguments, "id"),
                                                   textOf(arguments, "name"), textOf(arguments, "assetTag"),
                                                   stop);
      }));
  made.push_back(deleteByText<DeviceService>(
      "delete_device",
      "Removes a computer from Jamf's inventory (does not unenroll or wipe the device itself).",
      "Computer id"));
}

std::vector<JamfTool> makeTools() {
  std::vector<JamfTool> made;
  addGroups(made);
  addPoliciesAndProfiles(made);
  addContentTools(made);
  addCategoryAndDevice(made);
  return made;
}

}  // namespace

const std::vector<JamfTool>& JamfToolCatalog::writeTools() {
  static const std::vector<JamfTool> catalog = makeTools();
  return catalog;
}

}  // namespace jamf
