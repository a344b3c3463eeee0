#include <fmt/format.h>

#include <utility>

#include "OrvikCore/Care/FolderStatistics.h"
#include "Platform/Locale/Text.h"
#include "orvik/Care/CareCommands.h"
#include "orvik/Care/CareProgressView.h"
#include "orvik/Folder/InstanceFolder.h"
#include "orvik/Output/Report.h"
#include "orvik/Output/TextTable.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

using platform::json::Value;
using platform::locale::byteCount;
using wording::counted;
using Align = TextTable::Align;
using Amount = FolderStatistics::Amount;

Value json(const Amount& amount) {
  return Value::object({{"objects", amount.objects}, {"files", amount.files}, {"bytes", amount.bytes}});
}

Value json(const FolderStatistics::Section& section) {
  return Value::object({{"id", section.id},
                        {"title", section.title},
                        {"items", section.items},
                        {"newest", json(section.newest)},
                        {"all", json(section.all)}});
}

Value json(const FolderStatistics::Backup& backup) {
  return Value::object({{"backup", backup.id},
                        {"finishedAt", platform::iso8601(backup.finishedAt)},
                        {"all", json(backup.all)},
                        {"shared", backup.all.bytes - backup.unique.bytes},
                        {"unique", json(backup.unique)},
                        {"new", json(backup.fresh)}});
}

Value json(const FolderStatistics& found) {
  const auto& store = found.store;
  return Value::object({{"backups", found.backups.size()},
                        {"sections", found.sections.size()},
                        {"single", json(store.single)},
                        {"packed", json(store.packed)},
                        {"packs", store.packs},
                        {"packageFiles", json(store.packageFiles)},
                        {"unreferenced", json(store.unreferenced)},
                        {"allocated", store.allocated},
                        {"quarantine", store.quarantine},
                        {"missing", found.missing},
                        {"unreadable", found.unreadable.size()}});
}

void printSections(const FolderStatistics& found, const Report& report) {
  TextTable table({{"SECTION"},
                   {"ITEMS", Align::right},
                   {"OBJECTS", Align::right},
                   {"SIZE", Align::right},
                   {"ALL BACKUPS", Align::right}});
  for (const auto& each : found.sections)
    table.add({each.id, std::to_string(each.items), std::to_string(each.newest.objects + each.newest.files),
               byteCount(each.newest.bytes), byteCount(each.all.bytes)});
  for (const auto& line : table.lines(report.paint())) report.text(line);
}

void printBackups(const FolderStatistics& found, const Report& report) {
  TextTable table({{"BACKUP"},
                   {"OBJECTS", Align::right},
                   {"FILES", Align::right},
                   {"SIZE", Align::right},
                   {"SHARED", Align::right},
                   {"UNIQUE", Align::right},
                   {"NEW", Align::right}});
  for (const auto& each : found.backups)
    table.add({each.id, std::to_string(each.all.objects), std::to_string(each.all.files),
               byteCount(each.all.bytes), byteCount(each.all.bytes - each.unique.bytes),
               byteCount(each.unique.bytes), byteCount(each.fresh.bytes)});
  for (const auto& line : table.lines(report.paint())) report.text(line);
}

void printStore(const FolderStatistics& found, const Report& report) {
  const auto& store = found.store;
  report.text(fmt::format("Store: {} in {} ({}), {} in files of their own ({}), {} ({}).",
                          counted(store.packed.objects, "object"), counted(store.packs, "pack"),
                          byteCount(store.packed.bytes), store.single.objects, byteCount(store.single.bytes),
                          counted(store.packageFiles.files, "package file"),
                          byteCount(store.packageFiles.bytes)));
  if (store.unreferenced != Amount())
    report.text(fmt::format(
        "No backup refers to {} and {} of these ({}).", counted(store.unreferenced.objects, "object"),
        counted(store.unreferenced.files, "package file"), byteCount(store.unreferenced.bytes)));
  if (store.quarantine != 0) report.text(fmt::format("In quarantine: {}.", byteCount(store.quarantine)));
  report.text(fmt::format("The folder takes {} on its disk.", byteCount(store.allocated)));
}

void tellGaps(const FolderStatistics& found, const Report& report) {
  if (found.missing != 0)
    report.note(fmt::format("{} that backups refer to are not there; orvik check says which.",
                            counted(found.missing, "stored thing")));
  for (const auto& path : found.unreadable)
    report.note(fmt::format("The index {} can't be read; it counts nothing.", path));
}

}  // namespace

ExitStatus stats(const StatsArguments& arguments, Results& results, const std::stop_token& stop) {
  const auto repository = instanceFolder(arguments.at.folder);
  unlockFolder(repository, arguments.at.key);
  const Report report(arguments.at, results);
  FolderStatistics found;
  {
    const auto view = report.view(Verbosity::brief);
    found = readStatistics(repository, shownOn(*view), stop);
  }
  for (const auto& each : found.sections) report.event("section", json(each));
  for (const auto& each : found.backups) report.event("backup", json(each));
  tellGaps(found, report);
  report.event("finished", json(found));
  if (!report.isJSON()) {
    printSections(found, report);
    if (!found.sections.empty()) report.text("");
    printBackups(found, report);
    if (!found.backups.empty()) report.text("");
    printStore(found, report);
  }
  report.requireReader();
  return ExitStatus::done;
}

}  // namespace orvik::host
