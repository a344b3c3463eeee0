#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "Platform/JSON/Codable.h"

namespace orvik {

/// What a run does and how hard it asks. The defaults belong to the host that fills the record in.
struct BackupOptions {
  std::set<std::string> disabledSections;  ///< section IDs left out
  bool downloadFiles = false;
  bool includeClassicDeviceRecords = false;
  bool forceFullDeviceRefresh = false;
  int maxConcurrentRequests = 0;
  double maxRequestsPerSecond = 0;  ///< 0 is no limit
  int maxConcurrentDownloads = 0;
  std::optional<std::string> fileShareMountPath;

  /// The only test of `disabledSections`.
  bool isEnabled(std::string_view section) const { return !disabledSections.contains(std::string(section)); }

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("disabledSections", &BackupOptions::disabledSections),
                     field("downloadFiles", &BackupOptions::downloadFiles),
                     field("includeClassicDeviceRecords", &BackupOptions::includeClassicDeviceRecords),
                     field("forceFullDeviceRefresh", &BackupOptions::forceFullDeviceRefresh),
                     field("maxConcurrentRequests", &BackupOptions::maxConcurrentRequests),
                     field("maxRequestsPerSecond", &BackupOptions::maxRequestsPerSecond),
                     field("maxConcurrentDownloads", &BackupOptions::maxConcurrentDownloads),
                     field("fileShareMountPath", &BackupOptions::fileShareMountPath));
  }
  bool operator==(const BackupOptions&) const = default;
};

}  // namespace orvik
