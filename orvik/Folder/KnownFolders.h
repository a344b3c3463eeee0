#pragma once

#include <filesystem>
#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Store/BackupRepository.h"

namespace orvik::host {

/// The instance folders that backups were made into, in "folders.json" of the user's data folder: so that a
/// share that is not mounted is not taken for an empty folder. A plain value; any thread may call.
class KnownFolders {
 public:
  explicit KnownFolders(const std::filesystem::path& data) : data_(data) {}

  /// Throws `tuv::Error` when backups were made into the instance folder and nothing of them is there.
  void requireFilled(const BackupRepository& repository) const;

  /// Throws what `FileLock` and `files::atomicWrite` throw. A file that can't be read is begun anew.
  void remember(const BackupRepository& repository, const std::string& backupID,
                const std::stop_token& stop) const;

  std::filesystem::path file() const { return data_ / "folders.json"; }

 private:
  std::filesystem::path data_;
};

}  // namespace orvik::host
