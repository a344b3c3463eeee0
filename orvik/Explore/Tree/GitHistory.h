#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "orvik/Explore/Tree/GitRepository.h"

namespace orvik::host {

/// Where the branch of a repository stands that commits of backups are added to.
struct GitHistory {
  static constexpr std::string_view trailer = "Backup";  ///< of a commit's message, before the backup's ID

  std::string branch;                     ///< "refs/heads/main"
  std::optional<std::string> head;        ///< its newest commit
  std::optional<std::string> lastBackup;  ///< the ID in the newest commit of the export; set where `head` is

  /// Throws `tuv::Error`, with what to do, for a repository whose work tree has changes, which has commits
  /// but none of an export, or which is on no branch.
  static GitHistory of(const GitRepository& repository, const std::stop_token& stop);

  /// Brings the work tree, which was clean, from `head` to another commit of the branch; never over a file
  /// that is in no commit. Not to be stopped half-way.
  void checkOut(const GitRepository& repository, const std::string& commit) const;
};

}  // namespace orvik::host
