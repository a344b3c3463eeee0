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

  std::optional<std::string> head;        ///< its newest commit
  std::optional<std::string> lastBackup;  ///< the ID in the newest commit of the export; set where `head` is

  /// Throws `tuv::Error`, with what to do, for a repository whose work tree has changes, which has commits
  /// but none of an export, or which is on no branch.
  static GitHistory of(const GitRepository& repository, const std::stop_token& stop);

  /// Where new commits wait until the branch and the work tree have taken them.
  static constexpr std::string_view waiting = "refs/orvik/export";

  /// Moves branch and work tree, which is clean, from `head` to what waits; never over a file that is in no
  /// commit. Throws `tuv::Error`, and both are as before then. Not to be stopped half-way.
  static void takeWaiting(const GitRepository& repository);
};

}  // namespace orvik::host
