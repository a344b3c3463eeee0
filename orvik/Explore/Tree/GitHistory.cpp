#include "orvik/Explore/Tree/GitHistory.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Locale/Text.h"
#include "TuvCore/Error.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

/// The ID in the newest commit that an export made.
std::optional<std::string> lastExported(const GitRepository& repository, const std::string& head,
                                        const std::stop_token& stop) {
  const auto trailers = repository.output(
      {"log", "-z", "--author=<orvik@localhost>", fmt::format("--grep=^{}: ", GitHistory::trailer),
       fmt::format("--format=%(trailers:key={},valueonly)", GitHistory::trailer), head},
      stop);
  for (std::string_view rest = trailers; !rest.empty();) {
    const auto entry = rest.substr(0, rest.find('\0'));
    const auto id = platform::locale::trimmed(entry);
    if (BackupRepository::isBackupName(id)) return std::string(id);
    rest.remove_prefix(std::min(rest.size(), entry.size() + 1));
  }
  return std::nullopt;
}

void requireClean(const GitRepository& repository, const std::stop_token& stop) {
  const auto changes = repository.output({"status", "--porcelain", "-z", "--untracked-files=normal"}, stop);
  if (changes.empty()) return;
  const auto first = changes.substr(0, changes.find('\0'));  // "XY PATH"
  throw tuv::Error(
      fmt::format("{0} has changes that are in no commit, {1} the first of them. Commit or undo them; what "
                  "an export left that was "
                  "killed goes with git -C {2} reset --hard.",
                  repository.folder().string(), first.size() > 3 ? first.substr(3) : first,
                  wording::shellWord(repository.folder().string())));
}

}  // namespace

GitHistory GitHistory::of(const GitRepository& repository, const std::stop_token& stop) {
  GitHistory history;
  const auto branch = repository.tryLine({"symbolic-ref", "-q", "HEAD"}, stop);
  // What keeps git from working at all, such as an owner whom it doesn't trust, it says here.
  requireClean(repository, stop);
  if (!branch)
    throw tuv::Error(fmt::format("{} is on no branch. Check one out.", repository.folder().string()));
  history.head = repository.tryLine({"rev-parse", "-q", "--verify", "HEAD^{commit}"}, stop);
  if (!history.head) return history;
  history.lastBackup = lastExported(repository, *history.head, stop);
  if (!history.lastBackup)
    throw tuv::Error(
        fmt::format("{} is a repository of something else: none of its commits is of a backup. "
                    "Name a folder that is empty or missing.",
                    repository.folder().string()));
  return history;
}

void GitHistory::takeWaiting(const GitRepository& repository) {
  const std::string from(waiting);
  const auto end = repository.run({"merge", "--ff-only", "--no-overwrite-ignore", "--no-verify-signatures",
                                   "--no-autostash", "--quiet", from},
                                  {}, {});
  repository.run({"update-ref", "-d", from}, {}, {});
  if (end.status == 0) return;
  throw tuv::Error(fmt::format("The files of {} can't be brought to the new commits: {}",
                               repository.folder().string(), platform::locale::trimmed(end.errors)));
}

}  // namespace orvik::host
