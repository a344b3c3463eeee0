#include "orvik/Orgs/OrgCommands.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "Platform/Files/FileLock.h"
#include "Platform/Locale/Text.h"
#include "orvik/Orgs/OrgText.h"
#include "orvik/Orgs/Organizations.h"
#include "orvik/Output/Question.h"
#include "orvik/Output/Report.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Server/Secrets.h"
#include "orvik/Server/ServerURL.h"

namespace orvik::host {

namespace {

using jamf::JamfOrganization;
using jamf::OrgManager;
using platform::json::Value;
using platform::locale::lowercased;

std::vector<JamfOrganization> listOf(const std::shared_ptr<OrgManager>& manager) {
  return manager ? manager->organizations() : std::vector<JamfOrganization>();
}

bool hasSecret(const OrgManager& manager, const JamfOrganization& organization) {
  try {
    return manager.clientSecret(organization).has_value();
  } catch (const jamf::KeychainError&) {
    return false;
  }
}

/// A name as it was typed. `source` is where.
std::string nameFrom(const std::string& text, std::string_view source) {
  std::string name(platform::locale::trimmed(text));
  if (visibleLine(name) != name)
    throw UsageError(fmt::format("{} holds characters that can't be shown.", source));
  return name;
}

/// Tools choose an organization by its name. `own` is the one that is to get it.
void requireFree(const std::vector<JamfOrganization>& organizations, const std::string& name,
                 const std::optional<platform::UUID>& own = {}) {
  for (const auto& each : organizations)
    if (each.id != own && lowercased(each.name) == lowercased(name))
      throw UsageError(fmt::format("There is an organization {} already, at {}. Choose another name.",
                                   each.name, each.baseURLString));
}

/// Keeps other processes from giving a name that is just being given.
platform::files::FileLock lockOf(const std::filesystem::path& file, const std::stop_token& stop) {
  return platform::files::FileLock(file.string() + ".lock", stop);
}

}  // namespace

ExitStatus listOrgs(const ListOrgsArguments& arguments, const HostPlaces& places, Results& results) {
  const Report report(arguments, results);
  const auto manager = existingOrganizations(organizationsFile(arguments.database, places));
  const auto organizations = listOf(manager);
  for (const auto& each : organizations) {
    const bool isUsable = hasSecret(*manager, each);
    report.text(orgText::page(each, isUsable, report.paint()));
    report.event("organization", orgText::json(each, isUsable));
  }
  if (organizations.empty())
    report.note(
        "There is no organization yet. Register one with orvik orgs add --name NAME --url URL --client-id ID "
        "--secret-file FILE.");
  report.event("finished", Value::object({{"organizations", organizations.size()}}));
  return ExitStatus::done;
}

ExitStatus addOrg(const AddOrgArguments& arguments, platform::SecretString environmentSecret,
                  const HostPlaces& places, Results& results, const std::stop_token& stop) {
  const Report report(arguments, results);
  const auto name = nameFrom(arguments.name, "--name");
  const auto url = serverURL(std::string(platform::locale::trimmed(arguments.url)));
  if (const auto remark = clearTextRemark(url)) report.note(*remark);
  const auto file = organizationsFile(arguments.database, places);
  requireFree(listOf(existingOrganizations(file)), name);
  const auto secret =
      readOrAskSecret({arguments.secret.file, arguments.secret.command, std::move(environmentSecret)}, stop);

  const auto manager = openOrganizations(file);
  const auto lock = lockOf(file, stop);
  manager->refresh();
  requireFree(manager->organizations(), name);
  const auto made = manager->addOrganization(name, url.text(), arguments.clientID, secret.value);
  report.finished("Registered " + orgText::page(made, true, report.paint()), orgText::json(made, true));
  return ExitStatus::done;
}

ExitStatus removeOrg(const RemoveOrgArguments& arguments, const HostPlaces& places, Results& results,
                     const std::stop_token& stop) {
  const Report report(arguments, results);
  const auto manager = existingOrganizations(organizationsFile(arguments.database, places));
  const auto organization = organizationNamed(listOf(manager), arguments.name);
  const auto what = visibleLine(fmt::format("{} ({}), its client secret and its cached devices",
                                            organization.name, organization.baseURLString));
  const auto finish = [&](const std::string& text, bool removed) {
    report.finished(text, Value::object({{"name", organization.name},
                                         {"id", organization.id.text()},
                                         {"dryRun", arguments.dryRun},
                                         {"removed", removed}}));
  };
  if (arguments.dryRun) {
    finish(fmt::format("Would remove {}.", what), false);
    return ExitStatus::done;
  }
  if (!question::agrees(arguments.yes, "an organization", fmt::format("Remove {}?", what), stop)) {
    finish("Nothing was removed.", false);
    return ExitStatus::failed;
  }
  manager->removeOrganization(organization);
  finish(fmt::format("Removed {}.", what), true);
  return ExitStatus::done;
}

ExitStatus renameOrg(const RenameOrgArguments& arguments, const HostPlaces& places, Results& results,
                     const std::stop_token& stop) {
  const Report report(arguments, results);
  const auto newName = nameFrom(arguments.newName, "NEW");
  const auto file = organizationsFile(arguments.database, places);
  const auto manager = existingOrganizations(file);
  organizationNamed(listOf(manager), arguments.name);  // without one there is nothing to lock
  const auto lock = lockOf(file, stop);
  manager->refresh();
  const auto organizations = manager->organizations();
  const auto& organization = organizationNamed(organizations, arguments.name);
  requireFree(organizations, newName, organization.id);
  manager->updateOrganization(organization, newName, organization.baseURLString, organization.clientID, {},
                              organization.clientName);
  report.finished(
      visibleLine(fmt::format("{} is called {} now.", organization.name, newName)),
      Value::object({{"id", organization.id.text()}, {"oldName", organization.name}, {"name", newName}}));
  return ExitStatus::done;
}

}  // namespace orvik::host
