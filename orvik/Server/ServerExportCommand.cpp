#include "orvik/Server/ServerExportCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>
#include <utility>
#include <variant>

#include "JamfCore/Automation/BackupExportService.h"
#include "JamfCore/Services/OrCancelled.h"
#include "orvik/Orgs/Organizations.h"
#include "orvik/Output/Report.h"
#include "orvik/Output/VisibleText.h"

namespace orvik::host {

namespace {

using jamf::BackupExportProgress;
using jamf::BackupExportResult;
using jamf::BackupExportService;
using platform::json::Value;
using Entry = BackupExportResult::Entry;
using Failed = BackupExportResult::Failed;

/// Shows an export while it goes on, and tells of each object.
class ExportView {
 public:
  explicit ExportView(const Report& report) : report_(report), view_(report.view()) {}

  void category(const std::string& name, const jamf::BackupExportCategoryStatus& status) {
    const auto* completed = std::get_if<BackupExportProgress::Completed>(&status);
    if (completed == nullptr) {
      view_->step(name);
      names_.clear();
      return;
    }
    view_->aside([&] {
      report_.event("category", Value::object({{"category", name},
                                               {"exported", completed->exported},
                                               {"failed", completed->failed}}));
    });
  }

  void entry(const Entry& entry, std::size_t done, std::size_t total) {
    view_->progress(done, total);
    auto line = Value::object({{"category", entry.typeLabel}, {"name", entry.name}});
    if (const auto* failed = std::get_if<Failed>(&entry.outcome)) {
      view_->aside([&] {
        report_.text(
            oneLine(fmt::format("failed  {}  {}: {}", entry.typeLabel, entry.name, failed->message)));
        report_.event("entry", line.set("outcome", "failed").set("message", failed->message));
      });
      return;
    }
    const auto file = BackupExportService::fileName(entry.name);
    const auto before = names_.find(file);
    view_->aside([&] {
      report_.event("entry", line.set("outcome", "exported").set("file", file));
      if (before != names_.end())
        report_.note(fmt::format("{}: {} has the file of {}, {}, and replaced it.", entry.typeLabel,
                                 entry.name, before->second, file));
    });
    names_.insert_or_assign(file, entry.name);
  }

 private:
  const Report& report_;
  const std::unique_ptr<ProgressView> view_;
  std::map<std::string, std::string> names_;  ///< of the category's objects, by their files
};

/// Throws when the server can't be reached or refuses the client, so that no empty folder is left.
void requireAnswer(jamf::APIClient& client, const Report& report, const std::stop_token& stop) {
  const auto view = report.view(Verbosity::brief);
  view->step("Connecting");
  jamf::orCancelled(stop, [&] {
    try {
      client.get("api/v1/jamf-pro-version", {}, stop);
    } catch (const jamf::APIError& error) {
      if (!error.as<jamf::APIError::RequestFailed>()) throw;
    }
  });
}

}  // namespace

ExitStatus exportServer(const ExportServerArguments& arguments, const HostPlaces& places, Results& results,
                        const std::stop_token& stop) {
  const Report report(arguments, results);
  const auto organization = chosenOrganization(arguments, places);
  requireAnswer(*organization.client, report, stop);
  const auto result = [&] {
    ExportView view(report);
    return BackupExportService{organization.client}.exportAll(
        organization.record.name, arguments.to,
        [&](const auto& name, const auto& status) { view.category(name, status); }, stop,
        [&](const auto& entry, std::size_t done, std::size_t total) { view.entry(entry, done, total); });
  }();
  const auto failed = std::ranges::count_if(
      result.entries, [](const Entry& entry) { return std::holds_alternative<Failed>(entry.outcome); });
  report.finished(visibleLine(fmt::format("{} in {}", result.summary(), result.folderURL.string())),
                  Value::object({{"folder", result.folderURL.string()},
                                 {"exported", std::ssize(result.entries) - failed},
                                 {"failed", failed},
                                 {"summary", result.summary()}}));
  return failed == 0 ? ExitStatus::done : ExitStatus::failed;
}

}  // namespace orvik::host
