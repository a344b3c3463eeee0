#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Explore/BackupReader.h"
#include "OrvikCore/Explore/FieldChange.h"
#include "Platform/Date.h"

namespace orvik {

/// One backup in which an object appeared, changed or was no longer there.
struct ObjectVersion {
  std::string backupID;
  platform::Date finishedAt;
  BackupReader::ChangeKind kind = BackupReader::ChangeKind::new_;  ///< new, changed or removed
  std::optional<IndexItem> item;                                   ///< none when it was removed
  std::vector<FieldChange> changes;                                ///< since the version before
};

/// The versions of an object in the finished backups of a folder, oldest first. A backup that didn't read the
/// section or the object, or whose index can't be read, says nothing about it. Throws
/// `platform::CancellationError`.
std::vector<ObjectVersion> objectHistory(const BackupRepository& repository, std::string_view sectionID,
                                         std::string_view itemID, const std::stop_token& stop = {});

}  // namespace orvik
