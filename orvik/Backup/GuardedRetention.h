#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Store/CollectionPreflight.h"
#include "OrvikCore/Store/GarbageCollection.h"
#include "OrvikCore/Store/Retention.h"
#include "orvik/Folder/InstanceFolder.h"

namespace orvik::host {

/// A retention pass with everything that a host looks at before it deletes.
struct GuardedRetention {
  RetentionPolicy policy;
  platform::Date now;
  CollectionPreflight preflight;
  std::vector<RetentionVerdict> verdicts;  ///< newest first
  CollectionPlan collection;               ///< what the store gives back once those backups are gone
  std::int64_t folderBytes = 0;            ///< what their own folders take

  /// Reads, and changes nothing. Throws `CollectionRefused`, `IncompleteReferences` and
  /// `platform::CancellationError`.
  static GuardedRetention plan(const BackupRepository& repository, RetentionPolicy policy, platform::Date now,
                               UnfinishedRuns unfinished, const std::stop_token& stop);

  /// The backups that go.
  std::set<std::string> goingIDs() const;
  /// What `carryOut` reports when every deletion succeeds.
  CleanupResult expected() const;

  /// Deletes, when the folder is still as it was looked at. Throws as `plan`, `BackupEngineError` (locked)
  /// when the folder was taken over, and as `BackupRepository::applyRetention`.
  CleanupResult carryOut(const HeldFolder& held, const std::stop_token& stop) const;
};

/// What a person should know when the newest backup lies in the future: a clock is or was wrong, and days are
/// counted by it. Nothing when all is well.
std::optional<std::string> clockRemark(const std::vector<RetentionVerdict>& verdicts, platform::Date now);

}  // namespace orvik::host
