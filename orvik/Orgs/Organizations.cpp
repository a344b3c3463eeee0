#include "orvik/Orgs/Organizations.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "JamfCore/Persistence/PersistenceController.h"
#include "Platform/Files/Files.h"
#include "TuvCore/AppIdentity.h"
#include "orvik/ExitStatus.h"
#include "orvik/Server/ServerClient.h"

namespace orvik::host {

namespace {

using jamf::JamfOrganization;

[[noreturn]] void failUnknown(const std::vector<JamfOrganization>& organizations, std::string_view name) {
  if (organizations.empty())
    throw NotFoundError(fmt::format(
        "There is no organization {}: none is registered. Register one with orvik orgs add.", name));
  std::vector<std::string_view> names;
  for (const auto& each : organizations) names.emplace_back(each.name);
  throw NotFoundError(
      fmt::format("There is no organization {}. There are: {}.", name, fmt::join(names, ", ")));
}

}  // namespace

std::filesystem::path organizationsFile(const std::optional<std::string>& database,
                                        const HostPlaces& places) {
  return database ? std::filesystem::path(*database) : places.data / "organizations.sqlite";
}

std::shared_ptr<jamf::OrgManager> openOrganizations(const std::filesystem::path& file,
                                                    const std::filesystem::path& trustAnchors) {
  std::shared_ptr<platform::HTTPSession> session;
  if (!trustAnchors.empty())
    session = std::make_shared<platform::HTTPSession>(
        withTrustAnchors(jamf::OrgManager::sessionConfiguration(), trustAnchors));
  auto manager = std::make_shared<jamf::OrgManager>(jamf::PersistenceController::makeContainer(file),
                                                    jamf::KeychainStore{tuv::AppIdentity::own().bundleID},
                                                    std::move(session));
  manager->refresh();
  return manager;
}

std::shared_ptr<jamf::OrgManager> existingOrganizations(const std::filesystem::path& file) {
  return platform::files::exists(file) ? openOrganizations(file) : nullptr;
}

std::shared_ptr<jamf::APIClient> organizationClient(jamf::OrgManager& organizations,
                                                    const std::string& name) {
  auto client = organizations.apiClient(name);
  if (!client) failUnknown(organizations.organizations(), name);
  return client;
}

const JamfOrganization& organizationNamed(const std::vector<JamfOrganization>& organizations,
                                          std::string_view name) {
  const JamfOrganization* found = nullptr;
  std::vector<std::string> ids;
  for (const auto& each : organizations) {
    if (each.name != name) continue;
    found = &each;
    ids.push_back(each.id.text());
  }
  if (ids.size() > 1)
    throw UsageError(fmt::format("{} organizations are called {}; name one by its ID: {}.", ids.size(), name,
                                 fmt::join(ids, ", ")));
  const auto id = platform::UUID::parse(name);
  for (const auto& each : organizations)
    if (found == nullptr && id == each.id) found = &each;
  if (found == nullptr) failUnknown(organizations, name);
  return *found;
}

ChosenOrganization chosenOrganization(const OrgServerArguments& arguments, const HostPlaces& places) {
  ChosenOrganization chosen;
  const auto database = organizationsFile(arguments.database, places);
  if (platform::files::exists(database)) chosen.organizations = openOrganizations(database, arguments.caFile);
  chosen.record = organizationNamed(
      chosen.organizations ? chosen.organizations->organizations() : std::vector<JamfOrganization>(),
      arguments.org);
  chosen.client = chosen.organizations->apiClient(chosen.record);
  return chosen;
}

}  // namespace orvik::host
