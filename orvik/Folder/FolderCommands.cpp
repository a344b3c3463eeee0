#include "orvik/Folder/FolderCommands.h"

#include <fmt/format.h>

#include <memory>
#include <optional>

#include "OrvikCore/Store/PackStore.h"
#include "Platform/Locale/Text.h"
#include "orvik/Backup/GuardedRetention.h"
#include "orvik/Folder/CareReport.h"
#include "orvik/Folder/InstanceFolder.h"
#include "orvik/Output/JSONRecord.h"
#include "orvik/Output/Question.h"
#include "orvik/Output/Report.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

using platform::json::Value;
using platform::locale::byteCount;
using wording::counted;

/// A command that deletes: where, how it was told to, and what it holds.
class Deletion {
 public:
  Deletion(const WriterArguments& at, const DeletionArguments& how, const Report& report,
           const std::stop_token& stop)
      : at_(at), how_(how), report_(report), stop_(stop), repository_(instanceFolder(at.folder)) {
    if (!how.dryRun && !how.yes && !question::canAsk())
      throw UsageError("Without a terminal, --yes is needed to delete; --dry-run shows what would go.");
    unlockFolder(repository_, at.key);
    if (!how.dryRun) held_.emplace(repository_, at.lockWait, *report.view(), stop);
  }

  const BackupRepository& repository() const { return repository_; }
  const HeldFolder& held() const { return *held_; }
  bool isDryRun() const { return how_.dryRun; }
  /// Whether a person sees the plan: it is what a dry run gives, and what is asked about.
  bool showsPlan() const { return how_.dryRun || !at_.quiet || !how_.yes; }
  UnfinishedRuns unfinished() const {
    return how_.withUnfinished ? UnfinishedRuns::allow : UnfinishedRuns::refuse;
  }

  /// Work that may take long, under a line that says so.
  template <class Work>
  auto during(const std::string& step, const Work& work) const {
    const auto view = report_.view();
    view->step(step);
    return work();
  }

  bool agreed(const std::string& question) const { return how_.yes || question::confirms(question, stop_); }

 private:
  const WriterArguments& at_;
  const DeletionArguments& how_;
  const Report& report_;
  const std::stop_token& stop_;
  const BackupRepository repository_;
  std::optional<HeldFolder> held_;
};

Value cleanupJSON(bool isDryRun, const CleanupResult& result, const RemovedLeftovers& leftovers) {
  return Value::object({{"dryRun", isDryRun}, {"result", jsonOf(result)}, {"leftovers", jsonOf(leftovers)}});
}

std::int64_t fileCount(const CleanupResult& result) { return result.removedObjects + result.removedFiles; }

/// What a collection that could not delete everything has to say.
std::optional<std::string> shortfall(std::int64_t expected, std::int64_t removed) {
  if (removed >= expected) return std::nullopt;
  return fmt::format("{} could not be deleted and stay until the next collection.",
                     counted(expected - removed, "file"));
}

}  // namespace

ExitStatus pack(const PackArguments& arguments, Results& results, const std::stop_token& stop) {
  const auto repository = instanceFolder(arguments.at.folder);
  unlockFolder(repository, arguments.at.key);
  const Report report(arguments.at, results);
  BackupRepository::Packed packed;
  std::size_t left = 0;
  {
    const auto view = report.view();
    const HeldFolder held(repository, arguments.at.lockWait, *view, stop);
    view->step("Packing single object files");
    packed = repository.packLooseObjects(stop);
    left = PackStore::looseObjects(repository.instanceDirectory).size();
  }
  const auto remaining = static_cast<std::int64_t>(left);
  if (remaining != 0)
    report.note(
        fmt::format("{} stay as they are: what they hold doesn't fit their names, or can't be checked. "
                    "orvikctl verify says which backups need them.",
                    counted(remaining, "object file")));
  std::string text =
      remaining == 0 ? "Nothing to pack: there are no single object files." : "Nothing was packed.";
  if (packed.objects != 0)
    text = fmt::format("Packed {} ({}) into one file.", counted(packed.objects, "object"),
                       byteCount(packed.bytes));
  report.finished(text,
                  Value::object({{"objects", packed.objects}, {"bytes", packed.bytes}, {"left", remaining}}));
  return ExitStatus::done;
}

ExitStatus collect(const CollectArguments& arguments, Results& results, const std::stop_token& stop) {
  const Report report(arguments.at, results);
  const Deletion deletion(arguments.at, arguments.deletion, report, stop);
  const auto& repository = deletion.repository();
  const auto now = platform::now();
  const auto preflight = deletion.during("Looking at the backups", [&] {
    return CollectionPreflight::check(repository, deletion.unfinished(), stop);
  });
  const auto plan = deletion.during("Reading what the backups refer to",
                                    [&] { return planCollection(repository, {}, stop); });
  deletion.during("Looking for what the backups refer to",
                  [&] { preflight.requireContent(plan, repository, {}, stop); });
  const auto leftovers =
      deletion.during("Looking for what a crash left", [&] { return findLeftovers(repository, now, stop); });
  const auto expected = plan.expected();
  const RemovedLeftovers expectedLeftovers{static_cast<std::int64_t>(leftovers.old.size()),
                                           leftovers.oldBytes()};
  if (deletion.showsPlan()) {
    report.lines(careText::collection(plan), careJSON::collection(plan));
    report.lines(careText::leftovers(leftovers), careJSON::leftovers(leftovers));
  }
  const auto wouldGo = wording::deleted(expected, expectedLeftovers);
  if (expected == CleanupResult() && leftovers.old.empty()) {
    report.finished("Nothing to delete: a backup refers to everything, or too little would be gained.",
                    cleanupJSON(deletion.isDryRun(), {}, {}));
    return ExitStatus::done;
  }
  if (deletion.isDryRun()) {
    report.finished("Would delete " + wouldGo + ".", cleanupJSON(true, expected, expectedLeftovers));
    return ExitStatus::done;
  }
  if (!deletion.agreed("Delete " + wouldGo + "?")) {
    report.finished("Nothing was deleted.", cleanupJSON(false, {}, {}));
    return ExitStatus::failed;
  }
  deletion.held().requireOwn();
  preflight.requireUnchanged(repository);
  const auto result = deletion.during("Deleting", [&] { return carryOut(plan, repository, stop); });
  const auto removed = deletion.during("Deleting what a crash left",
                                       [&] { return removeLeftovers(leftovers, repository, stop); });
  if (const auto text =
          shortfall(fileCount(expected) + expectedLeftovers.files, fileCount(result) + removed.files))
    report.note(*text);
  report.finished("Deleted " + wording::deleted(result, removed) + ".", cleanupJSON(false, result, removed));
  return ExitStatus::done;
}

ExitStatus retain(const RetentionArguments& arguments, Results& results, const std::stop_token& stop) {
  const Report report(arguments.at, results);
  const Deletion deletion(arguments.at, arguments.deletion, report, stop);
  const auto plan = deletion.during("Looking at the backups and what they refer to", [&] {
    return GuardedRetention::plan(deletion.repository(), arguments.keep, platform::now(),
                                  deletion.unfinished(), stop);
  });
  const auto json = [&](const CleanupResult& result) {
    return Value::object({{"dryRun", deletion.isDryRun()},
                          {"result", jsonOf(result)},
                          {"folderBytes", result.removedBackups.empty() ? 0 : plan.folderBytes}});
  };
  if (const auto text = clockRemark(plan.verdicts, plan.now)) report.note(*text);
  if (deletion.showsPlan()) {
    report.lines(careText::verdicts(plan.verdicts, plan.policy), careJSON::verdicts(plan.verdicts));
    report.lines(careText::collection(plan.collection), careJSON::collection(plan.collection));
  }
  const auto expected = plan.expected();
  if (expected == CleanupResult()) {
    report.finished("Nothing to delete: every backup is within the limits.", json({}));
    return ExitStatus::done;
  }
  const auto withFolders = [&](const CleanupResult& result) {
    const auto text = wording::deleted(result);
    if (plan.folderBytes == 0) return text;
    return fmt::format("{} of the store and {} of the backups' own folders", text,
                       byteCount(plan.folderBytes));
  };
  const auto wouldGo = withFolders(expected);
  if (deletion.isDryRun()) {
    report.finished("Would delete " + wouldGo + ".", json(expected));
    return ExitStatus::done;
  }
  if (!deletion.agreed("Delete " + wouldGo + "?")) {
    report.finished("Nothing was deleted.", json({}));
    return ExitStatus::failed;
  }
  const auto result = deletion.during("Deleting", [&] { return plan.carryOut(deletion.held(), stop); });
  if (const auto text = shortfall(fileCount(expected), fileCount(result))) report.note(*text);
  report.finished("Deleted " + withFolders(result) + ".", json(result));
  return ExitStatus::done;
}

}  // namespace orvik::host
