#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "Platform/Locale/Text.h"
#include "orvik/Explore/BackupChoice.h"
#include "orvik/ExploreCommands.h"
#include "orvik/InstanceFolder.h"
#include "orvik/JSONRecord.h"
#include "orvik/Report.h"
#include "orvik/VisibleText.h"
#include "orvik/Wording.h"

namespace orvik::host {

namespace {

using platform::json::Value;
using Group = SectionDefinition::Group;
using Ink = Paint::Ink;
using Section = BackupReader::Section;
using Status = SectionSummary::Status;

std::string headLines(const BackupReader& backup, const Paint& paint) {
  const auto& manifest = backup.manifest;
  const bool isComplete = manifest.status == BackupManifest::Status::complete;
  return fmt::format("Backup {} of {}, {}{}\n{}", paint(Ink::strong, visibleLine(idOf(backup))),
                     visibleLine(manifest.instance.name), platform::locale::dateText(manifest.finishedAt),
                     isComplete ? "" : paint(Ink::warning, ", complete with warnings"),
                     manifest.parentBackupID ? "Parent " + visibleLine(*manifest.parentBackupID)
                                             : "Without a parent: everything is new");
}

Value headJSON(const BackupReader& backup) {
  const auto& manifest = backup.manifest;
  auto line = Value::object({{"event", "backup"},
                             {"backup", idOf(backup)},
                             {"instance", manifest.instance.name},
                             {"startedAt", platform::iso8601(manifest.startedAt)},
                             {"finishedAt", platform::iso8601(manifest.finishedAt)},
                             {"status", platform::json::textOf(manifest.status)}});
  if (manifest.parentBackupID) line.set("parent", *manifest.parentBackupID);
  return line;
}

/// Number, ID and title, since what is of any length stands last; why it is incomplete below.
std::string sectionLines(const SectionSummary& summary, std::size_t width, const Paint& paint) {
  const bool isRead = summary.index.has_value();
  auto text = fmt::format("{:>6}  {:<{}}  {}", isRead ? std::to_string(summary.counts.total) : "–",
                          visibleLine(summary.id), width, visibleLine(summary.title));
  if (const auto changes = wording::changes(summary.counts); isRead && !changes.empty())
    text += "  " + paint(Ink::warning, changes);
  if (summary.status != Status::complete)
    text += fmt::format("\n{:8}{}", "", paint(Ink::bad, wording::because(summary)));
  return text;
}

Value sectionJSON(const BackupReader& backup, const Section& section) {
  const auto& summary = section.summary;
  auto line = Value::object({{"event", "section"},
                             {"backup", idOf(backup)},
                             {"group", platform::json::textOf(section.group)},
                             {"id", summary.id},
                             {"title", summary.title},
                             {"status", platform::json::textOf(summary.status)}});
  if (summary.message) line.set("message", *summary.message);
  return line.set("counts", jsonOf(summary.counts));
}

void printText(const BackupReader& backup, const std::vector<Section>& all, const Report& report) {
  report.text(headLines(backup, report.paint()));
  std::size_t width = 0, disabled = 0;
  for (const auto& section : all)
    if (section.summary.status != Status::disabled) width = std::max(width, section.summary.id.size());
  std::optional<Group> group;
  for (const auto& section : all) {
    if (section.summary.status == Status::disabled) {
      ++disabled;
      continue;
    }
    if (group != section.group)
      report.text("\n" + report.paint()(Ink::strong, platform::json::textOf(section.group)));
    group = section.group;
    report.text(sectionLines(section.summary, width, report.paint()));
  }
  if (disabled != 0)
    report.text("\nSwitched off: " + wording::counted(static_cast<std::int64_t>(disabled), "section") + ".");
}

}  // namespace

ExitStatus sections(const SectionsArguments& arguments, Results& results) {
  const auto backup = chosenBackup(instanceFolder(arguments.at.folder), arguments.backup);
  const Report report(arguments.at, results);
  const auto all = backup.sections();
  report.record(headJSON(backup));
  for (const auto& section : all) report.record(sectionJSON(backup, section));
  if (!report.isJSON()) printText(backup, all, report);
  report.requireReader();
  return ExitStatus::done;
}

}  // namespace orvik::host
