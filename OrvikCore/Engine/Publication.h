#pragma once

#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Engine/RunContext.h"
#include "OrvikCore/Engine/RunPlace.h"
#include "OrvikCore/Format/BackupManifest.h"
#include "OrvikCore/Store/BackupLock.h"
#include "OrvikCore/Store/PackStore.h"

namespace orvik {

/// Turns a run that has read everything into a published backup: its manifest, its objects in packs, and the
/// one rename with which it becomes visible; then retention. What it is made of must outlive it.
class Publication {
 public:
  Publication(const RunContext& context, const RunPlace& place, BackupLock::Holder& lock)
      : context_(context), place_(place), lock_(lock) {}

  /// Throws `platform::files::FileError`, `BackupEngineError` when the lock was taken over, `tuv::Error` when
  /// the published manifest doesn't read back, and, up to the rename, `platform::CancellationError`. The
  /// working folder stays when the backup was not published.
  void publish(const BackupManifest& manifest, const std::stop_token& stop) const;

 private:
  void packStagedObjects(const std::stop_token& stop) const;
  void requireAllInFolder(const std::vector<PackStore::Source>& objects, const ObjectStore& store,
                          const std::stop_token& stop) const;
  void packLooseObjects(const std::stop_token& stop) const;
  void publishBackup(const BackupManifest& manifest, const std::stop_token& stop) const;
  /// The partial folder in the backup folder, with all that belongs into a backup.
  std::filesystem::path partialToPublish(const std::string& backupID, const std::stop_token& stop) const;
  void copyStaged(const std::filesystem::path& to, const std::stop_token& stop) const;
  void applyRetention(const std::stop_token& stop) const;

  const RunContext& context_;
  const RunPlace& place_;
  BackupLock::Holder& lock_;
};

}  // namespace orvik
