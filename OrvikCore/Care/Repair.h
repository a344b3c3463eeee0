#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Care/CareProgress.h"
#include "OrvikCore/Care/FolderCheck.h"
#include "OrvikCore/Store/PackIndex.h"
#include "Platform/Date.h"
#include "Platform/JSON/Codable.h"

namespace orvik {

/// What a repair did, or would do.
struct RepairResult {
  std::int64_t filesMoved = 0;  ///< into the quarantine: single objects, package files, indexes, packs
  std::int64_t bytesMoved = 0;
  std::int64_t packsRewritten = 0;
  std::int64_t entriesDropped = 0;  ///< of these packs
  std::int64_t indexesRebuilt = 0;
  std::int64_t entriesFound = 0;  ///< of the packs that have an index again
  bool keyRecordRestored = false;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("filesMoved", &RepairResult::filesMoved),
                     field("bytesMoved", &RepairResult::bytesMoved),
                     field("packsRewritten", &RepairResult::packsRewritten),
                     field("entriesDropped", &RepairResult::entriesDropped),
                     field("indexesRebuilt", &RepairResult::indexesRebuilt),
                     field("entriesFound", &RepairResult::entriesFound),
                     field("keyRecordRestored", &RepairResult::keyRecordRestored));
  }
  bool operator==(const RepairResult&) const = default;
};

/// What a repair would do to an instance folder: nothing on disk has changed yet. It moves damage out of the
/// way, so that the next backup, which trusts what is there, stores the content again, and it makes readable
/// again what is whole. It deletes nothing.
struct RepairPlan {
  /// A file that goes to the quarantine.
  struct Move {
    std::string path;  ///< below the instance folder
    std::int64_t bytes = 0;
    Finding::Kind why = Finding::Kind::objectDamaged;
  };
  /// A pack whose sound entries are written into a new one; then the old one goes to the quarantine.
  struct Rewrite {
    std::string index;  ///< file names
    std::string pack;
    bool takesPack = true;  ///< no other index names the pack, which has the index's own name
    std::size_t entries = 0;
    std::vector<ObjectKey> damaged;  ///< entries that are left behind
    std::size_t dropped = 0;         ///< these, and names that no object can have
    std::int64_t bytes = 0;          ///< of the files that go
  };
  /// A pack without an index, or with one that can't be read, and the index that its content gives.
  struct Rebuild {
    PackIndex index;
    std::string path;  ///< of the index, below the instance folder
  };

  std::optional<std::filesystem::path> keyRecord;  ///< the copy that takes its place
  std::vector<Move> moves;
  std::vector<Rewrite> rewrites;
  std::vector<Rebuild> rebuilds;

  /// Damage that the next backup mends, as far as the server still has what was stored.
  std::vector<Finding> lacking;
  /// Damage that stays; the findings say what a person can do.
  std::vector<Finding> staying;

  bool isEmpty() const { return !keyRecord && moves.empty() && rewrites.empty() && rebuilds.empty(); }
  /// What carrying it out reports when all goes well.
  RepairResult expected() const;
};

/// Plans from a check that read everything. `keyRecordCopy`: the copy of a lost key record that proved right.
/// Reads packs that have no index. Throws `platform::CancellationError`.
RepairPlan planRepair(const BackupRepository& repository, FolderCheck check,
                      const std::optional<BackupCipher>& cipher,
                      const std::optional<std::filesystem::path>& keyRecordCopy,
                      const CareProgress& progress = {}, const std::stop_token& stop = {});

struct CarriedOutRepair {
  RepairResult result;
  std::string quarantine;  ///< below the instance folder; empty when nothing was put there
};

/// Does what the plan says. The folder's lock is held, since before the check. Every step leaves the folder
/// no worse than it was: what is sound is in its new place, flushed, before anything leaves the old one.
/// Throws `platform::files::FileError` at the first step that fails, and `platform::CancellationError`; a
/// new plan takes up what is left.
CarriedOutRepair carryOut(const RepairPlan& plan, const BackupRepository& repository,
                          const std::optional<BackupCipher>& cipher, platform::Date now,
                          const CareProgress& progress = {}, const std::stop_token& stop = {});

}  // namespace orvik
