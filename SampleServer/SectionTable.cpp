#include "SampleServer/SectionTable.h"

#include <unordered_map>

#include "SampleServer/Templates/ClassicTemplates.h"
#include "SampleServer/Templates/DeviceTemplates.h"
#include "SampleServer/Templates/ProTemplates.h"
#include "SampleServer/Templates/ScopedTemplates.h"
#include "SampleServer/Templates/SettingsTemplates.h"

namespace sample {
namespace {

namespace t = templates;
using Kind = SectionKind;

// id, kind, path, list key, objects in a small fleet, a school, an enterprise, names, list element, record.
// The second line of accounts are the groups of the same list.
// clang-format off
const SectionRow rows[] = {
    {"computers", Kind::devices, "", "", {24, 600, 30000}, &naming::computer, t::computerListed, t::computer, IDStyle::number, false, t::classicComputer},
    {"mobileDevices", Kind::devices, "", "", {18, 520, 20000}, &naming::mobileDevice, t::mobileDeviceListed, t::mobileDevice, IDStyle::number, false, t::classicMobileDevice, t::mobileDeviceBasic},
    {"users", Kind::classicList, "users", "users", {34, 1700, 11000}, &naming::login, t::idName, t::user},
    {"computerConfigurationProfiles", Kind::classicList, "osxconfigurationprofiles", "os_x_configuration_profiles", {12, 110, 1500}, &naming::profile, t::idName, t::computerProfile},
    {"mobileConfigurationProfiles", Kind::classicList, "mobiledeviceconfigurationprofiles", "configuration_profiles", {8, 110, 1500}, &naming::profile, t::idName, t::mobileProfile},
    {"computerExtensionAttributes", Kind::proList, "api/v1/computer-extension-attributes", "", {7, 60, 600}, &naming::attribute, "", t::computerExtensionAttribute},
    {"mobileExtensionAttributes", Kind::classicList, "mobiledeviceextensionattributes", "mobile_device_extension_attributes", {3, 20, 200}, &naming::attribute, t::idName, t::mobileExtensionAttribute},
    {"userExtensionAttributes", Kind::classicList, "userextensionattributes", "user_extension_attributes", {2, 10, 100}, &naming::attribute, t::idName, t::userExtensionAttribute},
    {"scripts", Kind::proList, "api/v1/scripts", "", {14, 200, 3000}, &naming::script, "", t::script},
    {"policies", Kind::classicList, "policies", "policies", {24, 420, 6000}, &naming::policy, t::idName, t::policy},
    {"computerGroups", Kind::classicList, "computergroups", "computer_groups", {14, 280, 5000}, &naming::deviceGroup, t::groupListed, t::computerGroup},
    {"mobileDeviceGroups", Kind::classicList, "mobiledevicegroups", "mobile_device_groups", {8, 180, 3400}, &naming::deviceGroup, t::groupListed, t::mobileDeviceGroup},
    {"userGroups", Kind::classicList, "usergroups", "user_groups", {4, 90, 3000}, &naming::userGroup, t::userGroupListed, t::userGroup},
    {"packages", Kind::proList, "api/v1/packages", "", {16, 240, 4000}, &naming::package, "", t::package},
    {"distributionPoints", Kind::classicList, "distributionpoints", "distribution_points", {4, 6, 40}, &naming::distribution, t::idName, t::distributionPoint},
    {"cloudDistributionPoint", Kind::proSingle, "api/v1/cloud-distribution-point", "", {1, 1, 1}, &naming::settings, "", t::cloudDistributionPoint},
    {"jcdsFiles", Kind::proArray, "api/v1/jcds/files", "", {10, 150, 1200}, &naming::package, "", t::cloudFile, IDStyle::fileName},
    {"packageFiles", Kind::files, "", "", {0, 0, 0}, &naming::settings, "", ""},
    {"sites", Kind::classicList, "sites", "sites", {3, 12, 45}, &naming::site, t::idName, t::site, IDStyle::number, true},
    {"buildings", Kind::classicList, "buildings", "buildings", {7, 60, 1400}, &naming::building, t::idName, t::building},
    {"departments", Kind::classicList, "departments", "departments", {9, 110, 1500}, &naming::department, t::idName, t::department, IDStyle::number, true},
    {"categories", Kind::classicList, "categories", "categories", {10, 40, 130}, &naming::category, t::idName, t::category},
    {"networkSegments", Kind::classicList, "networksegments", "network_segments", {6, 150, 1400}, &naming::network, t::networkListed, t::networkSegment},
    {"accounts", Kind::accounts, "accounts", "users", {5, 40, 300}, &naming::login, t::idName, t::account},
    {"accountGroups", Kind::accountGroups, "accounts", "groups", {2, 10, 60}, &naming::accountGroup, t::accountGroupListed, t::accountGroup},
    {"apiRoles", Kind::proList, "api/v1/api-roles", "", {3, 8, 40}, &naming::apiRole, "", t::apiRole},
    {"apiIntegrations", Kind::proList, "api/v1/api-integrations", "", {3, 8, 60}, &naming::apiClient, "", t::apiIntegration},
    {"computerPrestages", Kind::proList, "api/v3/computer-prestages", "", {2, 8, 40}, &naming::prestage, "", t::computerPrestage},
    {"mobilePrestages", Kind::proList, "api/v2/mobile-device-prestages", "", {2, 8, 40}, &naming::prestage, "", t::mobilePrestage},
    {"deviceEnrollments", Kind::proList, "api/v1/device-enrollments", "", {1, 2, 8}, &naming::enrollment, "", t::deviceEnrollment},
    {"enrollmentSettings", Kind::proSingle, "api/v4/enrollment", "", {1, 1, 1}, &naming::settings, "", t::enrollmentSettings},
    {"mobileEnrollmentProfiles", Kind::classicList, "mobiledeviceenrollmentprofiles", "mobile_device_enrollment_profiles", {1, 4, 20}, &naming::enrollment, t::enrollmentProfileListed, t::enrollmentProfile},
    {"reenrollment", Kind::proSingle, "api/v1/reenrollment", "", {1, 1, 1}, &naming::settings, "", t::reenrollment},
    {"macApplications", Kind::classicList, "macapplications", "mac_applications", {6, 50, 400}, &naming::appName, t::idName, t::macApplication},
    {"mobileDeviceApplications", Kind::classicList, "mobiledeviceapplications", "mobile_device_applications", {8, 120, 900}, &naming::appName, t::mobileApplicationListed, t::mobileApplication},
    {"ebooks", Kind::classicList, "ebooks", "ebooks", {2, 16, 120}, &naming::book, t::idName, t::ebook},
    {"appInstallers", Kind::proList, "api/v1/app-installers/deployments", "", {4, 30, 201}, &naming::installer, t::appInstallerListed, t::appInstaller},
    {"volumePurchasingLocations", Kind::proList, "api/v1/volume-purchasing-locations", "", {1, 4, 40}, &naming::location, "", t::volumePurchasingLocation},
    {"vppAssignments", Kind::classicList, "vppassignments", "vpp_assignments", {2, 12, 100}, &naming::installer, t::idName, t::vppAssignment},
    {"vppInvitations", Kind::classicList, "vppinvitations", "vpp_invitations", {1, 5, 30}, &naming::location, t::idName, t::vppInvitation},
    {"patchSoftwareTitles", Kind::proArray, "api/v2/patch-software-title-configurations", "", {4, 40, 220}, &naming::patch, "", t::patchTitle},
    {"patchPolicies", Kind::classicList, "patchpolicies", "patch_policies", {4, 40, 400}, &naming::patch, t::idName, t::patchPolicy},
    {"managedSoftwareUpdatePlans", Kind::proList, "api/v1/managed-software-updates/plans", "", {5, 60, 400}, &naming::settings, "", t::updatePlan, IDStyle::uuid},
    {"blueprints", Kind::proList, "api/blueprints", "", {2, 12, 80}, &naming::blueprint, t::blueprintListed, t::blueprint, IDStyle::uuid},
    {"advancedComputerSearches", Kind::classicList, "advancedcomputersearches", "advanced_computer_searches", {4, 40, 300}, &naming::search, t::idName, t::computerSearch},
    {"advancedMobileDeviceSearches", Kind::classicList, "advancedmobiledevicesearches", "advanced_mobile_device_searches", {3, 25, 200}, &naming::search, t::idName, t::mobileSearch},
    {"advancedUserSearches", Kind::classicList, "advancedusersearches", "advanced_user_searches", {0, 8, 80}, &naming::search, t::idName, t::userSearch},
    {"restrictedSoftware", Kind::classicList, "restrictedsoftware", "restricted_software", {3, 25, 150}, &naming::restriction, t::idName, t::restrictedSoftware},
    {"licensedSoftware", Kind::classicList, "licensedsoftware", "licensed_software", {2, 15, 120}, &naming::licence, t::idName, t::licensedSoftware},
    {"printers", Kind::classicList, "printers", "printers", {5, 80, 560}, &naming::printer, t::idName, t::printer},
    {"dockItems", Kind::classicList, "dockitems", "dock_items", {4, 20, 100}, &naming::dockItem, t::idName, t::dockItem},
    {"directoryBindings", Kind::classicList, "directorybindings", "directory_bindings", {1, 2, 6}, &naming::binding, t::idName, t::directoryBinding},
    {"diskEncryptionConfigurations", Kind::classicList, "diskencryptionconfigurations", "disk_encryption_configurations", {1, 3, 8}, &naming::diskEncryption, t::idName, t::diskEncryption},
    {"ibeacons", Kind::classicList, "ibeacons", "ibeacons", {2, 20, 120}, &naming::beacon, t::beaconListed, t::beacon, IDStyle::number, true},
    {"removableMacAddresses", Kind::classicList, "removablemacaddresses", "removable_mac_addresses", {2, 6, 20}, &naming::macAddress, t::idName, t::removableMac, IDStyle::number, true},
    {"softwareUpdateServers", Kind::classicList, "softwareupdateservers", "software_update_servers", {1, 2, 6}, &naming::updateServer, t::idName, t::updateServer},
    {"classes", Kind::classicList, "classes", "classes", {5, 200, 400}, &naming::classroom, t::classListed, t::classroom},
    {"allowedFileExtensions", Kind::classicList, "allowedfileextensions", "allowed_file_extensions", {3, 8, 10}, &naming::fileExtension, t::extensionListed, t::fileExtension, IDStyle::number, true},
    {"byoProfiles", Kind::classicList, "byoprofiles", "byoprofiles", {1, 1, 2}, &naming::enrollment, t::idName, t::byoProfile},
    {"ldapServers", Kind::classicList, "ldapservers", "ldap_servers", {1, 2, 4}, &naming::binding, t::idName, t::ldapServer},
    {"cloudIdentityProviders", Kind::proList, "api/v1/cloud-idp", "", {1, 1, 2}, &naming::directory, "", t::cloudIdentityProvider},
    {"webhooks", Kind::classicList, "webhooks", "webhooks", {2, 8, 40}, &naming::webhook, t::idName, t::webhook},
    {"ssoSettings", Kind::proSingle, "api/v3/sso", "", {1, 1, 1}, &naming::settings, "", t::ssoSettings},
    {"computerCheckIn", Kind::classicSingle, "computercheckin", "", {1, 1, 1}, &naming::settings, "", t::computerCheckIn},
    {"computerInventoryCollection", Kind::classicSingle, "computerinventorycollection", "", {1, 1, 1}, &naming::settings, "", t::computerInventoryCollection},
    {"inventoryCollectionSettings", Kind::proSingle, "api/v2/computer-inventory-collection-settings", "", {1, 1, 1}, &naming::settings, "", t::inventoryCollectionSettings},
    {"checkInSettings", Kind::proSingle, "api/v3/check-in", "", {1, 1, 1}, &naming::settings, "", t::checkInSettings},
    {"smtpServer", Kind::classicSingle, "smtpserver", "", {1, 1, 1}, &naming::settings, "", t::smtpServer},
    {"gsxConnection", Kind::classicSingle, "gsxconnection", "", {1, 1, 1}, &naming::settings, "", t::gsxConnection},
    {"activationCode", Kind::classicSingle, "activationcode", "", {1, 1, 1}, &naming::settings, "", t::activationCode},
    {"selfServiceSettings", Kind::proSingle, "api/v1/self-service/settings", "", {1, 1, 1}, &naming::settings, "", t::selfServiceSettings},
    {"localAdminPasswordSettings", Kind::proSingle, "api/v2/local-admin-password/settings", "", {1, 1, 1}, &naming::settings, "", t::localAdminPasswordSettings},
    {"cacheSettings", Kind::proSingle, "api/v1/cache-settings", "", {1, 1, 1}, &naming::settings, "", t::cacheSettings},
    {"engageSettings", Kind::proSingle, "api/v2/engage", "", {1, 1, 1}, &naming::settings, "", t::engageSettings},
    {"jamfProInformation", Kind::proSingle, "api/v2/jamf-pro-information", "", {1, 1, 1}, &naming::settings, "", t::jamfProInformation},
    {"jamfConnectProfiles", Kind::proList, "api/v1/jamf-connect/config-profiles", "", {0, 4, 20}, &naming::profile, "", t::jamfConnectProfile, IDStyle::uuid},
    {"deviceCommunicationSettings", Kind::proSingle, "api/v1/device-communication-settings", "", {1, 1, 1}, &naming::settings, "", t::deviceCommunicationSettings},
    {"teacherApp", Kind::proSingle, "api/v1/teacher-app", "", {1, 1, 1}, &naming::settings, "", t::teacherApp},
    {"appRequestSettings", Kind::proSingle, "api/v1/app-request/settings", "", {1, 1, 1}, &naming::settings, "", t::appRequestSettings},
};
// clang-format on

}  // namespace

std::span<const SectionRow> sectionTable() { return rows; }

std::string_view rootKey(const SectionRow& row) {
  if (row.kind != Kind::classicList) return {};
  const std::size_t end = row.record.find('"', 2);
  return row.record.substr(2, end - 2);
}

std::optional<std::size_t> sectionNumber(std::string_view id) {
  static const std::unordered_map<std::string_view, std::size_t> numbers = [] {
    std::unordered_map<std::string_view, std::size_t> made;
    for (std::size_t i = 0; i < std::size(rows); ++i) made.emplace(rows[i].id, i);
    return made;
  }();
  const auto found = numbers.find(id);
  return found == numbers.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace sample
