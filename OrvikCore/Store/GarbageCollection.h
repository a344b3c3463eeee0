#pragma once

#include <cstdint>
#include <filesystem>
#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Store/BackupRepository.h"
#include "OrvikCore/Store/CleanupResult.h"
#include "OrvikCore/Store/References.h"

namespace orvik {

/// What a collection would delete, and why: nothing on disk has changed yet.
struct CollectionPlan {
  using Path = std::filesystem::path;

  /// A file of the store that no backup refers to.
  struct Loose {
    std::string path;        ///< below the instance folder, "store/objects/ab/ab....json"
    std::int64_t bytes = 0;  ///< its size
  };

  /// A pack with entries that no backup refers to.
  struct Pack {
    enum class Fate {
      removed,    ///< no entry is referred to
      rewritten,  ///< at least half of its bytes are garbage
      kept,       ///< less than that: the garbage stays until there is more of it
    };
    std::string index;  ///< file name
    std::string pack;   ///< file name
    Fate fate = Fate::kept;
    std::size_t entries = 0;
    std::size_t live = 0;
    std::int64_t bytes = 0;  ///< what its fate gives back
    /// The index and the pack are a pair of one name, and no other index that can be read names the pack: it
    /// goes with its index. Otherwise the index goes alone.
    bool ownsPack = true;
  };

  References keep;
  std::vector<Loose> objects;
  std::vector<Loose> files;
  std::vector<Pack> packs;

  /// What carrying it out would report when every deletion succeeds.
  CleanupResult expected() const;
};

/// Reads what is referred to and looks at the store. Deletes nothing. `without` names backups that count as
/// deleted. Throws as `readReferences`.
CollectionPlan planCollection(const BackupRepository& repository, const std::set<std::string>& without = {},
                              const std::stop_token& stop = {});

/// Deletes what the plan says. The folder's lock is held, since before the plan was made. A file that can't
/// be deleted is left to a later collection. Throws `platform::files::FileError` when a pack can't be written
/// anew or an index can't be deleted, and `platform::CancellationError`: whatever is left is whole.
CleanupResult carryOut(const CollectionPlan& plan, const BackupRepository& repository,
                       const std::stop_token& stop = {});

}  // namespace orvik
