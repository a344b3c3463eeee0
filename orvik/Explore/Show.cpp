#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "orvik/Explore/BackupChoice.h"
#include "orvik/Explore/ChangeText.h"
#include "orvik/Explore/ExploreRecords.h"
#include "orvik/Explore/ObjectPage.h"
#include "orvik/ExploreCommands.h"
#include "orvik/Report.h"
#include "orvik/VisibleText.h"
#include "orvik/Wording.h"

namespace orvik::host {

namespace {

using platform::json::Value;
using Entry = BackupReader::Entry;
using Kind = BackupReader::ChangeKind;

/// IDs beyond that don't push the names of all others to the right.
constexpr std::size_t widestID = 40;

std::string listText(const std::vector<Entry>& entries, const Paint& paint) {
  std::size_t width = 0, wordWidth = 0;
  for (const auto& entry : entries) {
    if (entry.item.id.size() <= widestID) width = std::max(width, entry.item.id.size());
    if (entry.change() != Kind::unchanged)
      wordWidth = std::max(wordWidth, changeText::word(entry.change()).size() + 2);
  }
  std::string text;
  for (const auto& entry : entries) {
    const auto kind = entry.change();
    text += fmt::format(
        "\n  {:<{}}  {}{}", visibleLine(entry.item.id), width,
        kind == Kind::unchanged ? std::string(wordWidth, ' ') : changeText::word(kind, wordWidth, paint),
        visibleLine(entry.displayName()));
    if (entry.error) text += ": " + oneLine(*entry.error);
  }
  return text;
}

void printList(const BackupReader& backup, const std::string& sectionID, const Report& report) {
  const auto entries = readEntries(backup, sectionID);
  for (const auto& entry : entries) report.record(exploreRecords::entry(entry, idOf(backup)));
  if (report.isJSON()) return;
  const auto& sections = backup.manifest.sections;
  const auto summary = std::ranges::find(sections, sectionID, &SectionSummary::id);
  report.text(fmt::format(
      "{}\nBackup {}: {}\n{}", report.paint()(Paint::Ink::strong, visibleLine(summary->title)),
      visibleLine(titleOf(backup)), wording::counts(summary->counts), listText(entries, report.paint())));
}

}  // namespace

ExitStatus show(const ShowArguments& arguments, Results& results) {
  const auto backup = openedBackup(arguments.at, arguments.backup);
  const Report report(arguments.at, results);
  requireReadSection(backup, arguments.section);
  if (!arguments.item) {
    printList(backup, arguments.section, report);
    report.requireReader();
    return ExitStatus::done;
  }
  const auto page = ObjectPage::of(backup, requiredEntry(backup, arguments.section, *arguments.item));
  if (report.isJSON())
    report.record(page.json());
  else
    report.text(page.text(report.paint()));
  report.requireReader();
  const auto& objects = page.entry.item.objects;
  return !objects.empty() && page.problems.size() == objects.size() ? ExitStatus::failed : ExitStatus::done;
}

}  // namespace orvik::host
