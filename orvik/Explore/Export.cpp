#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "OrvikCore/Explore/ObjectExporter.h"
#include "Platform/Files/Files.h"
#include "Platform/Locale/Text.h"
#include "orvik/Explore/BackupChoice.h"
#include "orvik/Explore/ExploreCommands.h"
#include "orvik/Explore/Tree/TreeCommands.h"
#include "orvik/Output/Report.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

namespace files = platform::files;
using platform::json::Value;
using Entry = BackupReader::Entry;
using Path = std::filesystem::path;

std::string notInBackup(const ObjectExport::NotInBackup& file) {
  return fmt::format("its file {}{} is not in this backup", file.fileName,
                     file.size ? fmt::format(" ({})", platform::locale::byteCount(*file.size)) : "");
}

/// Why nothing, or not all, can be written of an entry.
std::vector<std::string> shortfalls(const BackupReader& backup, const Entry& entry,
                                    const std::vector<ObjectExport>& forms) {
  if (entry.error) return {"the backup could not read it: " + *entry.error};
  std::vector<std::string> reasons;
  for (const auto& form : forms)
    if (const auto* file = std::get_if<ObjectExport::NotInBackup>(&form.content))
      reasons.push_back(notInBackup(*file));
  for (const auto& [variant, hash] : entry.item.objects)
    if (auto trouble = troubleWith(backup, hash)) reasons.push_back(std::move(*trouble));
  return reasons;
}

/// Writes files into one folder and tells of each.
class ExportRun {
 public:
  ExportRun(const BackupReader& backup, const ExportArguments& arguments, const Report& report,
            const std::stop_token& stop)
      : backup_(backup),
        folder_(arguments.out),
        report_(report),
        stop_(stop),
        view_(report.view(Verbosity::brief)) {
    files::createDirectories(folder_);
    view_->step("Writing files");
  }

  void section(const std::string& sectionID) {
    std::set<std::string> ids;
    const auto result = ObjectExporter::exportSection(
        sectionID, backup_, folder_,
        [&](const Entry& entry, const Path& path) {
          ids.insert(entry.id());
          written(entry, path);
        },
        [&](const Entry& entry) { return !isDamaged(backup_, entry); }, stop_);
    for (const auto& entry : backup_.entries(sectionID)) {
      if (entry.removed || ids.contains(entry.id())) continue;
      const auto forms = ObjectExporter::exports(entry, backup_);
      const auto reasons = shortfalls(backup_, entry, forms);
      skip(entry, reasons.empty() ? "it has no form of its own; named alone it is written as JSON"
                                  : reasons.front());
    }
  }

  void object(const Entry& entry) {
    std::set<std::string> used;
    const auto forms = ObjectExporter::exports(entry, backup_);
    for (const auto& form : isDamaged(backup_, entry) ? std::vector<ObjectExport>() : forms) {
      if (std::holds_alternative<ObjectExport::NotInBackup>(form.content)) continue;
      const auto path = folder_ / ObjectExporter::unique(form.fileName, used);
      ObjectExporter::write(form, path, stop_);
      written(entry, path);
    }
    for (const auto& reason : shortfalls(backup_, entry, forms)) skip(entry, reason);
  }

  /// Nothing is a failure where there was something to write.
  ExitStatus end() {
    view_.reset();
    auto text = fmt::format("{} in {}", wording::counted(written_, "file"), folder_.string());
    if (skipped_ != 0) text += fmt::format("; {} left out", skipped_);
    report_.record(Value::object({{"event", "finished"},
                                  {"backup", idOf(backup_)},
                                  {"folder", folder_.string()},
                                  {"written", written_},
                                  {"skipped", skipped_}}));
    if (!report_.isJSON()) report_.note(text + ".");
    return written_ == 0 && skipped_ != 0 ? ExitStatus::failed : ExitStatus::done;
  }

 private:
  void written(const Entry& entry, const Path& path) {
    ++written_;
    view_->aside([&] {
      report_.text(visibleLine(path.string()));
      report_.record(Value::object({{"event", "file"},
                                    {"section", entry.sectionID},
                                    {"id", entry.item.id},
                                    {"name", entry.displayName()},
                                    {"path", path.string()}}));
    });
  }

  void skip(const Entry& entry, const std::string& reason) {
    ++skipped_;
    view_->aside([&] {
      report_.record(Value::object({{"event", "skipped"},
                                    {"section", entry.sectionID},
                                    {"id", entry.item.id},
                                    {"name", entry.displayName()},
                                    {"message", reason}}));
      if (!report_.isJSON())
        report_.note(fmt::format("Left out: {} (#{}): {}", entry.displayName(), entry.item.id, reason));
    });
  }

  const BackupReader& backup_;
  const Path folder_;
  const Report& report_;
  const std::stop_token& stop_;
  std::unique_ptr<ProgressView> view_;
  int written_ = 0;
  int skipped_ = 0;
};

/// An entry that has anything to write; says why another has not.
Entry exportableEntry(const BackupReader& backup, const ExportArguments& arguments) {
  auto entry = requiredEntry(backup, arguments.section, *arguments.item);
  if (entry.isStored()) return entry;

  throw tuv::Error(fmt::format("The backup {} does not hold \"{}\": {}. {}", idOf(backup),
                               entry.displayName(),
                               entry.error ? "it could not read it" : "it was no longer on the server",
                               lastVersionText(lastVersionBefore(backup, entry))));
}

}  // namespace

ExitStatus exportObjects(const ExportArguments& arguments, Results& results, const std::stop_token& stop) {
  if (!arguments.tree.empty()) return exportToFolder(arguments, results, stop);
  if (!arguments.git.empty()) return exportToGit(arguments, results, stop);
  const auto backup = openedBackup(arguments.at, arguments.backup);
  requireReadSection(backup, arguments.section);
  const auto entry = arguments.item ? std::optional(exportableEntry(backup, arguments)) : std::nullopt;
  if (!entry) readEntries(backup, arguments.section);
  const Report report(arguments.at, results);
  ExportRun run(backup, arguments, report, stop);
  if (entry)
    run.object(*entry);
  else
    run.section(arguments.section);
  return run.end();
}

}  // namespace orvik::host
