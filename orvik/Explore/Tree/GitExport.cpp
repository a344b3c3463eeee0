#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TuvCore/Error.h"
#include "orvik/Explore/BackupChoice.h"
#include "orvik/Explore/Tree/BackupTree.h"
#include "orvik/Explore/Tree/FastImport.h"
#include "orvik/Explore/Tree/GitHistory.h"
#include "orvik/Explore/Tree/GitRepository.h"
#include "orvik/Explore/Tree/GitTree.h"
#include "orvik/Explore/Tree/TreeCommands.h"
#include "orvik/Explore/Tree/TreeNames.h"
#include "orvik/Explore/Tree/TreeRecord.h"
#include "orvik/Explore/Tree/TreeText.h"
#include "orvik/Output/Report.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

using platform::json::Value;

struct Commit {
  std::string backupID;
  std::string subject;
  TreeChanges changes;
  std::string hash;
};

/// The finished backups after one, oldest first.
std::vector<BackupRepository::Backup> backupsAfter(const BackupRepository& repository,
                                                   const std::optional<std::string>& last) {
  auto backups = repository.completeBackups();
  if (last) std::erase_if(backups, [&](const auto& backup) { return backup.id <= *last; });
  std::ranges::sort(backups, {}, &BackupRepository::Backup::id);
  return backups;
}

void requireSameInstance(const GitTree& tree, const GitRepository& git, const BackupReader& backup,
                         const std::stop_token& stop) {
  const auto text = tree.content(std::string(treeNames::recordFile), stop);
  const auto instance = text ? TreeRecord::instanceOf(*text) : std::nullopt;
  if (!instance)
    throw tuv::Error(fmt::format("{} of {} is no record of an export. Restore it from an earlier commit.",
                                 treeNames::recordFile, git.folder().string()));
  TreeRecord::requireInstance(*instance, backup, git.folder().string());
}

/// All commits in one go; nothing has changed in the repository when it throws.
std::vector<Commit> importBackups(std::vector<BackupRepository::Backup> backups,
                                  const BackupRepository& repository, const GitRepository& git,
                                  const GitHistory& history, GitTree& tree,
                                  const std::optional<std::string>& only, ProgressView& view,
                                  const std::stop_token& stop) {
  FastImport import(git, std::string(GitHistory::waiting), history.head, stop);
  tree.writeTo(import);
  BackupTree files(tree.state(stop), tree);
  std::vector<Commit> commits;
  for (auto& [id, manifest] : backups) {
    view.step(fmt::format("Reading {}, {} of {}", id, commits.size() + 1, backups.size()));
    const BackupReader backup(repository, std::move(manifest), repository.backupDirectory(id));
    auto changes = files.bringTo(
        backup, only, [&](std::size_t done, std::size_t total) { view.progress(done, total); }, stop);
    import.commit(treeText::message(backup, changes), backup.manifest.finishedAt, tree.takeChanges());
    commits.push_back({id, treeText::subject(backup, changes), std::move(changes), {}});
  }
  import.finish();
  return commits;
}

/// The hashes of the commits, oldest first as they are.
void readHashes(std::vector<Commit>& commits, const GitRepository& git) {
  const auto all =
      git.output({"rev-list", "--reverse", fmt::format("--max-count={}", commits.size()), "HEAD"}, {});
  std::string_view rest = all;
  for (auto& commit : commits) {
    commit.hash = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(rest.size(), commit.hash.size() + 1));
  }
}

void tell(const Report& report, const Commit& commit, bool isNewest) {
  const auto total = commit.changes.total();
  report.text(fmt::format("{} {}", commit.hash.substr(0, 10), visibleLine(commit.subject)));
  report.record(Value::object({{"event", "commit"},
                               {"backup", commit.backupID},
                               {"commit", commit.hash},
                               {"new", total.new_},
                               {"changed", total.changed},
                               {"removed", total.removed},
                               {"skipped", commit.changes.leftOut.size()}}));
  for (const auto& left : commit.changes.leftOut) {
    report.event("skipped", treeText::leftOutJSON(left).set("backup", commit.backupID));
    if (isNewest && !report.isJSON()) report.note(treeText::leftOut(left));
  }
}

ExitStatus tellAll(const Report& report, const std::vector<Commit>& commits, const GitHistory& before,
                   const std::string& folder) {
  int objects = 0;
  std::size_t leftOut = 0;
  for (const auto& commit : commits) {
    tell(report, commit, &commit == &commits.back());
    objects += commit.changes.total().objects;
    leftOut += commit.changes.leftOut.size();
  }
  auto finished = Value::object({{"folder", folder}, {"commits", commits.size()}, {"skipped", leftOut}});
  if (!commits.empty()) finished.set("head", commits.back().hash);
  report.event("finished", std::move(finished));
  if (!report.isJSON())
    report.note(
        commits.empty()
            ? fmt::format("{} holds all backups up to {} already.", folder, before.lastBackup.value_or(""))
            : fmt::format("{} in {}.", wording::counted(static_cast<std::int64_t>(commits.size()), "commit"),
                          folder));
  return objects == 0 && leftOut != 0 ? ExitStatus::failed : ExitStatus::done;
}

}  // namespace

ExitStatus exportToGit(const ExportArguments& arguments, Results& results, const std::stop_token& stop) {
  const auto newest = openedBackup(arguments.at, {});
  const auto only = arguments.section.empty() ? std::nullopt : std::optional(arguments.section);
  if (only) requireSection(newest, *only);
  const Report report(arguments.at, results);
  auto view = report.view(Verbosity::brief);
  const GitRepository git(arguments.git);
  git.require(stop);
  const auto history = GitHistory::of(git, stop);
  GitTree tree(git, history.head, stop);
  if (history.head) requireSameInstance(tree, git, newest, stop);

  std::vector<Commit> commits;
  if (auto backups = backupsAfter(newest.repository, history.lastBackup); !backups.empty()) {
    commits = importBackups(std::move(backups), newest.repository, git, history, tree, only, *view, stop);

    view->step("Bringing the work tree up to date");
    GitHistory::takeWaiting(git);
    readHashes(commits, git);
    git.run({"gc", "--auto", "--quiet"}, {}, stop);  // housekeeping; a failure leaves all as it is
  }
  view.reset();
  return tellAll(report, commits, history, arguments.git);
}

}  // namespace orvik::host
