#include "OrvikCore/Jamf/SectionCatalog.h"

#include <algorithm>

namespace orvik::SectionCatalog {

namespace {

using ClassicAccounts = SectionDefinition::ClassicAccounts;
using ClassicList = SectionDefinition::ClassicList;
using ClassicSingle = SectionDefinition::ClassicSingle;
using DeviceKind = SectionDefinition::DeviceKind;
using Devices = SectionDefinition::Devices;
using Files = SectionDefinition::Files;
using Pro = SectionDefinition::Pro;
using enum SectionDefinition::Group;

constexpr std::size_t primaryCount = 18;

constexpr Pro pro(std::string_view path) { return {path, {}, {"id"}}; }

constexpr SectionDefinition row(std::string_view id, std::string_view title, SectionDefinition::Group group,
                                SectionDefinition::Kind kind, std::string_view privilege) {
  return {id, title, group, kind, privilege};
}

// clang-format off
constexpr auto rows = std::array{
    row("computers", "Computers", devices, Devices{DeviceKind::computers}, "Read Computers"),
    row("mobileDevices", "Mobile devices", devices, Devices{DeviceKind::mobileDevices}, "Read Mobile Devices"),
    row("users", "Users", devices, ClassicList{"users", "users", "users"}, "Read Users"),
    row("computerConfigurationProfiles", "Computer configuration profiles", configuration, ClassicList{"osxconfigurationprofiles", "os_x_configuration_profiles", "osxconfigurationprofiles"}, "Read macOS Configuration Profiles"),
    row("mobileConfigurationProfiles", "Mobile device configuration profiles", configuration, ClassicList{"mobiledeviceconfigurationprofiles", "configuration_profiles", "mobiledeviceconfigurationprofiles"}, "Read iOS Configuration Profiles"),
    row("computerExtensionAttributes", "Computer extension attributes", configuration, pro("api/v1/computer-extension-attributes"), "Read Computer Extension Attributes"),
    row("mobileExtensionAttributes", "Mobile device extension attributes", configuration, ClassicList{"mobiledeviceextensionattributes", "mobile_device_extension_attributes", "mobiledeviceextensionattributes"}, "Read Mobile Device Extension Attributes"),
    row("userExtensionAttributes", "User extension attributes", configuration, ClassicList{"userextensionattributes", "user_extension_attributes", "userextensionattributes"}, "Read User Extension Attributes"),
    row("scripts", "Scripts", configuration, pro("api/v1/scripts"), "Read Scripts"),
    row("policies", "Policies", configuration, ClassicList{"policies", "policies", "policies"}, "Read Policies"),
    row("computerGroups", "Computer groups (smart and static)", groups, ClassicList{"computergroups", "computer_groups", "computergroups"}, "Read Smart Computer Groups, Read Static Computer Groups"),
    row("mobileDeviceGroups", "Mobile device groups (smart and static)", groups, ClassicList{"mobiledevicegroups", "mobile_device_groups", "mobiledevicegroups"}, "Read Smart Mobile Device Groups, Read Static Mobile Device Groups"),
    row("userGroups", "User groups (smart and static)", groups, ClassicList{"usergroups", "user_groups", "usergroups"}, "Read Smart User Groups, Read Static User Groups"),
    row("packages", "Packages", content, pro("api/v1/packages"), "Read Packages"),
    row("distributionPoints", "Distribution points", content, ClassicList{"distributionpoints", "distribution_points", "distributionpoints"}, "Read Distribution Points"),
    row("cloudDistributionPoint", "Cloud distribution point", content, pro("api/v1/cloud-distribution-point"), "Read Cloud Distribution Point"),
    row("jcdsFiles", "Files on the Jamf Cloud Distribution Service", content, Pro{"api/v1/jcds/files", "", {"fileName"}}, "Read Jamf Content Distribution Server Files"),
    row("packageFiles", "Package binaries", content, Files{}, "Read Jamf Content Distribution Server Files (cloud) / HTTP access to file share DPs"),
    row("sites", "Sites", secondary, ClassicList{"sites", "sites", "sites"}, "Read Sites"),
    row("buildings", "Buildings", secondary, ClassicList{"buildings", "buildings", "buildings"}, "Read Buildings"),
    row("departments", "Departments", secondary, ClassicList{"departments", "departments", "departments"}, "Read Departments"),
    row("categories", "Categories", secondary, ClassicList{"categories", "categories", "categories"}, "Read Categories"),
    row("networkSegments", "Network segments", secondary, ClassicList{"networksegments", "network_segments", "networksegments"}, "Read Network Segments"),
    row("accounts", "Jamf Pro user accounts and groups", secondary, ClassicAccounts{}, "Read Accounts"),
    row("apiRoles", "API roles", secondary, pro("api/v1/api-roles"), "Read API Roles"),
    row("apiIntegrations", "API clients (no secrets)", secondary, pro("api/v1/api-integrations"), "Read API Integrations"),
    row("computerPrestages", "Computer PreStage enrollments", secondary, pro("api/v3/computer-prestages"), "Read Computer PreStage Enrollments"),
    row("mobilePrestages", "Mobile device PreStage enrollments", secondary, pro("api/v2/mobile-device-prestages"), "Read Mobile Device PreStage Enrollments"),
    row("deviceEnrollments", "Automated Device Enrollment instances", secondary, pro("api/v1/device-enrollments"), "Read Automated Device Enrollment"),
    row("enrollmentSettings", "User-initiated enrollment settings", secondary, pro("api/v4/enrollment"), "Read User-Initiated Enrollment"),
    row("mobileEnrollmentProfiles", "Mobile device enrollment profiles", secondary, ClassicList{"mobiledeviceenrollmentprofiles", "mobile_device_enrollment_profiles", "mobiledeviceenrollmentprofiles"}, "Read Mobile Device Enrollment Profiles"),
    row("reenrollment", "Re-enrollment settings", secondary, pro("api/v1/reenrollment"), "Read Re-enrollment"),
    row("macApplications", "Mac App Store apps", secondary, ClassicList{"macapplications", "mac_applications", "macapplications"}, "Read Mac Applications"),
    row("mobileDeviceApplications", "Mobile device apps", secondary, ClassicList{"mobiledeviceapplications", "mobile_device_applications", "mobiledeviceapplications"}, "Read Mobile Device Apps"),
    row("ebooks", "eBooks", secondary, ClassicList{"ebooks", "ebooks", "ebooks"}, "Read eBooks"),
    row("appInstallers", "App Installers deployments", secondary, pro("api/v1/app-installers/deployments"), "Read App Installers"),
    row("volumePurchasingLocations", "Volume purchasing locations", secondary, pro("api/v1/volume-purchasing-locations"), "Read Volume Purchasing Locations"),
    row("vppAssignments", "VPP assignments", secondary, ClassicList{"vppassignments", "vpp_assignments", "vppassignments"}, "Read VPP Assignments"),
    row("vppInvitations", "VPP invitations", secondary, ClassicList{"vppinvitations", "vpp_invitations", "vppinvitations"}, "Read VPP Invitations"),
    row("patchSoftwareTitles", "Patch management software titles", secondary, pro("api/v2/patch-software-title-configurations"), "Read Patch Management Software Titles"),
    row("patchPolicies", "Patch policies", secondary, ClassicList{"patchpolicies", "patch_policies", "patchpolicies"}, "Read Patch Policies"),
    row("managedSoftwareUpdatePlans", "Managed software update plans", secondary, pro("api/v1/managed-software-updates/plans"), "Read Managed Software Updates"),
    row("blueprints", "Blueprints (declarative device management)", secondary, Pro{"api/blueprints", "api/blueprints", {"id"}}, "Read Blueprints"),
    row("advancedComputerSearches", "Advanced computer searches", secondary, ClassicList{"advancedcomputersearches", "advanced_computer_searches", "advancedcomputersearches"}, "Read Advanced Computer Searches"),
    row("advancedMobileDeviceSearches", "Advanced mobile device searches", secondary, ClassicList{"advancedmobiledevicesearches", "advanced_mobile_device_searches", "advancedmobiledevicesearches"}, "Read Advanced Mobile Device Searches"),
    row("advancedUserSearches", "Advanced user searches", secondary, ClassicList{"advancedusersearches", "advanced_user_searches", "advancedusersearches"}, "Read Advanced User Searches"),
    row("restrictedSoftware", "Restricted software", secondary, ClassicList{"restrictedsoftware", "restricted_software", "restrictedsoftware"}, "Read Restricted Software"),
    row("licensedSoftware", "Licensed software", secondary, ClassicList{"licensedsoftware", "licensed_software", "licensedsoftware"}, "Read Licensed Software"),
    row("printers", "Printers", secondary, ClassicList{"printers", "printers", "printers"}, "Read Printers"),
    row("dockItems", "Dock items", secondary, ClassicList{"dockitems", "dock_items", "dockitems"}, "Read Dock Items"),
    row("directoryBindings", "Directory bindings", secondary, ClassicList{"directorybindings", "directory_bindings", "directorybindings"}, "Read Directory Bindings"),
    row("diskEncryptionConfigurations", "Disk encryption configurations", secondary, ClassicList{"diskencryptionconfigurations", "disk_encryption_configurations", "diskencryptionconfigurations"}, "Read Disk Encryption Configurations"),
    row("ibeacons", "iBeacon regions", secondary, ClassicList{"ibeacons", "ibeacons", "ibeacons"}, "Read iBeacon"),
    row("removableMacAddresses", "Removable MAC addresses", secondary, ClassicList{"removablemacaddresses", "removable_mac_addresses", "removablemacaddresses"}, "Read Removable MAC Address"),
    row("softwareUpdateServers", "Software update servers", secondary, ClassicList{"softwareupdateservers", "software_update_servers", "softwareupdateservers"}, "Read Software Update Servers"),
    row("classes", "Classes", secondary, ClassicList{"classes", "classes", "classes"}, "Read Classes"),
    row("allowedFileExtensions", "Allowed file extensions", secondary, ClassicList{"allowedfileextensions", "allowed_file_extensions", "allowedfileextensions"}, "Read Allowed File Extension"),
    row("byoProfiles", "Personal device profiles", secondary, ClassicList{"byoprofiles", "byoprofiles", "byoprofiles"}, "Read Personal Device Profiles"),
    row("ldapServers", "LDAP servers", secondary, ClassicList{"ldapservers", "ldap_servers", "ldapservers"}, "Read LDAP Servers"),
    row("cloudIdentityProviders", "Cloud identity providers", secondary, pro("api/v1/cloud-idp"), "Read Cloud Identity Providers"),
    row("webhooks", "Webhooks", secondary, ClassicList{"webhooks", "webhooks", "webhooks"}, "Read Webhooks"),
    row("ssoSettings", "Single sign-on settings", secondary, pro("api/v3/sso"), "Read SSO Settings"),
    row("computerCheckIn", "Computer check-in", secondary, ClassicSingle{"computercheckin"}, "Read Computer Check-In"),
    row("computerInventoryCollection", "Computer inventory collection", secondary, ClassicSingle{"computerinventorycollection"}, "Read Computer Inventory Collection"),
    row("inventoryCollectionSettings", "Inventory collection settings", secondary, pro("api/v2/computer-inventory-collection-settings"), "Read Computer Inventory Collection Settings"),
    row("checkInSettings", "Check-in settings", secondary, pro("api/v3/check-in"), "Read Computer Check-In"),
    row("smtpServer", "SMTP server", secondary, ClassicSingle{"smtpserver"}, "Read SMTP Server"),
    row("gsxConnection", "GSX connection", secondary, ClassicSingle{"gsxconnection"}, "Read GSX Connection"),
    row("activationCode", "Activation code", secondary, ClassicSingle{"activationcode"}, "Read Activation Code"),
    row("selfServiceSettings", "Self Service settings", secondary, pro("api/v1/self-service/settings"), "Read Self Service"),
    row("localAdminPasswordSettings", "Local administrator password (LAPS) settings", secondary, pro("api/v2/local-admin-password/settings"), "Read Local Admin Password Settings"),
    row("cacheSettings", "Cache settings", secondary, pro("api/v1/cache-settings"), "Read Cache"),
    row("engageSettings", "Engage settings", secondary, pro("api/v2/engage"), "Read Engage"),
    row("jamfProInformation", "Jamf Pro information", secondary, pro("api/v2/jamf-pro-information"), "(any)"),
    row("jamfConnectProfiles", "Jamf Connect configuration profiles", secondary, pro("api/v1/jamf-connect/config-profiles"), "Read Jamf Connect Deployments"),
    row("deviceCommunicationSettings", "Device communication settings", secondary, pro("api/v1/device-communication-settings"), "Read Automatically Renew MDM Profile Settings"),
    row("teacherApp", "Teacher app settings", secondary, pro("api/v1/teacher-app"), "Read Teacher App Settings"),
    row("appRequestSettings", "App request settings", secondary, pro("api/v1/app-request/settings"), "Read App Request Settings"),
};
// clang-format on

}  // namespace

std::span<const SectionDefinition> primary() { return all().first(primaryCount); }

std::span<const SectionDefinition> secondary() { return all().subspan(primaryCount); }

std::span<const SectionDefinition> all() { return rows; }

const SectionDefinition* definition(std::string_view id) {
  const auto place = position(id);
  return place < all().size() ? &all()[place] : nullptr;
}

std::size_t position(std::string_view id) {
  const auto row = std::ranges::find(all(), id, &SectionDefinition::id);
  return static_cast<std::size_t>(row - all().begin());
}

}  // namespace orvik::SectionCatalog
