#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "OrvikCore/Explore/BackupReader.h"
#include "TuvCore/Locked.h"

namespace orvik::host {

/// The instance folders that are browsed. Which backups they hold is looked for anew each time, since backups
/// are made meanwhile. Any thread may call.
class BrowseShelf {
 public:
  struct Folder {
    BackupRepository repository;
    std::optional<std::string> problem;  ///< why what is sealed in it can't be read
  };

  /// An instance folder, or one that has some right below it, opened with the key of a file or else with
  /// those of this machine. Throws as `instanceFolders`, and for a single folder as `unlockFolder`.
  BrowseShelf(const std::string& path, const std::optional<std::string>& keyFile);

  const std::vector<Folder>& folders() const { return folders_; }
  /// Throws `NotFoundError` for a position that no folder has.
  const Folder& folder(std::size_t position) const;

  /// A finished backup. The last few stay, so that searches which follow each other are quick. Throws as
  /// `chosenBackup`.
  BackupReader backup(std::size_t position, const std::string& id) const;

 private:
  struct Kept {
    std::size_t folder;
    std::string id;
    BackupReader reader;
  };

  std::vector<Folder> folders_;
  mutable tuv::Locked<std::vector<Kept>> kept_;  ///< the one that was asked for last at the end
};

}  // namespace orvik::host
