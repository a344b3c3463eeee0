#pragma once

#include <string_view>

/// Records of the sections that are read as pages or bare arrays. The list holds the same records, unless a
/// second template ends in "Listed".
namespace sample::templates {

inline constexpr std::string_view computerExtensionAttribute =
    R"json({"id":${idText},"name":${name},"description":${remark},"dataType":${pick:STRING|INTEGER|DATE},"enabled":${flag},"inventoryDisplayType":${pick:GENERAL|HARDWARE|OPERATING_SYSTEM|EXTENSION_ATTRIBUTES},"inputType":"SCRIPT","scriptContents":${script},"popupMenuChoices":[],"ldapAttributeMapping":"","ldapExtensionAttributeAllowed":false,"manageExistingData":null})json";

inline constexpr std::string_view script =
    R"json({"id":${idText},"name":${name},"info":${remark},"notes":"","priority":${pick:AFTER|BEFORE|AT_REBOOT},"categoryId":${refID:categories},"categoryName":${refName:categories},"parameter4":"App","parameter5":"","parameter6":"","parameter7":"","parameter8":"","parameter9":"","parameter10":"","parameter11":"","osRequirements":"","scriptContents":${script}})json";

inline constexpr std::string_view package =
    R"json({"id":${idText},"packageName":${name},${package:fileName},"categoryId":${refID:categories},"info":${remark},"notes":"","priority":${between:1:20},"osRequirements":"","fillUserTemplate":false,"indexed":false,"fillExistingUsers":false,"swu":false,"rebootRequired":${flag},"selfHealNotify":false,"selfHealingAction":"nothing","osInstall":false,"serialNumber":"","parentPackageId":"-1","basePath":"","suppressUpdates":false,"cloudTransferStatus":"READY","ignoreConflicts":false,"suppressFromDock":false,"suppressEula":false,"suppressRegistration":false,"installLanguage":"en_US",${package:hashes},${package:size},"osInstallerVersion":"","manifest":"","manifestFileName":"","format":""})json";

inline constexpr std::string_view cloudFile = R"json({${cloudFile},"region":"eu-central-1"})json";

inline constexpr std::string_view apiRole =
    R"json({"id":${idText},"displayName":${name},"privileges":["Read Computers","Read Policies",${pick:Read Scripts|Read Packages|Read Sites|Read Users},"Level ${level:1}"]})json";

inline constexpr std::string_view apiIntegration =
    R"json({"id":${id},"authorizationScopes":[${refName:apiRoles}],"displayName":${name},"enabled":true,"accessTokenLifetimeSeconds":${level:600},"appType":"CLIENT_CREDENTIALS","clientId":${ownUUID}})json";

inline constexpr std::string_view computerPrestage =
    R"json({"id":${idText},"profileUuid":${uuid},"siteId":"-1","versionLock":${level:3},"displayName":${name},"mandatory":true,"mdmRemovable":false,"supportPhoneNumber":"","supportEmailAddress":"help@example.org","department":"","defaultPrestage":false,"enrollmentSiteId":"-1","keepExistingSiteMembership":false,"keepExistingLocationInformation":true,"requireAuthentication":true,"authenticationPrompt":${remark},"preventActivationLock":true,"enableDeviceBasedActivationLock":false,"deviceEnrollmentProgramInstanceId":"1","skipSetupItems":{"Siri":true,"ScreenTime":true,"FileVault":false},"locationInformation":{"id":"-1","versionLock":0,"username":"","realname":"","phone":"","email":"","room":"","position":"","departmentId":"-1","buildingId":${refID:buildings}},"purchasingInformation":{"id":"-1","versionLock":0,"leased":false,"purchased":true,"appleCareId":"","poNumber":"","vendor":"","purchasePrice":"","lifeExpectancy":0,"purchasingAccount":"","purchasingContact":"","leaseDate":"1970-01-01","poDate":"1970-01-01","warrantyDate":"1970-01-01"},"anchorCertificates":[],"enrollmentCustomizationId":"0","language":"","region":"","autoAdvanceSetup":false,"installProfilesDuringSetup":true,"prestageInstalledProfileIds":[${refID:computerConfigurationProfiles}],"customPackageIds":[],"customPackageDistributionPointId":"-1","enableRecoveryLock":false,"recoveryLockPasswordType":"MANUAL","rotateRecoveryLockPassword":false,"prestageMinimumOsTargetVersionType":"NO_ENFORCEMENT","minimumOsSpecificVersion":"","pssoEnabled":false,"accountSettings":{"id":${idText},"payloadConfigured":true,"localAdminAccountEnabled":true,"adminUsername":"labadmin","hiddenAdminAccount":true,"localUserManaged":false,"userAccountType":"STANDARD","versionLock":1,"prefillPrimaryAccountInfoFeatureEnabled":false,"prefillType":"UNKNOWN","prefillAccountFullName":"","prefillAccountUserName":"","preventPrefillInfoFromModification":false}})json";

inline constexpr std::string_view mobilePrestage =
    R"json({"id":${idText},"profileUuid":${uuid},"siteId":"-1","versionLock":${level:3},"displayName":${name},"mandatory":true,"mdmRemovable":false,"supportPhoneNumber":"","supportEmailAddress":"help@example.org","department":"","defaultPrestage":false,"enrollmentSiteId":"-1","keepExistingSiteMembership":false,"keepExistingLocationInformation":true,"requireAuthentication":true,"authenticationPrompt":${remark},"preventActivationLock":true,"enableDeviceBasedActivationLock":false,"deviceEnrollmentProgramInstanceId":"1","skipSetupItems":{"Siri":true,"ScreenTime":true},"anchorCertificates":[],"enrollmentCustomizationId":"0","language":"","region":"","autoAdvanceSetup":false,"allowPairing":true,"multiUser":${flag},"supervised":true,"maximumSharedAccounts":10,"configureDeviceBeforeSetupAssistant":true,"names":{"assignNamesUsing":"Serial Numbers","prestageDeviceNames":[],"deviceNamePrefix":"iPad-","deviceNameSuffix":"","singleDeviceName":"","manageNames":true,"deviceNamingConfigured":true},"sendTimezone":true,"timezone":"Europe/Berlin","storageQuotaSizeMegabytes":4096,"useStorageQuotaSize":false,"temporarySessionOnly":false,"enforceTemporarySessionTimeout":false,"temporarySessionTimeout":0,"enforceUserSessionTimeout":false,"userSessionTimeout":0,"prestageMinimumOsTargetVersionTypeIos":"NO_ENFORCEMENT","minimumOsSpecificVersionIos":"","prestageMinimumOsTargetVersionTypeIpad":"NO_ENFORCEMENT","minimumOsSpecificVersionIpad":"","rtsEnabled":false,"rtsConfigProfileId":null})json";

inline constexpr std::string_view deviceEnrollment =
    R"json({"id":${idText},"name":${name},"supervisionIdentityId":"1","siteId":"-1","serverName":${name},"serverUuid":"${hex:32}","adminId":${email},"orgName":"Tamarack Institute","orgEmail":${email},"orgPhone":"+49 30 5550${level:100}","orgAddress":"Mühlenweg 4","tokenExpirationDate":${date}})json";

inline constexpr std::string_view appInstallerListed =
    R"json({"id":${idText},"name":${name},"enabled":true,"deploymentType":${pick:INSTALL_AUTOMATICALLY|SELF_SERVICE},"updateBehavior":"AUTOMATIC","app":{"id":"${hex:3}","bundleId":"org.example.${hex:6}","iconUrl":"https://icons.example.org/${hex:8}","latestVersion":${version},"selectedVersion":"","deployedVersion":"1.${level:0}","versionRemoved":false,"titleAvailableInAis":true,"mediaSourceType":"S3"},"site":{"id":"-1","name":"None"},"smartGroup":{"id":${refID:computerGroups},"name":"Managed"},"category":{"id":${refID:categories},"name":${refName:categories}},"computerStatuses":{"installed":${between:0:400},"available":0,"inProgress":0,"failed":${between:0:9}}})json";

inline constexpr std::string_view appInstaller =
    R"json({"id":${idText},"name":${name},"enabled":true,"appTitleId":"${hex:3}","siteId":"-1","smartGroupId":${refID:computerGroups},"deploymentType":${pick:INSTALL_AUTOMATICALLY|SELF_SERVICE},"updateBehavior":"AUTOMATIC","installPredefinedConfigProfiles":${toggle},"notificationSettings":{"notificationMessage":${remark},"notificationInterval":1,"deadline":24},"selfServiceSettings":{"includeInFeaturedCategory":false,"description":""}})json";

inline constexpr std::string_view volumePurchasingLocation =
    R"json({"id":${idText},"name":${name},"totalPurchasedLicenses":${level:500},"totalUsedLicenses":${between:0:500},"appleId":${email},"email":${email},"organizationName":"Tamarack Institute","tokenExpiration":${time},"countryCode":"DE","locationName":${name},"clientContextMismatch":false,"automaticallyPopulatePurchasedContent":true,"sendNotificationWhenNoLongerAssigned":false,"autoRegisterManagedUsers":false,"siteId":"-1","siteName":null,"lastSyncTime":${time}})json";

inline constexpr std::string_view patchTitle =
    R"json({"id":${idText},"displayName":${name},"categoryId":${refID:categories},"siteId":"-1","uiNotifications":${toggle},"emailNotifications":false,"softwareTitleId":${idText},"jamfOfficial":true,"extensionAttributes":[{"accepted":true,"eaId":"ea-${hex:6}"}],"softwareTitleName":${app},"softwareTitleNameId":"${hex:3}","softwareTitlePublisher":"Beispiel & Partner","patchSourceName":"Jamf","patchSourceEnabled":true,"packages":[{"packageId":${refID:packages},"version":${version},"displayName":${refName:packages}}]})json";

inline constexpr std::string_view updatePlan =
    R"json({"planUuid":${idText},"device":{"deviceId":${refID:computers},"objectType":"COMPUTER","href":"/v1/computers-inventory/${refNumber:computers}"},"updateAction":"DOWNLOAD_INSTALL_SCHEDULE","versionType":${pick:LATEST_MAJOR|LATEST_MINOR|SPECIFIC_VERSION},"specificVersion":"NO_SPECIFIC_VERSION","buildVersion":null,"maxDeferrals":${level:0},"forceInstallLocalDateTime":null,"recipeId":"-1","status":{"state":${pick:Init|PendingPlanValidation|PlanCompleted|PlanFailed},"errorReasons":[]}})json";

inline constexpr std::string_view blueprintListed =
    R"json({"id":${idText},"name":${name},"description":${remark},"created":${time},"updated":${stamp},"deploymentState":{"state":${pick:DEPLOYED|NOT_DEPLOYED|OUT_OF_DATE},"lastDeployment":{"started":${time},"state":"SUCCEEDED"}}})json";

inline constexpr std::string_view blueprint =
    R"json({"id":${idText},"name":${name},"description":${remark},"created":${time},"updated":${stamp},"deploymentState":{"state":${pick:DEPLOYED|NOT_DEPLOYED|OUT_OF_DATE},"lastDeployment":{"started":${time},"state":"SUCCEEDED"}},"scope":{"deviceGroups":[${uuid}]},"steps":[{"name":"Declaration group","components":[{"identifier":"com.example.ddm.passcode","configuration":{"RequirePasscode":true,"MinimumLength":${between:4:12}}}]}]})json";

inline constexpr std::string_view cloudIdentityProvider =
    R"json({"id":${idText},"displayName":${name},"enabled":${toggle},"providerName":${pick:AZURE|GOOGLE},"providerDescription":""})json";

inline constexpr std::string_view jamfConnectProfile =
    R"json({"uuid":${idText},"profileId":${refNumber:computerConfigurationProfiles},"profileName":${name},"profileScopeDescription":"Specific computers","version":"2.${level:40}.0","autoDeploymentType":${pick:PATCH_UPDATES|NONE}})json";

}  // namespace sample::templates
