#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "OrvikCore/Engine/BackupJob.h"
#include "OrvikCore/Store/BackupRepository.h"

namespace orvik {

/// Where a run works, and where its new objects go.
struct RunPlace {
  enum class Kind {
    folder,      ///< in the backup folder itself
    staging,     ///< on a local disk; the backup folder gets the result at the end
    simulation,  ///< elsewhere, and the backup folder gets nothing
  };
  Kind kind = Kind::folder;
  std::filesystem::path working;                 ///< the run's own folder
  std::optional<std::filesystem::path> overlay;  ///< takes new objects and downloads; none: the backup folder

  /// "overlay", in the working folder.
  static constexpr const char* overlayFolder = "overlay";

  static RunPlace of(const BackupJob& job, const BackupRepository& repository, const std::string& backupID);

  /// Throws `tuv::Error` when the job's staging or simulation folder lies in its backup folder, where it
  /// would be taken for a part of it, or when the staging folder is used for another instance.
  static void require(const BackupJob& job);

  /// Throws `tuv::Error` when a folder that held backups holds none: an empty one in its place is the mount
  /// point of a disk or share that has gone, and would get a store of its own.
  static void requireFilled(const BackupRepository& repository, bool heldBackups);

  /// Throws `tuv::Error` when `folder` lies in `root`, links followed. `what` says what it is for: "staging".
  static void requireOutside(const std::filesystem::path& folder, const std::filesystem::path& root,
                             std::string_view what);
};

}  // namespace orvik
