#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "JamfCore/Models/Page.h"
#include "JamfCore/Networking/FlexibleArray.h"
#include "Platform/JSON/Codable.h"

namespace jamf {

/// The package that brings a version of a title.
struct PatchPackage {
  std::optional<std::string> packageId;
  std::optional<std::string> version;
  std::optional<std::string> displayName;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("packageId", &PatchPackage::packageId), field("version", &PatchPackage::version),
                     field("displayName", &PatchPackage::displayName));
  }
  bool operator==(const PatchPackage&) const = default;
};

/// A software title whose versions the server watches.
struct PatchSoftwareTitleConfiguration {
  std::string id;
  std::string displayName;
  std::optional<std::string> categoryId;
  std::optional<std::string> siteId;
  std::optional<bool> uiNotifications;
  std::optional<bool> emailNotifications;
  std::string softwareTitleId;
  std::optional<bool> jamfOfficial;
  std::optional<std::string> softwareTitleName;
  std::optional<std::string> softwareTitleNameId;
  std::optional<std::string> softwareTitlePublisher;
  std::optional<std::string> patchSourceName;
  std::optional<bool> patchSourceEnabled;
  FlexibleArray<PatchPackage> packages;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(
        field("id", &PatchSoftwareTitleConfiguration::id),
        field("displayName", &PatchSoftwareTitleConfiguration::displayName),
        field("categoryId", &PatchSoftwareTitleConfiguration::categoryId),
        field("siteId", &PatchSoftwareTitleConfiguration::siteId),
        field("uiNotifications", &PatchSoftwareTitleConfiguration::uiNotifications),
        field("emailNotifications", &PatchSoftwareTitleConfiguration::emailNotifications),
        field("softwareTitleId", &PatchSoftwareTitleConfiguration::softwareTitleId),
        field("jamfOfficial", &PatchSoftwareTitleConfiguration::jamfOfficial),
        field("softwareTitleName", &PatchSoftwareTitleConfiguration::softwareTitleName),
        field("softwareTitleNameId", &PatchSoftwareTitleConfiguration::softwareTitleNameId),
        field("softwareTitlePublisher", &PatchSoftwareTitleConfiguration::softwareTitlePublisher),
        field("patchSourceName", &PatchSoftwareTitleConfiguration::patchSourceName),
        field("patchSourceEnabled", &PatchSoftwareTitleConfiguration::patchSourceEnabled),
        field("packages", &PatchSoftwareTitleConfiguration::packages));
  }
  bool operator==(const PatchSoftwareTitleConfiguration&) const = default;
};

/// How many computers have the latest version of a title.
struct PatchSummary {
  std::string softwareTitleId;
  std::string title;
  std::string latestVersion;
  std::optional<std::string> releaseDate;
  std::int64_t upToDate = 0;
  std::int64_t outOfDate = 0;
  bool onDashboard = false;
  std::string softwareTitleConfigurationId;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(
        field("softwareTitleId", &PatchSummary::softwareTitleId), field("title", &PatchSummary::title),
        field("latestVersion", &PatchSummary::latestVersion),
        field("releaseDate", &PatchSummary::releaseDate), field("upToDate", &PatchSummary::upToDate),
        field("outOfDate", &PatchSummary::outOfDate), field("onDashboard", &PatchSummary::onDashboard),
        field("softwareTitleConfigurationId", &PatchSummary::softwareTitleConfigurationId));
  }
  bool operator==(const PatchSummary&) const = default;
};

/// The version of a title on one computer.
/// Older servers call the last check-in "lastContactTime".
struct PatchReport {
  std::optional<std::string> computerName;
  std::optional<std::string> deviceId;
  std::optional<std::string> username;
  std::optional<std::string> operatingSystemVersion;
  std::optional<std::string> lastCheckIn;
  std::optional<std::string> buildingName;
  std::optional<std::string> departmentName;
  std::optional<std::string> siteName;
  std::optional<std::string> version;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("computerName", &PatchReport::computerName),
                     field("deviceId", &PatchReport::deviceId), field("username", &PatchReport::username),
                     field("operatingSystemVersion", &PatchReport::operatingSystemVersion),
                     field("lastCheckIn", &PatchReport::lastCheckIn, "lastContactTime"),
                     field("buildingName", &PatchReport::buildingName),
                     field("departmentName", &PatchReport::departmentName),
                     field("siteName", &PatchReport::siteName), field("version", &PatchReport::version));
  }
  bool operator==(const PatchReport&) const = default;
};

using PatchReportPage = Page<PatchReport>;

}  // namespace jamf
