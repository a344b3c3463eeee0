#include <fmt/format.h>

#include <utility>
#include <vector>

#include "OrvikCore/Explore/ObjectHistory.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Locale/Text.h"
#include "orvik/Explore/BackupChoice.h"
#include "orvik/Explore/ChangeText.h"
#include "orvik/Explore/EntryText.h"
#include "orvik/Explore/ExploreRecords.h"
#include "orvik/ExploreCommands.h"
#include "orvik/Report.h"
#include "orvik/VisibleText.h"
#include "orvik/Wording.h"

namespace orvik::host {

namespace {

using platform::json::Value;
using Ink = Paint::Ink;
using Kind = BackupReader::ChangeKind;

/// The ID of the object with that name in the newest backup that has one.
std::string idOfNamed(const BackupRepository& repository, const std::string& sectionID,
                      const std::string& name, const std::stop_token& stop) {
  for (auto& [id, manifest] : repository.completeBackups()) {
    platform::throwIfCancelled(stop);
    const BackupReader backup(repository, std::move(manifest), repository.backupDirectory(id));
    if (!readsSection(backup, sectionID)) continue;
    if (const auto entry = foundEntry(backup, sectionID, name)) return entry->item.id;
  }
  throw tuv::Error(fmt::format("There is no object \"{}\" in {} of any backup in {}.", name, sectionID,
                               repository.instanceDirectory.string()));
}

/// What the object was called last.
BackupReader::Entry lastEntry(const std::vector<ObjectVersion>& versions, const std::string& sectionID) {
  BackupReader::Entry entry;
  entry.sectionID = sectionID;
  for (const auto& version : versions)
    if (version.item) entry.item = *version.item;
  return entry;
}

std::string versionText(const ObjectVersion& version, const Paint& paint) {
  auto text =
      fmt::format("\n{}  {}  {}", paint(Ink::strong, visibleLine(version.backupID)),
                  platform::locale::dateText(version.finishedAt), changeText::word(version.kind, 0, paint));
  if (version.kind != Kind::changed) return text;

  return text + "\n" + changeText::lines(version.changes, "    ", paint);
}

Value versionJSON(const ObjectVersion& version, const std::string& sectionID, const std::string& id) {
  auto line = exploreRecords::version(version, sectionID, id);
  if (version.kind == Kind::changed) line.set("changes", changeText::json(version.changes));
  return line;
}

}  // namespace

ExitStatus history(const HistoryArguments& arguments, Results& results, const std::stop_token& stop) {
  const auto& section = arguments.section;
  const auto newest = openedBackup(arguments.at, std::nullopt);
  const auto& repository = newest.repository;
  requireSection(newest, section);
  const Report report(arguments.at, results);
  auto id = arguments.item;
  std::vector<ObjectVersion> versions;
  {
    const auto view = report.view(Verbosity::brief);
    view->step("Looking through the backups");
    versions = objectHistory(repository, section, id, stop);
    if (versions.empty()) {
      id = idOfNamed(repository, section, arguments.item, stop);
      versions = objectHistory(repository, section, id, stop);
    }
  }
  const auto entry = lastEntry(versions, section);
  const auto name = entry.displayName();
  const auto& paint = report.paint();
  report.text(fmt::format("{}  {}", entryText::named(entry, paint(Ink::strong, visibleLine(name)), paint),
                          paint(Ink::faint, section)));
  for (const auto& version : versions) {
    report.record(versionJSON(version, section, id));
    if (!report.isJSON()) report.text(versionText(version, paint));
  }
  const auto count = static_cast<std::int64_t>(versions.size());
  report.finished("\n" + wording::counted(count, "version") + ".",
                  Value::object({{"section", section}, {"id", id}, {"name", name}, {"versions", count}}));
  report.requireReader();
  return ExitStatus::done;
}

}  // namespace orvik::host
