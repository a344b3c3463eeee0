#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "OrvikCore/Explore/BackupComparison.h"
#include "orvik/Explore/BackupChoice.h"
#include "orvik/Explore/ChangeText.h"
#include "orvik/Explore/EntryText.h"
#include "orvik/Explore/ExploreRecords.h"
#include "orvik/ExploreCommands.h"
#include "orvik/InstanceFolder.h"
#include "orvik/Report.h"
#include "orvik/VisibleText.h"
#include "orvik/Wording.h"

namespace orvik::host {

namespace {

using platform::json::Value;
using Difference = BackupComparison::Difference;
using Ink = Paint::Ink;
using Kind = BackupReader::ChangeKind;

/// The parent of a backup where it is still there, or else the backup before it.
std::string backupBefore(const BackupReader& backup) {
  const auto all = backup.repository.completeBackups();
  const auto id = idOf(backup);
  const auto& parent = backup.manifest.parentBackupID;
  if (parent && std::ranges::find(all, *parent, &BackupRepository::Backup::id) != all.end()) return *parent;
  const auto earlier = std::ranges::find_if(all, [&](const auto& each) { return each.id < id; });
  if (earlier == all.end())
    throw NotFoundError(fmt::format("There is no backup before {} to compare it with.", id));
  return earlier->id;
}

/// Prints what differs as it is found, and counts it.
class DiffReport {
 public:
  DiffReport(const BackupReader& from, const BackupReader& to, const Report& report)
      : from_(from), to_(to), report_(report) {}

  void begin() const {
    const bool isBackwards = idOf(from_) > idOf(to_);
    report_.text(fmt::format("From {}\nto   {}{}", visibleLine(titleOf(from_)), visibleLine(titleOf(to_)),
                             isBackwards ? "\nBackwards: the first is the later one, so what came since then "
                                           "counts as removed."
                                         : ""));
  }

  void add(const BackupComparison::Section& section) {
    ++sections_;
    report_.text("\n" + entryText::heading(section.title, section.id, report_.paint()));
    if (section.problem) {
      ++problems_;
      report_.text("  " + report_.paint()(Ink::bad, "can't be compared: " + oneLine(*section.problem)));
      report_.record(
          Value::object({{"event", "problem"}, {"section", section.id}, {"message", *section.problem}}));
    }
    for (const auto& each : section.differences) add(each);
    report_.requireReader();
  }

  void end() const {
    const auto what = wording::changes(counts_);
    auto text = what.empty()
                    ? std::string("Nothing differs")
                    : fmt::format("{} in {}", what, wording::counted(sections_ - problems_, "section"));
    if (problems_ != 0) text += fmt::format("; {} can't be compared", wording::counted(problems_, "section"));
    report_.finished("\n" + text + ".", Value::object({{"from", idOf(from_)},
                                                       {"to", idOf(to_)},
                                                       {"new", counts_.new_},
                                                       {"changed", counts_.changed},
                                                       {"removed", counts_.removed},
                                                       {"failed", counts_.failed},
                                                       {"problems", problems_}}));
  }

 private:
  void add(const Difference& difference) {
    count(difference.kind);
    if (report_.isJSON())
      report_.record(json(difference));
    else
      report_.text(text(difference));
  }

  void count(Kind kind) {
    if (kind == Kind::new_) ++counts_.new_;
    if (kind == Kind::changed) ++counts_.changed;
    if (kind == Kind::removed) ++counts_.removed;
    if (kind == Kind::failed) ++counts_.failed;
  }

  static Value json(const Difference& difference) {
    auto line = exploreRecords::difference(difference);
    if (difference.kind == Kind::changed) line.set("changes", changeText::json(difference.changes));
    return line;
  }

  std::string text(const Difference& difference) const {
    const auto& paint = report_.paint();
    const auto& entry = difference.entry;
    auto line =
        fmt::format("  {}  {}", changeText::word(difference.kind, 7, paint), entryText::named(entry, paint));
    if (entry.error) line += ": " + oneLine(*entry.error);
    if (difference.kind != Kind::changed) return line;

    return line + "\n" + changeText::lines(difference.changes, "      ", paint);
  }

  const BackupReader& from_;
  const BackupReader& to_;
  const Report& report_;
  ChangeCounts counts_;
  int sections_ = 0;  ///< that were told
  int problems_ = 0;
};

}  // namespace

ExitStatus diff(const DiffArguments& arguments, Results& results, const std::stop_token& stop) {
  const auto to = openedBackup(arguments.at, arguments.to);
  const auto from = openedBackup(arguments.at, arguments.from ? *arguments.from : backupBefore(to));
  if (arguments.section && !readsSection(from, *arguments.section))
    requireReadSection(to, *arguments.section);
  const Report report(arguments.at, results);
  DiffReport differences(from, to, report);
  differences.begin();
  {
    const auto view = report.view(Verbosity::brief);
    view->step("Comparing");
    BackupComparison::compare(
        from, to, arguments.section,
        [&](BackupComparison::Section section) { view->aside([&] { differences.add(section); }); }, stop);
  }
  differences.end();
  report.requireReader();
  return ExitStatus::done;
}

}  // namespace orvik::host
