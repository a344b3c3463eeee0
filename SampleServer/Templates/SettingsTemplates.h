#pragma once

#include <string_view>

/// Sections that are one object. The members stand in the order in which servers send them.
namespace sample::templates {

inline constexpr std::string_view computerCheckIn =
    R"json({"computer_check_in":{"check_in_frequency":${level:15},"create_startup_script":true,"log_startup_event":true,"check_for_policies_at_startup":true,"apply_computer_level_managed_preferences":false,"ensure_ssh_is_enabled":false,"create_login_logout_hooks":true,"log_username":true,"check_for_policies_at_login_logout":true,"apply_user_level_managed_preferences":false,"hide_restore_partition":false,"perform_login_actions_in_background":false,"display_status_to_user":false}})json";

// "inclue" is how servers spell it.
inline constexpr std::string_view computerInventoryCollection =
    R"json({"computer_inventory_collection":{"local_user_accounts":${toggle},"home_directory_sizes":false,"hidden_accounts":false,"printers":true,"active_services":true,"mobile_device_app_purchasing_info":false,"computer_location_information":false,"package_receipts":true,"available_software_updates":false,"inclue_applications":true,"inclue_fonts":false,"inclue_plugins":false,"applications":[{"path":"/Applications/Werkzeuge","platform":"Mac"}],"fonts":[],"plugins":[]}})json";

inline constexpr std::string_view smtpServer =
    R"json({"smtp_server":{"enabled":true,"host":"mail.example.org","port":587,"timeout":${level:5},"authorization_required":true,"username":"jamf","password_sha256":"********************","ssl":false,"tls":true,"send_from_name":"Jamf Pro","send_from_email":"jamf@example.org"}})json";

inline constexpr std::string_view gsxConnection =
    R"json({"gsx_connection":{"enabled":${toggle},"username":"","account_number":0,"region":"EMEA","uri":""}})json";

inline constexpr std::string_view activationCode =
    R"json({"activation_code":{"organization_name":"Tamarack Institute & Söhne","code":"AAAA-BBBB-CCCC-DDDD-${level:1000}"}})json";

inline constexpr std::string_view cloudDistributionPoint =
    R"json({"hasConnectionSucceeded":true,"message":"","inventoryId":"${hex:12}","cdnType":"JAMF_CLOUD","master":${toggle},"username":"","password":"","directory":"","cdnUrl":"","uploadUrl":"","downloadUrl":"","secondaryAuthRequired":false,"secondaryAuthStatusCode":0,"secondaryAuthTimeToLive":0,"requireSignedUrls":false,"keyPairId":"","expirationSeconds":0,"privateKey":""})json";

inline constexpr std::string_view enrollmentSettings =
    R"json({"installSingleProfile":false,"signingMdmProfileEnabled":false,"mdmSigningCertificate":null,"restrictReenrollment":${toggle},"flushLocationInformation":false,"flushLocationHistoryInformation":false,"flushPolicyHistory":true,"flushExtensionAttributes":false,"flushSoftwareUpdatePlans":false,"flushMdmCommandsOnReenroll":"DELETE_EVERYTHING_EXCEPT_ACKNOWLEDGED","macOsEnterpriseEnrollmentEnabled":true,"managementUsername":"jamfmanage","createManagementAccount":true,"hideManagementAccount":true,"allowSshOnlyManagementAccount":false,"ensureSshRunning":false,"launchSelfService":true,"signQuickAdd":false,"developerCertificateIdentity":null,"developerCertificateIdentityDetails":{"subject":"","serialNumber":""},"mdmSigningCertificateDetails":{"subject":"","serialNumber":""},"iosEnterpriseEnrollmentEnabled":true,"iosPersonalEnrollmentEnabled":false,"personalDeviceEnrollmentType":"USERENROLLMENT","accountDrivenUserEnrollmentEnabled":true,"accountDrivenDeviceIosEnrollmentEnabled":false,"accountDrivenDeviceMacosEnrollmentEnabled":false,"accountDrivenUserVisionosEnrollmentEnabled":false,"accountDrivenDeviceVisionosEnrollmentEnabled":false,"maidUsernameMergeEnabled":false})json";

inline constexpr std::string_view reenrollment =
    R"json({"isFlushPolicyHistoryEnabled":${toggle},"isFlushLocationInformationEnabled":false,"isFlushLocationInformationHistoryEnabled":false,"isFlushExtensionAttributesEnabled":false,"isFlushSoftwareUpdatePlansEnabled":false,"flushMDMQueue":"DELETE_ERRORS"})json";

inline constexpr std::string_view ssoSettings =
    R"json({"configurationType":"SAML","oidcSettings":{"userMapping":"EMAIL","jamfIdAuthenticationEnabled":false,"usernameAttributeClaimMapping":""},"samlSettings":{"tokenExpirationDisabled":false,"userAttributeEnabled":false,"userAttributeName":"","userMapping":"USERNAME","groupAttributeName":"http://schemas.example.org/groups","groupRdnKey":"","idpProviderType":"OTHER","idpUrl":"https://idp.example.org/saml","entityId":"https://jamf.example.org/saml/metadata","metadataFileName":"métadonnées.xml","otherProviderTypeName":"Schul-IdP","federationMetadataFile":"PEVudGl0eURlc2NyaXB0b3IvPg==","metadataSource":"FILE","sessionTimeout":${level:480}},"ssoForEnrollmentEnabled":true,"ssoBypassAllowed":true,"ssoEnabled":true,"ssoForMacOsSelfServiceEnabled":true,"enrollmentSsoForAccountDrivenEnrollmentEnabled":false,"enrollmentSsoConfig":{"hosts":["example.org"],"managementHint":""},"groupEnrollmentAccessEnabled":false,"groupEnrollmentAccessName":""})json";

inline constexpr std::string_view inventoryCollectionSettings =
    R"json({"computerInventoryCollectionPreferences":{"monitorApplicationUsage":false,"includePackages":true,"includeSoftwareUpdates":true,"includeSoftwareId":false,"includeAccounts":true,"calculateSizes":${toggle},"includeHiddenAccounts":false,"includePrinters":true,"includeServices":true,"collectSyncedMobileDeviceInfo":false,"updateLdapInfoOnComputerInventorySubmissions":false,"monitorBeacons":false,"allowChangingUserAndLocation":true,"useUnixUserPaths":true,"collectUnmanagedCertificates":true},"applicationPaths":[{"id":"1","path":"/Applications/Werkzeuge"}]})json";

inline constexpr std::string_view checkInSettings =
    R"json({"checkInFrequency":${level:15},"createHooks":true,"hookLog":true,"hookPolicies":true,"createStartupScript":true,"startupLog":true,"startupPolicies":true,"startupSsh":false,"enableLocalConfigurationProfiles":false})json";

inline constexpr std::string_view selfServiceSettings =
    R"json({"installSettings":{"installAutomatically":${toggle},"installLocation":"/Applications"},"loginSettings":{"userLoginLevel":"NotRequired","allowRememberMe":true,"useFido2":false,"authType":"Basic"},"configurationSettings":{"notificationsEnabled":true,"alertUserApprovedMdm":true,"defaultLandingPage":"HOME","defaultHomeCategoryId":-1,"bookmarksName":"Lesezeichen"}})json";

inline constexpr std::string_view localAdminPasswordSettings =
    R"json({"autoDeployEnabled":true,"passwordRotationTime":${level:3600},"autoRotateEnabled":true,"autoRotateExpirationTime":7776000})json";

inline constexpr std::string_view cacheSettings =
    R"json({"id":"0","name":"cache configuration","cacheType":"ehcache","timeToLiveSeconds":${level:120},"timeToIdleSeconds":120,"directoryTimeToLiveSeconds":120,"ehcacheMaxBytesLocalHeap":"null","cacheUniqueId":"${hex:16}","elasticache":false,"memcachedEndpoints":[]})json";

inline constexpr std::string_view engageSettings = R"json({"isEnabled":${toggle}})json";

inline constexpr std::string_view jamfProInformation =
    R"json({"vppTokenEnabled":true,"depAccountEnabled":true,"byodEnabled":false,"userMigrationEnabled":false,"cloudDeploymentsEnabled":true,"patchEnabled":true,"ssoSamlEnabled":${toggle},"smtpEnabled":true})json";

inline constexpr std::string_view deviceCommunicationSettings =
    R"json({"autoRenewMobileDeviceMdmProfileWhenCaRenewed":true,"autoRenewMobileDeviceMdmProfileWhenDeviceIdentityCertExpiring":true,"autoRenewComputerMdmProfileWhenCaRenewed":true,"autoRenewComputerMdmProfileWhenDeviceIdentityCertExpiring":${toggle},"mdmProfileMobileDeviceExpirationLimitInDays":180,"mdmProfileComputerExpirationLimitInDays":180})json";

inline constexpr std::string_view teacherApp =
    R"json({"isEnabled":true,"timezoneId":"Europe/Berlin","autoClear":"18:00","maxRestrictionLengthSeconds":${level:7200},"displayNameType":"DEVICE_NAME","features":{"isAllowAppLock":true,"isAllowWebLock":true,"isAllowRestrictions":true,"isAllowAttentionScreen":true,"isAllowClearPasscode":false},"safelistedApps":[{"name":"Textwerk","bundleId":"org.example.textwerk"}]})json";

inline constexpr std::string_view appRequestSettings =
    R"json({"isEnabled":${toggle},"appStoreLocale":"de","requesterUserGroupId":1,"approverEmails":["technik@example.org"]})json";

}  // namespace sample::templates
