#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "JamfCore/Persistence/Column.h"
#include "Platform/Bytes.h"
#include "Platform/Date.h"
#include "Platform/UUID.h"

/// What the local database holds: plain values, one of a row. Times have milliseconds.
namespace jamf {

/// A server that is administered from here, and the API client it knows us by. The client's secret is in the
/// keychain, never here.
struct JamfOrganization {
  platform::UUID id;
  std::string name;
  std::string baseURLString;
  std::string clientID;
  platform::Date createdAt;
  std::optional<platform::Date> lastUsedAt;
  std::optional<std::string> clientName;

  static constexpr std::string_view table = "JamfOrganization";
  static constexpr std::string_view order = "createdAt, id";
  static constexpr auto columns() {
    using R = JamfOrganization;
    return std::tuple{column("id", &R::id),
                      column("name", &R::name),
                      column("baseURLString", &R::baseURLString),
                      column("clientID", &R::clientID),
                      column("createdAt", &R::createdAt),
                      column("lastUsedAt", &R::lastUsedAt),
                      column("clientName", &R::clientName)};
  }
  bool operator==(const JamfOrganization&) const = default;
};

/// A playbook of an organization, and when it runs. It outlives the organization: it is somebody's work.
struct PlaybookRecord {
  platform::UUID id;
  platform::UUID orgID;
  std::string name;
  std::string yamlSource;
  std::optional<platform::Date> nextRunAt;
  std::optional<platform::Date> lastRunAt;
  std::optional<std::string> lastRunSummary;
  std::optional<bool> lastRunSucceeded;
  platform::Date createdAt;
  bool scheduleEnabled = false;

  static constexpr std::string_view table = "PlaybookRecord";
  static constexpr std::string_view order = "createdAt, id";
  static constexpr auto columns() {
    using R = PlaybookRecord;
    return std::tuple{column("id", &R::id),
                      column("orgID", &R::orgID),
                      column("name", &R::name),
                      column("yamlSource", &R::yamlSource),
                      column("nextRunAt", &R::nextRunAt),
                      column("lastRunAt", &R::lastRunAt),
                      column("lastRunSummary", &R::lastRunSummary),
                      column("lastRunSucceeded", &R::lastRunSucceeded),
                      column("createdAt", &R::createdAt),
                      column("scheduleEnabled", &R::scheduleEnabled)};
  }
  bool operator==(const PlaybookRecord&) const = default;
};

/// When an organization is backed up, and where to. It outlives the organization too.
struct BackupScheduleRecord {
  platform::UUID id;
  platform::UUID orgID;
  platform::Bytes destinationBookmark;
  std::string destinationDisplayPath;
  std::string scheduleJSON;
  std::optional<platform::Date> nextRunAt;
  std::optional<platform::Date> lastRunAt;
  std::optional<std::string> lastRunSummary;
  std::optional<bool> lastRunSucceeded;
  platform::Date createdAt;
  bool scheduleEnabled = false;

  static constexpr std::string_view table = "BackupScheduleRecord";
  static constexpr std::string_view order = "createdAt, id";
  static constexpr auto columns() {
    using R = BackupScheduleRecord;
    return std::tuple{column("id", &R::id),
                      column("orgID", &R::orgID),
                      column<TextForm::bytes>("destinationBookmark", &R::destinationBookmark),
                      column("destinationDisplayPath", &R::destinationDisplayPath),
                      column("scheduleJSON", &R::scheduleJSON),
                      column("nextRunAt", &R::nextRunAt),
                      column("lastRunAt", &R::lastRunAt),
                      column("lastRunSummary", &R::lastRunSummary),
                      column("lastRunSucceeded", &R::lastRunSucceeded),
                      column("createdAt", &R::createdAt),
                      column("scheduleEnabled", &R::scheduleEnabled)};
  }
  bool operator==(const BackupScheduleRecord&) const = default;
};

/// A device as an organization's inventory had it at some time. It goes with its organization. Its dates are
/// the server's own texts.
struct CachedDevice {
  std::string cacheKey;  ///< of organization and device
  platform::UUID orgID;
  std::string deviceID;
  std::string name;
  std::optional<std::string> serialNumber;
  std::optional<std::string> make;
  std::optional<std::string> model;
  std::optional<std::string> osVersion;
  std::optional<std::string> lastIpAddress;
  std::optional<std::string> lastContactTime;
  std::optional<std::string> reportDate;
  std::optional<std::string> platform;
  std::optional<std::string> assetTag;
  platform::Date cachedAt;

  static constexpr std::string_view table = "CachedDevice";
  static constexpr std::string_view order = "rowid";
  static constexpr auto columns() {
    using R = CachedDevice;
    return std::tuple{column("cacheKey", &R::cacheKey),
                      column("orgID", &R::orgID),
                      column("deviceID", &R::deviceID),
                      column("name", &R::name),
                      column("serialNumber", &R::serialNumber),
                      column("make", &R::make),
                      column("model", &R::model),
                      column("osVersion", &R::osVersion),
                      column("lastIpAddress", &R::lastIpAddress),
                      column("lastContactTime", &R::lastContactTime),
                      column("reportDate", &R::reportDate),
                      column("platform", &R::platform),
                      column("assetTag", &R::assetTag),
                      column("cachedAt", &R::cachedAt)};
  }
  bool operator==(const CachedDevice&) const = default;
};

}  // namespace jamf
