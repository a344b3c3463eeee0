#include "orvik/Backup/GuardedRetention.h"

#include <fmt/format.h>

#include "OrvikCore/Care/Clock.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Files/Files.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

/// A copy of a backup's folder, as a synchronising service makes one, would count as a backup, and the right
/// one would go in its place.
void requireOwnNames(const BackupRepository& repository) {
  for (const auto& [id, manifest] : repository.completeBackups()) {
    if (manifest.backupID == id) continue;
    throw CollectionRefused(
        CollectionRefused::Kind::incomplete,
        fmt::format("{} holds the backup {}, as a copy that a synchronising service made, so nothing is "
                    "deleted. Look which of the two is whole, and move the other one out of the folder.",
                    repository.backupDirectory(id).string(), manifest.backupID));
  }
}

}  // namespace

GuardedRetention GuardedRetention::plan(const BackupRepository& repository, RetentionPolicy policy,
                                        platform::Date now, UnfinishedRuns unfinished,
                                        const std::stop_token& stop) {
  GuardedRetention plan{policy, now, CollectionPreflight::check(repository, unfinished, stop), {}, {}, 0};
  requireOwnNames(repository);
  plan.verdicts = planRetention(repository, policy, now);
  plan.collection = planCollection(repository, plan.goingIDs(), stop);
  plan.preflight.requireContent(plan.collection, repository, plan.goingIDs(), stop);
  for (const auto& id : plan.goingIDs())
    plan.folderBytes += platform::files::allocatedSize(repository.backupDirectory(id));
  return plan;
}

std::set<std::string> GuardedRetention::goingIDs() const {
  std::set<std::string> ids;
  for (const auto& verdict : verdicts)
    if (verdict.goes()) ids.insert(verdict.id);
  return ids;
}

CleanupResult GuardedRetention::expected() const {
  auto result = collection.expected();
  for (const auto& verdict : verdicts)
    if (verdict.goes()) result.removedBackups.push_back(verdict.id);
  return result;
}

CleanupResult GuardedRetention::carryOut(const HeldFolder& held, const std::stop_token& stop) const {
  if (expected() == CleanupResult()) return {};
  held.requireOwn();
  preflight.requireUnchanged(held.repository());
  return held.repository().applyRetention(policy.keepCount, policy.keepDays, now, stop);
}

std::optional<std::string> clockRemark(const std::vector<RetentionVerdict>& verdicts, platform::Date now) {
  if (verdicts.empty()) return std::nullopt;
  const auto& newest = verdicts.front();
  if (!liesAhead(newest.id, newest.finishedAt, now)) return std::nullopt;
  return fmt::format(
      "The newest backup {} lies in the future ({}): the clock of this machine, or of the one "
      "that made it, is or was wrong.",
      newest.id, wording::ago(BackupFormat::dateFromBackupID(newest.id).value_or(newest.finishedAt), now));
}

}  // namespace orvik::host
