#include <fmt/format.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "orvik/Explore/BackupChoice.h"
#include "orvik/Explore/Tree/BackupTree.h"
#include "orvik/Explore/Tree/FolderTree.h"
#include "orvik/Explore/Tree/TreeCommands.h"
#include "orvik/Explore/Tree/TreeText.h"
#include "orvik/Output/Report.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

using platform::json::Value;
using Path = std::filesystem::path;

void tellWritten(const Report& report, const BackupReader::Entry& entry, const Path& path) {
  report.text(visibleLine(path.string()));
  report.record(Value::object({{"event", "file"},
                               {"section", entry.sectionID},
                               {"id", entry.item.id},
                               {"name", entry.displayName()},
                               {"path", path.string()}}));
}

std::string sentence(const FolderTree::Counts& counts, std::size_t leftOut, const std::string& folder) {
  auto text = fmt::format("{} in {}: {} written, {} deleted",
                          wording::counted(counts.written + counts.unchanged, "file"), folder, counts.written,
                          counts.deleted);
  if (leftOut != 0) text += fmt::format("; {} left out", leftOut);
  return text + ".";
}

}  // namespace

ExitStatus exportToFolder(const ExportArguments& arguments, Results& results, const std::stop_token& stop) {
  const auto backup = openedBackup(arguments.at, arguments.backup);
  const auto only = arguments.section.empty() ? std::nullopt : std::optional(arguments.section);
  if (only) requireReadSection(backup, *only);
  const Report report(arguments.at, results);
  auto view = report.view(Verbosity::brief);
  FolderTree folder(
      arguments.tree, backup,
      [&](const auto& entry, const Path& path) { view->aside([&] { tellWritten(report, entry, path); }); },
      [&](const Path& path) {
        view->aside([&] { report.event("deleted", Value::object({{"path", path.string()}})); });
      });
  view->step("Writing files");
  folder.begin(backup);
  const auto changes =
      BackupTree(folder.state(), folder)
          .bringTo(
              backup, only, [&](std::size_t done, std::size_t total) { view->progress(done, total); }, stop);
  folder.end();
  view.reset();

  for (const auto& left : changes.leftOut) {
    report.event("skipped", treeText::leftOutJSON(left));
    if (!report.isJSON()) report.note(treeText::leftOut(left));
  }
  const auto& counts = folder.counts();
  const auto leftOut = changes.leftOut.size();
  report.event("finished", Value::object({{"backup", idOf(backup)},
                                          {"folder", arguments.tree},
                                          {"objects", changes.total().objects},
                                          {"written", counts.written},
                                          {"unchanged", counts.unchanged},
                                          {"deleted", counts.deleted},
                                          {"skipped", leftOut}}));
  if (!report.isJSON()) report.note(sentence(counts, leftOut, arguments.tree));
  return changes.total().objects == 0 && leftOut != 0 ? ExitStatus::failed : ExitStatus::done;
}

}  // namespace orvik::host
