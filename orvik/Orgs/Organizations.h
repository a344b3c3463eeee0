#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "JamfCore/OrgManagement/OrgManager.h"
#include "orvik/Arguments.h"
#include "orvik/HostPlaces.h"

/// The organizations that this user administers, in a database of their own, with their secrets in the user's
/// keychain.
namespace orvik::host {

/// Where the database is: what `--database` names, else "organizations.sqlite" in the user's data folder.
std::filesystem::path organizationsFile(const std::optional<std::string>& database, const HostPlaces& places);

/// Opens the database, or makes it. Clients trust the anchors of the PEM file too, unless that is empty.
/// Throws `jamf::PersistenceError`.
std::shared_ptr<jamf::OrgManager> openOrganizations(const std::filesystem::path& file,
                                                    const std::filesystem::path& trustAnchors = {});

/// The same for who only looks: null where there is no database.
std::shared_ptr<jamf::OrgManager> existingOrganizations(const std::filesystem::path& file);

/// The client of the organization of exactly that name. Throws `NotFoundError` that lists the names that
/// there are, and as `jamf::OrgManager::apiClient`.
std::shared_ptr<jamf::APIClient> organizationClient(jamf::OrgManager& organizations, const std::string& name);

/// The one of exactly that name, or else with this ID. Throws `NotFoundError` that lists what there is, and
/// `UsageError` when several have the name.
const jamf::JamfOrganization& organizationNamed(const std::vector<jamf::JamfOrganization>& organizations,
                                                std::string_view name);

/// An organization that a command names, with the client of its server.
struct ChosenOrganization {
  std::shared_ptr<jamf::OrgManager> organizations;
  jamf::JamfOrganization record;
  std::shared_ptr<jamf::APIClient> client;
};

/// Makes no database where there is none. Throws as `organizationNamed`, `openOrganizations` and
/// `jamf::OrgManager::apiClient`.
ChosenOrganization chosenOrganization(const OrgServerArguments& arguments, const HostPlaces& places);

}  // namespace orvik::host
