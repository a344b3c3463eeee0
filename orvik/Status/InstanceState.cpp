#include "orvik/Status/InstanceState.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "OrvikCore/Config/BackupInterval.h"
#include "Platform/Files/Files.h"
#include "Platform/Locale/Text.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

using platform::locale::dateText;
using std::chrono::hours;

/// Clocks of two machines may differ by less.
constexpr hours tolerated{1};

class Judge {
 public:
  Judge(const InstanceState& state, int maximumAge, platform::Date now)
      : state_(state), maximumAge_(maximumAge), now_(now) {}

  StatusVerdict verdict() {
    judgeBackup();
    judgeRuns();
    judgeLock();
    return std::move(verdict_);
  }

 private:
  void tell(const char* kind, std::string text) { verdict_.troubles.push_back({kind, std::move(text)}); }
  void overdue(const char* kind, std::string text) {
    verdict_.isOverdue = true;
    tell(kind, std::move(text));
  }

  void judgeBackup() {
    if (!state_.problem.empty()) return overdue("folder", state_.problem);
    if (!state_.hasFolder)
      return overdue("noFolder",
                     fmt::format("never backed up: there is no folder {}", state_.folder.string()));
    if (!state_.last) return overdue("noBackup", "never backed up");
    judgeAge(state_.last->finishedAt);
    if (state_.last->status == BackupManifest::Status::completeWithWarnings)
      tell("warnings",
           fmt::format("complete with warnings: {}", wording::counted(state_.last->warnings, "section")));
  }

  void judgeAge(platform::Date finishedAt) {
    const hours limit(maximumAge_);
    const auto age = now_ - finishedAt;
    if (age < -tolerated)
      tell("future", fmt::format("the last backup lies in the future, {}: a clock is or was wrong",
                                 wording::ago(finishedAt, now_)));
    if (maximumAge_ > 0 && std::chrono::abs(age) > limit)
      overdue("tooOld", fmt::format("no backup within {}", BackupInterval::describe(maximumAge_)));
  }

  void judgeRuns() {
    if (!state_.nextRun || now_ - *state_.nextRun <= tolerated) return;
    overdue("missedRun", fmt::format("a scheduled run is late: due {} ({})", dateText(*state_.nextRun),
                                     wording::ago(*state_.nextRun, now_)));
  }

  void judgeLock() {
    using State = FoundLock::State;
    const auto& lock = state_.lock;
    const bool isHeld = lock.state == State::lock && !lock.lock->isStale(now_);
    if (isHeld)
      tell("locked", fmt::format("{} has been writing since {}", lock.lock->holderText(),
                                 dateText(lock.lock->startedAt)));
    if (lock.state == State::lock && !isHeld)
      tell("staleLock", fmt::format("a stale lock of {}", lock.lock->holderText()));
    if (lock.state == State::unreadable) tell("unreadableLock", lock.problem);
    if (!isHeld && !state_.unfinished.empty())
      tell("interrupted",
           fmt::format("an interrupted run waits to be taken up: {}", state_.unfinished.back()));
  }

  const InstanceState& state_;
  const int maximumAge_;
  const platform::Date now_;
  StatusVerdict verdict_;
};

InstanceState::Backup summaryOf(const BackupRepository::Backup& backup) {
  const auto& manifest = backup.manifest;
  const auto warnings = std::ranges::count_if(
      manifest.sections, [](const SectionSummary& section) { return wording::isWarning(section.status); });
  return {backup.id, manifest.finishedAt, manifest.status, warnings, manifest.totals.objects};
}

}  // namespace

void InstanceState::look() {
  hasFolder = platform::files::isDirectory(folder);
  if (!hasFolder) return;
  const BackupRepository repository(folder);
  // The lock first: a run that ends meanwhile is then a backup, not an interrupted run.
  lock = FoundLock::in(folder);
  unfinished = repository.partialBackupIDs();
  if (const auto latest = repository.latestComplete()) last = summaryOf(*latest);
}

void InstanceState::lookAt(const std::vector<ScheduledRun>& runs) {
  const auto found = std::ranges::find(runs, id, &ScheduledRun::instanceID);
  if (found != runs.end()) nextRun = found->date;
}

StatusVerdict StatusVerdict::of(const InstanceState& state, int maximumAge, platform::Date now) {
  return Judge(state, maximumAge, now).verdict();
}

}  // namespace orvik::host
