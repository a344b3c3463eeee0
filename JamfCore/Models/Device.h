#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "JamfCore/Models/Page.h"
#include "Platform/Boxed.h"
#include "Platform/JSON/Codable.h"

namespace jamf {

using platform::Boxed;

/// A computer of the inventory.
///
/// A section is present when it was asked for and the server has it. Their fields bear the keys of the
/// inventory API and may all be missing; points in time are texts as the server writes them, sizes are in the
/// unit that the name says, other counts are plain. What is not there takes hardly any room: a list of a
/// whole fleet stays small.
struct Device {
  /// A value that an extension attribute has on this computer.
  struct ExtensionAttributeValue {
    Boxed<std::string> definitionId;
    Boxed<std::string> name;
    Boxed<std::string> description;
    std::optional<bool> enabled;
    std::optional<bool> multiValue;
    Boxed<std::vector<std::string>> values;
    Boxed<std::string> dataType;
    Boxed<std::vector<std::string>> options;
    Boxed<std::string> inputType;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(field("definitionId", &ExtensionAttributeValue::definitionId),
                       field("name", &ExtensionAttributeValue::name),
                       field("description", &ExtensionAttributeValue::description),
                       field("enabled", &ExtensionAttributeValue::enabled),
                       field("multiValue", &ExtensionAttributeValue::multiValue),
                       field("values", &ExtensionAttributeValue::values),
                       field("dataType", &ExtensionAttributeValue::dataType),
                       field("options", &ExtensionAttributeValue::options),
                       field("inputType", &ExtensionAttributeValue::inputType));
    }
    bool operator==(const ExtensionAttributeValue&) const = default;
  };

  struct RemoteManagement {
    std::optional<bool> managed;
    Boxed<std::string> managementUsername;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(field("managed", &RemoteManagement::managed),
                       field("managementUsername", &RemoteManagement::managementUsername));
    }
    bool operator==(const RemoteManagement&) const = default;
  };

  struct MDMCapable {
    std::optional<bool> capable;
    Boxed<std::vector<std::string>> capableUsers;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(field("capable", &MDMCapable::capable),
                       field("capableUsers", &MDMCapable::capableUsers));
    }
    bool operator==(const MDMCapable&) const = default;
  };

  struct EnrollmentMethod {
    Boxed<std::string> id;
    Boxed<std::string> objectName;
    Boxed<std::string> objectType;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(field("id", &EnrollmentMethod::id), field("objectName", &EnrollmentMethod::objectName),
                       field("objectType", &EnrollmentMethod::objectType));
    }
    bool operator==(const EnrollmentMethod&) const = default;
  };

  struct Site {
    Boxed<std::string> id;
    Boxed<std::string> name;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(field("id", &Site::id), field("name", &Site::name));
    }
    bool operator==(const Site&) const = default;
  };

  struct General {
    Boxed<std::string> name;
    Boxed<std::string> lastIpAddress;
    Boxed<std::string> lastReportedIp;
    Boxed<std::string> lastReportedIpV4;
    Boxed<std::string> lastReportedIpV6;
    Boxed<std::string> jamfBinaryVersion;
    Boxed<std::string> platform;
    Boxed<std::string> barcode1;
    Boxed<std::string> barcode2;
    Boxed<std::string> assetTag;
    Boxed<RemoteManagement> remoteManagement;
    std::optional<bool> supervised;
    Boxed<MDMCapable> mdmCapable;
    Boxed<std::string> reportDate;
    Boxed<std::string> lastContactTime;
    Boxed<std::string> lastCloudBackupDate;
    Boxed<std::string> lastEnrolledDate;
    Boxed<std::string> mdmProfileExpiration;
    Boxed<std::string> initialEntryDate;
    Boxed<std::string> distributionPoint;
    Boxed<EnrollmentMethod> enrollmentMethod;
    Boxed<Site> site;
    std::optional<bool> itunesStoreAccountActive;
    std::optional<bool> enrolledViaAutomatedDeviceEnrollment;
    std::optional<bool> userApprovedMdm;
    std::optional<bool> declarativeDeviceManagementEnabled;
    Boxed<std::vector<ExtensionAttributeValue>> extensionAttributes;
    Boxed<std::string> managementId;
    Boxed<std::string> lastLoggedInUsernameSelfService;
    Boxed<std::string> lastLoggedInUsernameSelfServiceTimestamp;
    Boxed<std::string> lastLoggedInUsernameBinary;
    Boxed<std::string> lastLoggedInUsernameBinaryTimestamp;
    Boxed<std::string> lastLoggedInUsernameMdm;
    Boxed<std::string> lastLoggedInUsernameMdmTimestamp;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(
          field("name", &General::name), field("lastIpAddress", &General::lastIpAddress),
          field("lastReportedIp", &General::lastReportedIp),
          field("lastReportedIpV4", &General::lastReportedIpV4),
          field("lastReportedIpV6", &General::lastReportedIpV6),
          field("jamfBinaryVersion", &General::jamfBinaryVersion), field("platform", &General::platform),
          field("barcode1", &General::barcode1), field("barcode2", &General::barcode2),
          field("assetTag", &General::assetTag), field("remoteManagement", &General::remoteManagement),
          field("supervised", &General::supervised), field("mdmCapable", &General::mdmCapable),
          field("reportDate", &General::reportDate), field("lastContactTime", &General::lastContactTime),
          field("lastCloudBackupDate", &General::lastCloudBackupDate),
          field("lastEnrolledDate", &General::lastEnrolledDate),
          field("mdmProfileExpiration", &General::mdmProfileExpiration),
          field("initialEntryDate", &General::initialEntryDate),
          field("distributionPoint", &General::distributionPoint),
          field("enrollmentMethod", &General::enrollmentMethod), field("site", &General::site),
          field("itunesStoreAccountActive", &General::itunesStoreAccountActive),
          field("enrolledViaAutomatedDeviceEnrollment", &General::enrolledViaAutomatedDeviceEnrollment),
          field("userApprovedMdm", &General::userApprovedMdm),
          field("declarativeDeviceManagementEnabled", &General::declarativeDeviceManagementEnabled),
          field("extensionAttributes", &General::extensionAttributes),
          field("managementId", &General::managementId),
          field("lastLoggedInUsernameSelfService", &General::lastLoggedInUsernameSelfService),
          field("lastLoggedInUsernameSelfServiceTimestamp",
                &General::lastLoggedInUsernameSelfServiceTimestamp),
          field("lastLoggedInUsernameBinary", &General::lastLoggedInUsernameBinary),
          field("lastLoggedInUsernameBinaryTimestamp", &General::lastLoggedInUsernameBinaryTimestamp),
          field("lastLoggedInUsernameMdm", &General::lastLoggedInUsernameMdm),
          field("lastLoggedInUsernameMdmTimestamp", &General::lastLoggedInUsernameMdmTimestamp));
    }
    bool operator==(const General&) const = default;
  };

  struct Hardware {
    Boxed<std::string> make;
    Boxed<std::string> model;
    Boxed<std::string> modelIdentifier;
    Boxed<std::string> serialNumber;
    std::optional<std::int64_t> processorSpeedMhz;
    std::optional<std::int64_t> processorCount;
    std::optional<std::int64_t> coreCount;
    Boxed<std::string> processorType;
    Boxed<std::string> processorArchitecture;
    std::optional<std::int64_t> busSpeedMhz;
    std::optional<std::int64_t> cacheSizeKilobytes;
    Boxed<std::string> networkAdapterType;
    Boxed<std::string> macAddress;
    Boxed<std::string> altNetworkAdapterType;
    Boxed<std::string> altMacAddress;
    std::optional<std::int64_t> totalRamMegabytes;
    std::optional<std::int64_t> openRamSlots;
    std::optional<std::int64_t> batteryCapacityPercent;
    Boxed<std::string> batteryHealth;
    Boxed<std::string> smcVersion;
    Boxed<std::string> nicSpeed;
    Boxed<std::string> opticalDrive;
    Boxed<std::string> bootRom;
    std::optional<bool> bleCapable;
    std::optional<bool> supportsIosAppInstalls;
    std::optional<bool> appleSilicon;
    Boxed<std::string> provisioningUdid;
    Boxed<std::vector<ExtensionAttributeValue>> extensionAttributes;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(
          field("make", &Hardware::make), field("model", &Hardware::model),
          field("modelIdentifier", &Hardware::modelIdentifier),
          field("serialNumber", &Hardware::serialNumber),
          field("processorSpeedMhz", &Hardware::processorSpeedMhz),
          field("processorCount", &Hardware::processorCount), field("coreCount", &Hardware::coreCount),
          field("processorType", &Hardware::processorType),
          field("processorArchitecture", &Hardware::processorArchitecture),
          field("busSpeedMhz", &Hardware::busSpeedMhz),
          field("cacheSizeKilobytes", &Hardware::cacheSizeKilobytes),
          field("networkAdapterType", &Hardware::networkAdapterType),
          field("macAddress", &Hardware::macAddress),
          field("altNetworkAdapterType", &Hardware::altNetworkAdapterType),
          field("altMacAddress", &Hardware::altMacAddress),
          field("totalRamMegabytes", &Hardware::totalRamMegabytes),
          field("openRamSlots", &Hardware::openRamSlots),
          field("batteryCapacityPercent", &Hardware::batteryCapacityPercent),
          field("batteryHealth", &Hardware::batteryHealth), field("smcVersion", &Hardware::smcVersion),
          field("nicSpeed", &Hardware::nicSpeed), field("opticalDrive", &Hardware::opticalDrive),
          field("bootRom", &Hardware::bootRom), field("bleCapable", &Hardware::bleCapable),
          field("supportsIosAppInstalls", &Hardware::supportsIosAppInstalls),
          field("appleSilicon", &Hardware::appleSilicon),
          field("provisioningUdid", &Hardware::provisioningUdid),
          field("extensionAttributes", &Hardware::extensionAttributes));
    }
    bool operator==(const Hardware&) const = default;
  };

  struct OperatingSystem {
    Boxed<std::string> name;
    Boxed<std::string> version;
    Boxed<std::string> build;
    Boxed<std::string> supplementalBuildVersion;
    Boxed<std::string> rapidSecurityResponse;
    Boxed<std::string> activeDirectoryStatus;
    Boxed<std::string> fileVault2Status;
    Boxed<std::string> softwareUpdateDeviceId;
    Boxed<std::vector<ExtensionAttributeValue>> extensionAttributes;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(field("name", &OperatingSystem::name), field("version", &OperatingSystem::version),
                       field("build", &OperatingSystem::build),
                       field("supplementalBuildVersion", &OperatingSystem::supplementalBuildVersion),
                       field("rapidSecurityResponse", &OperatingSystem::rapidSecurityResponse),
                       field("activeDirectoryStatus", &OperatingSystem::activeDirectoryStatus),
                       field("fileVault2Status", &OperatingSystem::fileVault2Status),
                       field("softwareUpdateDeviceId", &OperatingSystem::softwareUpdateDeviceId),
                       field("extensionAttributes", &OperatingSystem::extensionAttributes));
    }
    bool operator==(const OperatingSystem&) const = default;
  };

  struct UserAndLocation {
    Boxed<std::string> username;
    Boxed<std::string> realname;
    Boxed<std::string> email;
    Boxed<std::string> position;
    Boxed<std::string> phone;
    Boxed<std::string> departmentId;
    Boxed<std::string> buildingId;
    Boxed<std::string> room;
    Boxed<std::vector<ExtensionAttributeValue>> extensionAttributes;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(
          field("username", &UserAndLocation::username), field("realname", &UserAndLocation::realname),
          field("email", &UserAndLocation::email), field("position", &UserAndLocation::position),
          field("phone", &UserAndLocation::phone), field("departmentId", &UserAndLocation::departmentId),
          field("buildingId", &UserAndLocation::buildingId), field("room", &UserAndLocation::room),
          field("extensionAttributes", &UserAndLocation::extensionAttributes));
    }
    bool operator==(const UserAndLocation&) const = default;
  };

  struct Storage {
    struct Disk {
      struct Partition {
        Boxed<std::string> name;
        std::optional<std::int64_t> sizeMegabytes;
        std::optional<std::int64_t> availableMegabytes;
        Boxed<std::string> partitionType;
        std::optional<std::int64_t> percentUsed;
        Boxed<std::string> fileVault2State;
        std::optional<std::int64_t> fileVault2ProgressPercent;
        std::optional<bool> lvmManaged;

        static constexpr auto fields() {
          using namespace platform::json;
          return fieldList(field("name", &Partition::name), field("sizeMegabytes", &Partition::sizeMegabytes),
                           field("availableMegabytes", &Partition::availableMegabytes),
                           field("partitionType", &Partition::partitionType),
                           field("percentUsed", &Partition::percentUsed),
                           field("fileVault2State", &Partition::fileVault2State),
                           field("fileVault2ProgressPercent", &Partition::fileVault2ProgressPercent),
                           field("lvmManaged", &Partition::lvmManaged));
        }
        bool operator==(const Partition&) const = default;
      };

      Boxed<std::string> id;
      Boxed<std::string> device;
      Boxed<std::string> model;
      Boxed<std::string> revision;
      Boxed<std::string> serialNumber;
      std::optional<std::int64_t> sizeMegabytes;
      Boxed<std::string> smartStatus;
      Boxed<std::string> type;
      Boxed<std::vector<Partition>> partitions;

      static constexpr auto fields() {
        using namespace platform::json;
        return fieldList(field("id", &Disk::id), field("device", &Disk::device), field("model", &Disk::model),
                         field("revision", &Disk::revision), field("serialNumber", &Disk::serialNumber),
                         field("sizeMegabytes", &Disk::sizeMegabytes),
                         field("smartStatus", &Disk::smartStatus), field("type", &Disk::type),
                         field("partitions", &Disk::partitions));
      }
      bool operator==(const Disk&) const = default;
    };

    std::optional<std::int64_t> bootDriveAvailableSpaceMegabytes;
    Boxed<std::vector<Disk>> disks;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(field("bootDriveAvailableSpaceMegabytes", &Storage::bootDriveAvailableSpaceMegabytes),
                       field("disks", &Storage::disks));
    }
    bool operator==(const Storage&) const = default;
  };

  struct Security {
    Boxed<std::string> sipStatus;
    Boxed<std::string> gatekeeperStatus;
    Boxed<std::string> xprotectVersion;
    std::optional<bool> autoLoginDisabled;
    std::optional<bool> remoteDesktopEnabled;
    std::optional<bool> activationLockEnabled;
    std::optional<bool> recoveryLockEnabled;
    std::optional<bool> firewallEnabled;
    Boxed<std::string> secureBootLevel;
    Boxed<std::string> externalBootLevel;
    std::optional<bool> bootstrapTokenAllowed;
    Boxed<std::string> bootstrapTokenEscrowedStatus;
    Boxed<std::string> lastAttestationAttempt;
    Boxed<std::string> lastSuccessfulAttestation;
    Boxed<std::string> attestationStatus;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(field("sipStatus", &Security::sipStatus),
                       field("gatekeeperStatus", &Security::gatekeeperStatus),
                       field("xprotectVersion", &Security::xprotectVersion),
                       field("autoLoginDisabled", &Security::autoLoginDisabled),
                       field("remoteDesktopEnabled", &Security::remoteDesktopEnabled),
                       field("activationLockEnabled", &Security::activationLockEnabled),
                       field("recoveryLockEnabled", &Security::recoveryLockEnabled),
                       field("firewallEnabled", &Security::firewallEnabled),
                       field("secureBootLevel", &Security::secureBootLevel),
                       field("externalBootLevel", &Security::externalBootLevel),
                       field("bootstrapTokenAllowed", &Security::bootstrapTokenAllowed),
                       field("bootstrapTokenEscrowedStatus", &Security::bootstrapTokenEscrowedStatus),
                       field("lastAttestationAttempt", &Security::lastAttestationAttempt),
                       field("lastSuccessfulAttestation", &Security::lastSuccessfulAttestation),
                       field("attestationStatus", &Security::attestationStatus));
    }
    bool operator==(const Security&) const = default;
  };

  struct Purchasing {
    std::optional<bool> leased;
    std::optional<bool> purchased;
    Boxed<std::string> poNumber;
    Boxed<std::string> poDate;
    Boxed<std::string> vendor;
    Boxed<std::string> warrantyDate;
    Boxed<std::string> appleCareId;
    Boxed<std::string> leaseDate;
    Boxed<std::string> purchasePrice;
    std::optional<std::int64_t> lifeExpectancy;
    Boxed<std::string> purchasingAccount;
    Boxed<std::string> purchasingContact;
    Boxed<std::vector<ExtensionAttributeValue>> extensionAttributes;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(field("leased", &Purchasing::leased), field("purchased", &Purchasing::purchased),
                       field("poNumber", &Purchasing::poNumber), field("poDate", &Purchasing::poDate),
                       field("vendor", &Purchasing::vendor), field("warrantyDate", &Purchasing::warrantyDate),
                       field("appleCareId", &Purchasing::appleCareId),
                       field("leaseDate", &Purchasing::leaseDate),
                       field("purchasePrice", &Purchasing::purchasePrice),
                       field("lifeExpectancy", &Purchasing::lifeExpectancy),
                       field("purchasingAccount", &Purchasing::purchasingAccount),
                       field("purchasingContact", &Purchasing::purchasingContact),
                       field("extensionAttributes", &Purchasing::extensionAttributes));
    }
    bool operator==(const Purchasing&) const = default;
  };

  struct GroupMembership {
    Boxed<std::string> groupId;
    Boxed<std::string> groupName;
    Boxed<std::string> groupDescription;
    std::optional<bool> smartGroup;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(field("groupId", &GroupMembership::groupId),
                       field("groupName", &GroupMembership::groupName),
                       field("groupDescription", &GroupMembership::groupDescription),
                       field("smartGroup", &GroupMembership::smartGroup));
    }
    bool operator==(const GroupMembership&) const = default;
  };

  struct LocalUserAccount {
    Boxed<std::string> uid;
    Boxed<std::string> userGuid;
    Boxed<std::string> username;
    Boxed<std::string> fullName;
    std::optional<bool> admin;
    Boxed<std::string> homeDirectory;
    std::optional<std::int64_t> homeDirectorySizeMb;  ///< -1 when it was not measured
    std::optional<bool> fileVault2Enabled;
    Boxed<std::string> userAccountType;
    std::optional<std::int64_t> passwordMinLength;
    std::optional<std::int64_t> passwordMaxAge;
    std::optional<std::int64_t> passwordMinComplexCharacters;
    std::optional<std::int64_t> passwordHistoryDepth;
    std::optional<bool> passwordRequireAlphanumeric;
    Boxed<std::string> computerAzureActiveDirectoryId;
    Boxed<std::string> userAzureActiveDirectoryId;
    Boxed<std::string> azureActiveDirectoryId;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(
          field("uid", &LocalUserAccount::uid), field("userGuid", &LocalUserAccount::userGuid),
          field("username", &LocalUserAccount::username), field("fullName", &LocalUserAccount::fullName),
          field("admin", &LocalUserAccount::admin), field("homeDirectory", &LocalUserAccount::homeDirectory),
          field("homeDirectorySizeMb", &LocalUserAccount::homeDirectorySizeMb),
          field("fileVault2Enabled", &LocalUserAccount::fileVault2Enabled),
          field("userAccountType", &LocalUserAccount::userAccountType),
          field("passwordMinLength", &LocalUserAccount::passwordMinLength),
          field("passwordMaxAge", &LocalUserAccount::passwordMaxAge),
          field("passwordMinComplexCharacters", &LocalUserAccount::passwordMinComplexCharacters),
          field("passwordHistoryDepth", &LocalUserAccount::passwordHistoryDepth),
          field("passwordRequireAlphanumeric", &LocalUserAccount::passwordRequireAlphanumeric),
          field("computerAzureActiveDirectoryId", &LocalUserAccount::computerAzureActiveDirectoryId),
          field("userAzureActiveDirectoryId", &LocalUserAccount::userAzureActiveDirectoryId),
          field("azureActiveDirectoryId", &LocalUserAccount::azureActiveDirectoryId));
    }
    bool operator==(const LocalUserAccount&) const = default;
  };

  struct DeviceCertificate {
    Boxed<std::string> commonName;
    std::optional<bool> identity;
    Boxed<std::string> expirationDate;
    Boxed<std::string> username;
    Boxed<std::string> lifecycleStatus;
    Boxed<std::string> certificateStatus;
    Boxed<std::string> subjectName;
    Boxed<std::string> serialNumber;
    Boxed<std::string> sha1Fingerprint;
    Boxed<std::string> issuedDate;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(field("commonName", &DeviceCertificate::commonName),
                       field("identity", &DeviceCertificate::identity),
                       field("expirationDate", &DeviceCertificate::expirationDate),
                       field("username", &DeviceCertificate::username),
                       field("lifecycleStatus", &DeviceCertificate::lifecycleStatus),
                       field("certificateStatus", &DeviceCertificate::certificateStatus),
                       field("subjectName", &DeviceCertificate::subjectName),
                       field("serialNumber", &DeviceCertificate::serialNumber),
                       field("sha1Fingerprint", &DeviceCertificate::sha1Fingerprint),
                       field("issuedDate", &DeviceCertificate::issuedDate));
    }
    bool operator==(const DeviceCertificate&) const = default;
  };

  struct Application {
    Boxed<std::string> name;
    Boxed<std::string> path;
    Boxed<std::string> version;
    std::optional<bool> macAppStore;
    std::optional<std::int64_t> sizeMegabytes;
    Boxed<std::string> bundleId;
    std::optional<bool> updateAvailable;
    Boxed<std::string> externalVersionId;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(
          field("name", &Application::name), field("path", &Application::path),
          field("version", &Application::version), field("macAppStore", &Application::macAppStore),
          field("sizeMegabytes", &Application::sizeMegabytes), field("bundleId", &Application::bundleId),
          field("updateAvailable", &Application::updateAvailable),
          field("externalVersionId", &Application::externalVersionId));
    }
    bool operator==(const Application&) const = default;
  };

  std::string id;
  Boxed<std::string> udid;
  Boxed<General> general;
  Boxed<Hardware> hardware;
  Boxed<OperatingSystem> operatingSystem;
  Boxed<UserAndLocation> userAndLocation;
  Boxed<Storage> storage;
  Boxed<Security> security;
  Boxed<Purchasing> purchasing;
  Boxed<std::vector<GroupMembership>> groupMemberships;
  Boxed<std::vector<LocalUserAccount>> localUserAccounts;
  Boxed<std::vector<DeviceCertificate>> certificates;
  Boxed<std::vector<Application>> applications;
  Boxed<std::vector<ExtensionAttributeValue>>
      extensionAttributeValues;  ///< the server's key is "extensionAttributes"

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(
        field("id", &Device::id), field("udid", &Device::udid), field("general", &Device::general),
        field("hardware", &Device::hardware), field("operatingSystem", &Device::operatingSystem),
        field("userAndLocation", &Device::userAndLocation), field("storage", &Device::storage),
        field("security", &Device::security), field("purchasing", &Device::purchasing),
        field("groupMemberships", &Device::groupMemberships),
        field("localUserAccounts", &Device::localUserAccounts), field("certificates", &Device::certificates),
        field("applications", &Device::applications),
        field("extensionAttributeValues", &Device::extensionAttributeValues, "extensionAttributes"));
  }
  bool operator==(const Device&) const = default;
};

using DevicePage = Page<Device>;

}  // namespace jamf
