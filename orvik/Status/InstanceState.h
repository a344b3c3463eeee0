#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "OrvikCore/Config/ScheduleStore.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "orvik/Folder/LockReport.h"

namespace orvik::host {

/// What there is to know about the backups of one instance, at one moment.
struct InstanceState {
  /// A finished backup.
  struct Backup {
    std::string id;
    platform::Date finishedAt;
    BackupManifest::Status status = BackupManifest::Status::complete;
    std::int64_t warnings = 0;  ///< sections that could not be read, or not all of them
    std::int64_t objects = 0;
  };

  std::string name;
  platform::UUID id;
  std::filesystem::path folder;
  std::string problem;  ///< a sentence on why the folder can't be this instance's; nothing below counts then
  bool hasFolder = false;
  std::optional<Backup> last;
  std::vector<std::string> unfinished;  ///< IDs of runs that are going on or were interrupted, ascending
  FoundLock lock;
  std::optional<platform::Date> nextRun;  ///< the earliest, be it due already
  std::optional<std::int64_t> bytes;      ///< that the folder takes; nothing when it wasn't measured

  /// What the folder says; empty fields for what can't be read.
  void look();
  /// Requires: `runs` is ordered by date.
  void lookAt(const std::vector<ScheduledRun>& runs);
};

/// Something that a person should look at.
struct Trouble {
  std::string kind;  ///< for scripts; never rename one
  std::string text;
};

/// What to make of a state.
struct StatusVerdict {
  bool isOverdue = false;
  std::vector<Trouble> troubles;

  /// `maximumAge` in hours; 0 is no limit. A last backup that lies as far in the future is as little known to
  /// be recent. A scheduled run may be an hour late.
  static StatusVerdict of(const InstanceState& state, int maximumAge, platform::Date now);
};

}  // namespace orvik::host
