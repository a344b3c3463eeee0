#include <fmt/format.h>

#include <optional>
#include <utility>

#include "OrvikCore/Care/FolderCheck.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "Platform/Concurrency/Cancellation.h"
#include "orvik/Backup/Sealing.h"
#include "orvik/Care/CareCommands.h"
#include "orvik/Care/CareProgressView.h"
#include "orvik/Care/CheckMemory.h"
#include "orvik/Care/FindingText.h"
#include "orvik/Folder/InstanceFolder.h"
#include "orvik/Output/Report.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

using platform::json::Value;

class Check {
 public:
  Check(const CheckArguments& arguments, const HostPlaces& places, const Report& report,
        const std::stop_token& stop)
      : arguments_(arguments), memory_(places.data), report_(report), stop_(stop) {}

  ExitStatus run() {
    const auto folders = instanceFolders(arguments_.at.folder);
    for (const auto& folder : folders) {
      platform::throwIfCancelled(stop_);
      tell(folder, look(folder));
    }
    const auto text = findingText::verdict(damage_, warnings_) + (folders.size() == 1 ? "" : " in all") + ".";
    report_.finished(
        text, Value::object({{"folders", folders.size()}, {"damage", damage_}, {"warnings", warnings_}}));
    return damage_ == 0 ? ExitStatus::done : ExitStatus::damaged;
  }

 private:
  FolderCheck look(const BackupRepository& repository) const {
    const auto turn =
        arguments_.read ? std::optional(memory_.next(repository, *arguments_.read)) : std::nullopt;
    FolderCheck found;
    {
      const auto view = report_.view();
      found = checkFolder(repository, cipherOf(repository), turn ? turn->reading : Reading(), platform::now(),
                          shownOn(*view), stop_);
    }
    if (turn) remember(repository, *turn, found.store.share);
    return found;
  }

  /// A key that is named must fit; without one a sealed folder is looked at as far as it can be.
  std::optional<BackupCipher> cipherOf(const BackupRepository& repository) const {
    const auto& folder = repository.instanceDirectory;
    if (!arguments_.at.key || !BackupEncryption::isEncrypted(folder)) return repository.cipher();
    return BackupEncryption::unlock(folder, *organisationKeys(arguments_.at.key));
  }

  void remember(const BackupRepository& repository, const CheckMemory::Turn& turn,
                const ContentShare& read) const {
    if (const auto* part = std::get_if<ReadingRequest::Part>(&turn.request.what))
      report_.note(fmt::format("Part {} of {} was read.", part->number, part->count));
    try {
      memory_.remember(repository, turn, read, stop_);
    } catch (const tuv::Error& error) {
      report_.note("How far this check read is not remembered. " + error.description());
    }
  }

  void tell(const BackupRepository& repository, const FolderCheck& found) {
    damage_ += found.damage();
    warnings_ += found.warnings();
    const auto folder = repository.instanceDirectory.string();
    for (const auto& finding : found.findings) {
      auto members = findingText::json(finding);
      report_.event("finding", members.set("folder", folder));
    }
    auto numbers = findingText::numbers(found);
    report_.event("folder", numbers.set("folder", folder));
    if (report_.isJSON()) return;
    report_.text(report_.paint()(Paint::Ink::strong, visibleLine(folder)));
    for (const auto& line : findingText::lines(found.findings, report_.paint())) report_.text(line);
    report_.text(findingText::scope(found));
    if (found.damage() != 0 && !arguments_.at.quiet)
      report_.note(
          fmt::format("What can be done about it: orvik repair {} --dry-run", wording::shellWord(folder)));
  }

  const CheckArguments& arguments_;
  const CheckMemory memory_;
  const Report& report_;
  const std::stop_token& stop_;
  std::size_t damage_ = 0;
  std::size_t warnings_ = 0;
};

}  // namespace

ExitStatus check(const CheckArguments& arguments, const HostPlaces& places, Results& results,
                 const std::stop_token& stop) {
  const Report report(arguments.at, results);
  return Check(arguments, places, report, stop).run();
}

}  // namespace orvik::host
