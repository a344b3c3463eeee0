#pragma once

#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>

#include "OrvikCore/Care/ContentShare.h"
#include "OrvikCore/Store/BackupRepository.h"

namespace orvik::host {

/// How far checks have read the content of each folder, in "checks.json" of the user's data folder: so that
/// checks of a share go on where the last one stopped, and many of them leave nothing out. A plain value; any
/// thread may call.
class CheckMemory {
 public:
  explicit CheckMemory(const std::filesystem::path& data) : file_(data / "checks.json") {}

  /// What a check of the folder reads when it is asked for so much.
  struct Turn {
    ReadingRequest request;  ///< a part is the one whose turn it is
    Reading reading;
  };
  /// Of a part the one that is asked for; when that was read in this round already, the next that was not. Of
  /// hundredths and bytes those behind what was read last.
  Turn next(const BackupRepository& repository, const ReadingRequest& request) const;

  /// For a check that came to its end: `read` is what it read. Throws what `FileLock` and
  /// `files::atomicWrite` throw. A file that can't be read is begun anew.
  void remember(const BackupRepository& repository, const Turn& turn, const ContentShare& read,
                const std::stop_token& stop) const;

  const std::filesystem::path& file() const noexcept { return file_; }

 private:
  std::filesystem::path file_;
};

}  // namespace orvik::host
