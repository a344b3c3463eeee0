#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "Platform/Locale/Text.h"
#include "orvik/Explore/BackupChoice.h"
#include "orvik/Explore/ExploreRecords.h"
#include "orvik/ExploreCommands.h"
#include "orvik/InstanceFolder.h"
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
  report.record(exploreRecords::backup(backup));
  for (const auto& section : all) report.record(exploreRecords::section(section, idOf(backup)));
  if (!report.isJSON()) printText(backup, all, report);
  report.requireReader();
  return ExitStatus::done;
}

}  // namespace orvik::host
