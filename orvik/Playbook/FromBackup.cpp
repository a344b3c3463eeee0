#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "BackupPlaybook/BackupPlaybook.h"
#include "JamfCore/Automation/PlaybookYAML.h"
#include "Platform/Files/Files.h"
#include "Platform/YAML/Node.h"
#include "orvik/Explore/BackupChoice.h"
#include "orvik/Output/Report.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"
#include "orvik/Playbook/PlaybookCommands.h"

namespace orvik::host {

namespace {

using platform::json::Value;
using Sections = std::vector<const PlaybookSection*>;

/// Tells what is lost: each as a JSON line at once, people a sum at the end.
class Losses {
 public:
  explicit Losses(const Report& report) : report_(report) {}

  void add(const PlaybookLoss& loss) {
    ++count_;
    const auto& section = *loss.section;
    auto line = Value::object({{"section", section.id}, {"id", loss.id}, {"name", loss.name}});
    const bool isWhole = loss.field.empty();
    report_.event(isWhole ? "leftOut" : "lost",
                  isWhole ? line.set("message", loss.reason) : line.set("field", loss.field));
    ++sums_[{&section, isWhole ? "left out, for " + loss.reason : loss.field}];
  }

  /// A section that playbooks know and the backup doesn't.
  void addUnread(std::string_view sectionID) {
    addSection(sectionID, "the backup did not read it");
    if (!report_.isJSON()) report_.note(fmt::format("The backup did not read {}.", sectionID));
  }
  /// A section that the backup has and playbooks don't know.
  void addUnknown(std::string_view sectionID) {
    addSection(sectionID, "playbooks have no kind for its objects");
    unknown_.emplace_back(sectionID);
  }

  /// "12 policies: scope".
  void sumUp() const {
    if (report_.isJSON()) return;
    if (!unknown_.empty())
      report_.note(fmt::format("Playbooks have no kind for {}: {}",
                               wording::counted(static_cast<std::int64_t>(unknown_.size()), "section"),
                               fmt::join(unknown_, ", ")));
    for (const auto& [what, count] : sums_)
      report_.note(
          fmt::format("{} {}: {}", count, count == 1 ? what.first->noun : what.first->nouns, what.second));
  }
  std::size_t count() const { return count_; }

 private:
  void addSection(std::string_view sectionID, std::string_view why) {
    report_.event("sectionLeftOut", Value::object({{"section", sectionID}, {"message", why}}));
  }

  const Report& report_;
  std::size_t count_ = 0;
  std::vector<std::string> unknown_;
  std::map<std::pair<const PlaybookSection*, std::string>, std::size_t> sums_;
};

Sections sectionsNamed(const std::vector<std::string>& ids) {
  Sections sections;
  std::vector<std::string_view> known;
  for (const auto& each : playbookSections()) known.push_back(each.id);
  for (const auto& id : ids) {
    sections.push_back(playbookSection(id));
    if (sections.back() == nullptr)
      throw UsageError(
          fmt::format("Playbooks know no section {}. They know: {}.", id, fmt::join(known, ", ")));
  }
  return sections;
}

/// All that both know, with what one of them doesn't know as a loss.
Sections sectionsOf(const BackupReader& backup, Losses& losses) {
  Sections sections;
  for (const auto& each : playbookSections()) {
    if (readsSection(backup, each.id))
      sections.push_back(&each);
    else
      losses.addUnread(each.id);
  }
  for (const auto& each : backup.sections())
    if (each.summary.counts.total != 0 && playbookSection(each.summary.id) == nullptr)
      losses.addUnknown(each.summary.id);
  return sections;
}

/// For its owner alone, whatever the umask is: scripts and profiles hold secrets.
void write(const jamf::Playbook& playbook, const std::string& file) {
  const auto text =
      jamf::PlaybookYAML::encode(playbook, platform::yaml::EmitStyle{.unicode = true, .literalTexts = true});
  if (text.size() > platform::yaml::maximumSize)
    throw tuv::Error("The playbook would be too long to be read. Choose fewer sections with --section.");
  using std::filesystem::perms;
  platform::files::atomicWrite(text, file, platform::files::Flush::no,
                               perms::owner_read | perms::owner_write);
}

}  // namespace

ExitStatus playbookFromBackup(const PlaybookFromBackupArguments& arguments, Results& results,
                              const std::stop_token& stop) {
  auto sections = sectionsNamed(arguments.sections);
  const auto backup = openedBackup(arguments.at, arguments.backup);
  for (const auto& each : arguments.sections) requireReadSection(backup, each);
  const Report report(arguments.at, results);
  Losses losses(report);
  if (arguments.sections.empty()) sections = sectionsOf(backup, losses);
  for (const auto* each : sections) readEntries(backup, std::string(each->id));

  jamf::Playbook playbook;
  playbook.name = fmt::format("{}, {}", backup.manifest.instance.name, idOf(backup));
  playbook.description =
      fmt::format("Made of the backup {} of {}.", idOf(backup), backup.manifest.instance.url);
  {
    const auto view = report.view(Verbosity::brief);
    view->step("Reading objects");
    playbook.resources = playbookResources(
        backup, sections, [&](const PlaybookLoss& loss) { view->aside([&] { losses.add(loss); }); }, stop);
  }
  write(playbook, arguments.out);
  losses.sumUp();
  const auto count = playbook.resources.size();
  report.finished(visibleLine(fmt::format("{}: {}", arguments.out,
                                          wording::counted(static_cast<std::int64_t>(count), "resource"))),
                  Value::object({{"backup", idOf(backup)},
                                 {"file", arguments.out},
                                 {"name", playbook.name},
                                 {"resources", count},
                                 {"losses", losses.count()}}));
  return ExitStatus::done;
}

}  // namespace orvik::host
