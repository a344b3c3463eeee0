#include "orvik/Server/PatchReportCommand.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "JamfCore/Automation/PatchReportCSVExporter.h"
#include "JamfCore/Automation/PatchReportPDFExporter.h"
#include "JamfCore/Services/EachPage.h"
#include "JamfCore/Services/OrCancelled.h"
#include "JamfCore/Services/PatchComplianceService.h"
#include "Platform/Files/Files.h"
#include "orvik/Orgs/Organizations.h"
#include "orvik/Output/Report.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

using platform::json::Value;
using Title = jamf::PatchSoftwareTitleConfiguration;

constexpr std::int64_t pageSize = 200;
constexpr std::size_t mostTitlesListed = 20;

[[noreturn]] void failUnknown(const std::vector<Title>& titles, const std::string& name) {
  std::vector<std::string_view> names;
  for (const auto& each : titles) names.emplace_back(each.displayName);
  std::ranges::sort(names);
  const auto left = names.size() > mostTitlesListed ? names.size() - mostTitlesListed : 0;
  names.resize(names.size() - left);
  throw NotFoundError(fmt::format("There is no patch title {}. {}", name,
                                  names.empty()
                                      ? "The server has none."
                                      : fmt::format("There are: {}{}.", fmt::join(names, ", "),
                                                    left == 0 ? "" : fmt::format(" and {} more", left))));
}

/// The one of exactly that name, or else with that ID.
Title titleNamed(const std::vector<Title>& titles, const std::string& name) {
  const auto named =
      std::ranges::count_if(titles, [&](const Title& each) { return each.displayName == name; });
  if (named > 1)
    throw UsageError(fmt::format("{} patch titles are called {}; name one by its ID.", named, name));
  auto found = std::ranges::find(titles, name, &Title::displayName);
  if (found == titles.end()) found = std::ranges::find(titles, name, &Title::id);
  if (found == titles.end()) failUnknown(titles, name);
  return *found;
}

/// What a server knows of a title and its computers.
struct TitleReport {
  Title title;
  jamf::PatchSummary summary;
  std::vector<jamf::PatchReport> computers;
};

TitleReport read(const jamf::PatchComplianceService& service, const std::string& name, ProgressView& view,
                 const std::stop_token& stop) {
  view.step("Looking for the patch title");
  TitleReport report{titleNamed(service.list(stop), name), {}, {}};
  report.summary = service.summary(report.title.id, stop);
  view.step("Reading computers");
  std::size_t done = 0;
  report.computers = jamf::allPages(pageSize, [&](const jamf::ListRequest& request) {
    auto page = service.report(report.title.id, request, stop);
    done += page.results.size();
    view.progress(done, std::max(done, static_cast<std::size_t>(std::max<std::int64_t>(page.totalCount, 0))));
    return page;
  });
  return report;
}

}  // namespace

ExitStatus reportPatches(const PatchReportArguments& arguments, const HostPlaces& places, Results& results,
                         const std::stop_token& stop) {
  const Report report(arguments, results);
  const auto organization = chosenOrganization(arguments, places);
  auto view = report.view(Verbosity::brief);
  const auto found =
      jamf::orCancelled(stop, [&] { return read({organization.client}, arguments.title, *view, stop); });
  const auto& title = found.title.displayName;

  view->step("Writing");
  std::vector<std::pair<std::string, std::string>> files;
  const auto write = [&](const char* form, const std::string& path, const platform::Bytes& bytes) {
    platform::files::atomicWrite(bytes, path);
    files.emplace_back(form, path);
  };
  if (arguments.csv) write("csv", *arguments.csv, jamf::PatchReportCSVExporter::csv(found.computers));
  if (arguments.pdf)
    write("pdf", *arguments.pdf, jamf::PatchReportPDFExporter::pdf(title, found.summary, found.computers));
  view.reset();
  for (const auto& [form, path] : files) {
    report.text(visibleLine(path));
    report.event("file", Value::object({{"form", form}, {"path", path}}));
  }
  const auto& summary = found.summary;
  report.finished(visibleLine(fmt::format("{}: {}; latest version {}, {} up to date, {} out of date", title,
                                          wording::counted(std::ssize(found.computers), "computer"),
                                          summary.latestVersion, summary.upToDate, summary.outOfDate)),
                  Value::object({{"title", title},
                                 {"id", found.title.id},
                                 {"computers", found.computers.size()},
                                 {"latestVersion", summary.latestVersion},
                                 {"upToDate", summary.upToDate},
                                 {"outOfDate", summary.outOfDate}}));
  return ExitStatus::done;
}

}  // namespace orvik::host
