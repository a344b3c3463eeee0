#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "OrvikCore/Format/BackupOptions.h"
#include "OrvikCore/Format/InstanceDescriptor.h"
#include "OrvikCore/Format/SectionSummary.h"
#include "Platform/Date.h"
#include "Platform/JSON/Codable.h"

namespace orvik {

/// "manifest.json": its presence makes a folder a finished backup. Written last, never sealed.
struct BackupManifest {
  enum class Status { complete, completeWithWarnings };

  /// How a sealed backup was sealed, and for which keys.
  struct EncryptionRef {
    std::string scheme;
    std::vector<std::string> keyIDs;

    static constexpr auto fields() {
      using platform::json::field;
      return fieldList(field("scheme", &EncryptionRef::scheme), field("keyIDs", &EncryptionRef::keyIDs));
    }
    bool operator==(const EncryptionRef&) const = default;
  };

  struct Totals {
    int objects = 0;
    int newOrChangedObjects = 0;
    int files = 0;
    int filesDownloaded = 0;
    std::int64_t bytesDownloaded = 0;
    int requests = 0;

    static constexpr auto fields() {
      using platform::json::field;
      return fieldList(
          field("objects", &Totals::objects), field("newOrChangedObjects", &Totals::newOrChangedObjects),
          field("files", &Totals::files), field("filesDownloaded", &Totals::filesDownloaded),
          field("bytesDownloaded", &Totals::bytesDownloaded), field("requests", &Totals::requests));
    }
    bool operator==(const Totals&) const = default;
  };

  std::int64_t formatVersion = 0;  ///< stored, never tested on reading
  std::string backupID;
  InstanceDescriptor instance;  ///< copy at backup time
  std::optional<std::string> jamfProVersion;
  std::string orvikVersion;
  platform::Date startedAt;
  platform::Date finishedAt;
  Status status = Status::complete;
  std::optional<std::string> parentBackupID;           ///< what this one was compared against
  std::optional<std::vector<std::string>> privileges;  ///< of the API client, as the server reported them
  BackupOptions options;
  std::vector<SectionSummary> sections;  ///< in run order
  Totals totals;
  std::optional<EncryptionRef> encryption;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(
        field("formatVersion", &BackupManifest::formatVersion), field("backupID", &BackupManifest::backupID),
        field("instance", &BackupManifest::instance),
        field("jamfProVersion", &BackupManifest::jamfProVersion),
        field("orvikVersion", &BackupManifest::orvikVersion), field("startedAt", &BackupManifest::startedAt),
        field("finishedAt", &BackupManifest::finishedAt), field("status", &BackupManifest::status),
        field("parentBackupID", &BackupManifest::parentBackupID),
        field("privileges", &BackupManifest::privileges), field("options", &BackupManifest::options),
        field("sections", &BackupManifest::sections), field("totals", &BackupManifest::totals),
        field("encryption", &BackupManifest::encryption));
  }
  bool operator==(const BackupManifest&) const = default;
};

constexpr auto enumTexts(BackupManifest::Status) {
  using enum BackupManifest::Status;
  using namespace std::string_view_literals;
  return std::array{std::pair{complete, "complete"sv},
                    std::pair{completeWithWarnings, "completeWithWarnings"sv}};
}

}  // namespace orvik
