#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "JamfCore/Automation/CommunityPlaybookRepository.h"
#include "JamfCore/Automation/PlaybookYAML.h"
#include "JamfCore/OrgManagement/OrgManager.h"
#include "Platform/Files/Files.h"
#include "orvik/Output/Report.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"
#include "orvik/Playbook/PlaybookCommands.h"

namespace orvik::host {

namespace {

using jamf::CommunityPlaybookRepository;
using platform::json::Value;
using Entry = CommunityPlaybookRepository::Entry;

CommunityPlaybookRepository repositoryOf(const FetchPlaybookArguments& arguments) {
  const auto slash = arguments.repository.find('/');
  if (slash == std::string::npos || arguments.repository.find('/', slash + 1) != std::string::npos)
    throw UsageError("The repository is to be named as OWNER/REPO.");
  CommunityPlaybookRepository repository{
      arguments.repository.substr(0, slash), arguments.repository.substr(slash + 1), arguments.branch,
      std::make_shared<platform::HTTPSession>(jamf::OrgManager::sessionConfiguration())};
  if (arguments.apiURL) repository.baseAddress = *arguments.apiURL;
  while (repository.baseAddress.ends_with('/')) repository.baseAddress.pop_back();
  return repository;
}

Value jsonOf(const Entry& entry) {
  return Value::object({{"name", entry.name}, {"path", entry.path}, {"downloadURL", entry.downloadURL}});
}

const Entry& entryNamed(const std::vector<Entry>& entries, const FetchPlaybookArguments& arguments) {
  const auto found = std::ranges::find(entries, *arguments.name, &Entry::name);
  if (found != entries.end()) return *found;
  std::vector<std::string_view> names;
  for (const auto& each : entries) names.emplace_back(each.name);
  throw NotFoundError(fmt::format(
      "There is no playbook {} in {}. {}", *arguments.name, arguments.repository,
      names.empty() ? "There is none at all." : fmt::format("There are: {}.", fmt::join(names, ", "))));
}

/// A document of strangers: a terminal sees what would control it, a pipe gets it as it is.
std::string printable(std::string yaml) {
  if (yaml.ends_with('\n')) yaml.pop_back();
  return screenBehind(Stream::output) == Screen::none ? yaml : visible(yaml);
}

void list(const std::vector<Entry>& entries, const Report& report) {
  for (const auto& each : entries) {
    report.text(visibleLine(each.name));
    report.event("playbook", jsonOf(each));
  }
  if (entries.empty()) report.note("There is no playbook in the top folder of the repository.");
  report.event("finished", Value::object({{"playbooks", entries.size()}}));
}

}  // namespace

ExitStatus fetchPlaybook(const FetchPlaybookArguments& arguments, Results& results,
                         const std::stop_token& stop) {
  const Report report(arguments, results);
  const auto repository = repositoryOf(arguments);
  auto view = report.view(Verbosity::brief);
  view->step(fmt::format("Asking for {}", arguments.repository));
  const auto entries = repository.listPlaybooks(stop);
  if (!arguments.name) {
    view.reset();
    list(entries, report);
    return ExitStatus::done;
  }
  const auto& entry = entryNamed(entries, arguments);
  auto yaml = repository.fetchYAML(entry, stop);
  view.reset();
  try {
    jamf::PlaybookYAML::decode(yaml);
  } catch (const jamf::PlaybookYAMLError& error) {
    report.note(error.message());
  }
  auto end = jsonOf(entry);
  if (arguments.out) {
    platform::files::atomicWrite(yaml, *arguments.out);
    report.finished(visibleLine(*arguments.out), std::move(end.set("file", *arguments.out)));
    return ExitStatus::done;
  }
  end.set("yaml", yaml);
  report.finished(printable(std::move(yaml)), std::move(end));
  return ExitStatus::done;
}

}  // namespace orvik::host
