#pragma once

#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Engine/Heartbeat.h"
#include "OrvikCore/Store/BackupLock.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "orvik/Output/ProgressView.h"

namespace orvik::host {

/// The instance folder that a command line names. Throws `NotFoundError` when it isn't there, or is none: it
/// has neither "instance.json" nor backups.
BackupRepository instanceFolder(const std::string& path);

/// The instance folder that a path names, or those right below it, by name. Throws as `instanceFolder` where
/// there is none.
std::vector<BackupRepository> instanceFolders(const std::string& path);

/// The absolute path of its folder, one for all spellings but those through links.
std::string absolutePath(const BackupRepository& repository);

/// Opens a sealed folder with the key of a file, or else with those of this machine; does nothing for a plain
/// one. Throws `CredentialError` and `BackupEncryptionError`.
void unlockFolder(const BackupRepository& repository, const std::optional<std::string>& keyFile);

/// Throws `tuv::Error` when a folder that is written to is a link: whoever can put one there would have files
/// written and deleted elsewhere, with this program's rights.
void requireNoLinks(const BackupRepository& repository);

/// An instance folder that this program alone writes to, as long as this lives: its lock, kept alive.
class HeldFolder {
 public:
  /// Takes the lock, waiting so many seconds for another writer. What this process remembers of the folder's
  /// packs is forgotten. Throws as `requireNoLinks`, `BackupEngineError` (locked), `FileError` and
  /// `platform::CancellationError`.
  HeldFolder(BackupRepository repository, double lockWait, ProgressView& view, const std::stop_token& stop);

  const BackupRepository& repository() const noexcept { return repository_; }

  /// Throws `BackupEngineError` (locked) when another writer has taken the folder over.
  void requireOwn() const;

 private:
  const BackupRepository repository_;
  const std::unique_ptr<BackupLock::Holder> lock_;
  const Heartbeat heartbeat_;  // last, so that it ends first
};

}  // namespace orvik::host
