#pragma once

#include <cstdint>
#include <string>

#include "managedconfig/ManagedConfigKey.h"

/// The settings of this program that an organisation can force and a user can choose, beside the array
/// "ManagedInstances". A number out of its bounds and a path that is not absolute are no values of their
/// keys. Never rename: profiles name them.
namespace orvik::host::ManagedConfigKeys {

using Text = tuv::ManagedConfigKey<std::string>;
using Boolean = tuv::ManagedConfigKey<bool>;
using Integer = tuv::ManagedConfigKey<std::int64_t>;
using Number = tuv::ManagedConfigKey<double>;

extern const Text BackupFolder;   ///< of all instances; empty for none, as all texts
extern const Text StagingFolder;  ///< on a local disk
extern const Boolean DownloadFiles;
extern const Boolean IncludeClassicDevices;
extern const Text DisabledSections;  ///< IDs with commas between them
extern const Integer MaxConcurrentRequests;
extern const Number MaxRequestsPerSecond;  ///< 0 is no limit
extern const Integer MaxConcurrentDownloads;
extern const Integer MinimumHours;     ///< between two backups of a server; 0 is no limit
extern const Integer MaximumAgeHours;  ///< of the last backup before it counts as overdue; 0 is no limit
extern const Integer KeepCount;        ///< backups; 0 is no limit
extern const Integer KeepDays;         ///< 0 is no limit
extern const Boolean PackObjects;
extern const Boolean WriteReports;
extern const Boolean EncryptBackups;
extern const Text EncryptionKeyID;
extern const Text TrustAnchors;  ///< PEM file

}  // namespace orvik::host::ManagedConfigKeys
