#pragma once

#include <set>
#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Store/BackupRepository.h"
#include "TuvCore/Error.h"

namespace orvik {

struct CollectionPlan;

/// Deleting from this folder now could cost what a backup needs. `description()` names the file and says what
/// to do.
class CollectionRefused : public tuv::Error {
 public:
  enum class Kind {
    incomplete,  ///< a part of the backups is missing or unreadable
    sealed,      ///< no key is at hand, or the key record isn't
    unfinished,  ///< an interrupted run waits to be taken up
    changing,    ///< the listing of the backups doesn't hold still
  };

  CollectionRefused(Kind kind, std::string description) : Error(std::move(description)), kind_(kind) {}
  Kind kind() const noexcept { return kind_; }

 private:
  Kind kind_;
};

/// Whether a collection may run beside interrupted runs. What they stored is protected in any case; it is
/// caution.
enum class UnfinishedRuns { refuse, allow };

/// What a careful host looks at before it lets a collection delete: a folder on a share or in a synchronised
/// place may be there in part only, and what is missing would look like garbage.
struct CollectionPreflight {
  std::vector<std::string> folders;  ///< the visible names in "backups", ascending

  /// Lists the backups twice, reads every manifest and demands every index that a manifest, or the summaries
  /// of an interrupted run, declare. An index's content is left to `planCollection`, which reads it anyway.
  ///
  /// Throws `CollectionRefused`, and `platform::CancellationError`.
  static CollectionPreflight check(const BackupRepository& repository, UnfinishedRuns unfinished,
                                   const std::stop_token& stop = {});

  /// For a plan that was made without these backups and deletes something: throws `CollectionRefused` when
  /// the store lacks what it keeps, or an index doesn't say which package files it means. One changed byte
  /// in the index of a backup or of a pack gives an object another name, and what it was looks like garbage.
  /// Throws `platform::CancellationError`.
  void requireContent(const CollectionPlan& plan, const BackupRepository& repository,
                      const std::set<std::string>& without = {}, const std::stop_token& stop = {}) const;

  /// Right before something is deleted: throws `CollectionRefused` when the names differ by now.
  void requireUnchanged(const BackupRepository& repository) const;
};

}  // namespace orvik
