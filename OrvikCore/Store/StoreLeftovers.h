#pragma once

#include <chrono>
#include <cstdint>
#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Date.h"
#include "Platform/JSON/Codable.h"

namespace orvik {

/// What a crash can leave in an instance folder and no collection touches: temporary files that never got
/// their name, and pack files whose index was not written any more. A plain value; nothing on disk has
/// changed yet.
struct StoreLeftovers {
  /// Until then a file may be somebody's work in progress.
  static constexpr std::chrono::hours minimumAge{24};

  struct File {
    enum class Kind { temporary, packWithoutIndex };
    Kind kind = Kind::temporary;
    std::string path;  ///< below the instance folder
    std::int64_t bytes = 0;
    platform::Date modified;
  };
  std::vector<File> old;     ///< to be deleted
  std::vector<File> recent;  ///< not older than a day; they stay
  /// Packs without an index that stay although they are old: an object that is referred to is found nowhere
  /// else, as in a synchronised folder whose indexes have not come yet.
  std::vector<File> needed;
  std::vector<std::string> withoutManifest;  ///< names of backup folders; they are reported and stay

  std::int64_t oldBytes() const;
};

/// Looks where this system writes: the instance folder itself, "backups/*", "backups/*/sections",
/// "store/objects/*", "store/files/*", "store/downloads" and "store/packs". Links are not followed. What
/// can't be listed holds nothing. Where an old pack lacks its index, every index of every backup is read.
/// Throws `platform::CancellationError`.
StoreLeftovers findLeftovers(const BackupRepository& repository, platform::Date now,
                             const std::stop_token& stop = {});

struct RemovedLeftovers {
  std::int64_t files = 0;
  std::int64_t bytes = 0;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("files", &RemovedLeftovers::files), field("bytes", &RemovedLeftovers::bytes));
  }
  bool operator==(const RemovedLeftovers&) const = default;
};

/// Deletes the old ones, each looked at once more: it must still be a plain file, as old as it was and a pack
/// without an index. The folder's lock is held since before they were looked for. What can't be deleted is
/// left to a later pass. Throws `platform::CancellationError`.
RemovedLeftovers removeLeftovers(const StoreLeftovers& leftovers, const BackupRepository& repository,
                                 const std::stop_token& stop = {});

}  // namespace orvik
