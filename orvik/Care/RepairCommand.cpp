#include <fmt/format.h>

#include <optional>
#include <utility>

#include "OrvikCore/Care/KeyRecord.h"
#include "OrvikCore/Care/Repair.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "Platform/Files/Files.h"
#include "orvik/Backup/Sealing.h"
#include "orvik/Care/CareCommands.h"
#include "orvik/Care/CareProgressView.h"
#include "orvik/Care/FindingText.h"
#include "orvik/Folder/InstanceFolder.h"
#include "orvik/Output/JSONRecord.h"
#include "orvik/Output/Question.h"
#include "orvik/Output/Report.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

namespace files = platform::files;
using platform::json::Value;

class Repair {
 public:
  Repair(const RepairArguments& arguments, const Report& report, const std::stop_token& stop)
      : arguments_(arguments),
        report_(report),
        stop_(stop),
        repository_(instanceFolder(arguments.at.folder)) {
    if (!arguments.dryRun && !arguments.yes && !question::canAsk())
      throw UsageError("Without a terminal, --yes is needed to repair; --dry-run shows what would be done.");
    open();
    if (!arguments.dryRun) held_.emplace(repository_, arguments.at.lockWait, *report.view(), stop);
  }

  ExitStatus run() {
    const auto plan = planned();
    if (arguments_.dryRun || !arguments_.at.quiet || !arguments_.yes)
      report_.lines(findingText::steps(plan), findingText::stepsJSON(plan));
    tellWhatIsLeft(plan);
    if (plan.isEmpty()) return finish(plan, "Nothing to repair.", {});
    const auto what = findingText::done(plan.expected());
    if (arguments_.dryRun) return finish(plan, fmt::format("Would {}.", what), {plan.expected(), {}});
    if (!arguments_.yes && !question::confirms(fmt::format("Shall orvik {}?", what), stop_)) {
      finish(plan, "Nothing was changed.", {});
      return ExitStatus::failed;
    }
    return act(plan);
  }

 private:
  /// A key record that is lost comes from the copy that opens what is sealed.
  void open() {
    const auto& folder = repository_.instanceDirectory;
    const auto record = folder / BackupFormat::encryptionFile;
    if (BackupEncryption::isEncrypted(folder)) {
      unlockFolder(repository_, arguments_.at.key);
      cipher_ = repository_.cipher();
      // Everything would look damaged.
      if (cipher_ && !KeyRecord::opensAny(*cipher_, repository_))
        throw CredentialError(fmt::format(
            "{} opens none of the sealed backups, so nothing is touched: it is of another folder. "
            "Put the right one back, or move it away and repair again, so that a copy which this "
            "machine keeps can take its place.",
            record.string()));
    } else if (files::exists(record) || KeyRecord::hasSealedContent(repository_)) {
      auto copy =
          KeyRecord::find(repository_, keyRecordCopies(repository_), *organisationKeys(arguments_.at.key));
      if (!copy)
        throw CredentialError(fmt::format(
            "The folder is sealed, but {} {}, and no copy of it on this machine opens its backups with a key "
            "at hand. Put the file back from a copy of the folder.",
            record.string(), files::exists(record) ? "can't be read" : "is missing"));
      cipher_ = std::move(copy->cipher);
      keyRecordCopy_ = std::move(copy->path);
    }
  }

  RepairPlan planned() const {
    const auto view = report_.view();
    const auto progress = shownOn(*view);
    auto found = checkFolder(repository_, cipher_, Reading::everything(), platform::now(), progress, stop_);
    return planRepair(repository_, std::move(found), cipher_, keyRecordCopy_, progress, stop_);
  }

  void tellWhatIsLeft(const RepairPlan& plan) const {
    const auto tell = [&](const std::vector<Finding>& findings, const char* headline, bool nextBackup) {
      for (const auto& finding : findings) {
        auto members = findingText::json(finding);
        report_.event("remaining", members.set("nextBackup", nextBackup));
      }
      if (findings.empty() || report_.isJSON()) return;
      report_.text(headline);
      for (const auto& line : findingText::lines(findings, report_.paint())) report_.text(line);
    };
    tell(plan.lacking, "The next backup mends this, as far as the server still has what was stored:", true);
    tell(plan.staying, "No repair and no backup mends this:", false);
  }

  ExitStatus act(const RepairPlan& plan) const {
    held_->requireOwn();
    CarriedOutRepair carried;
    {
      const auto view = report_.view();
      carried = carryOut(plan, repository_, cipher_, platform::now(), shownOn(*view), stop_);
    }
    if (carried.result != plan.expected())
      report_.note("Not all went as planned, because more broke meanwhile. Repair the folder once more.");
    auto text = fmt::format("Done: {}.", findingText::done(carried.result));
    if (!carried.quarantine.empty())
      text += fmt::format(
          "\nWhat was moved lies in {} and is never deleted. The next backup stores it again, as far as "
          "the server still has it.",
          (repository_.instanceDirectory / carried.quarantine).string());
    return finish(plan, text, carried);
  }

  ExitStatus finish(const RepairPlan& plan, const std::string& text, const CarriedOutRepair& carried) const {
    auto json = Value::object({{"dryRun", arguments_.dryRun}, {"result", jsonOf(carried.result)}});
    if (!carried.quarantine.empty()) json.set("quarantine", carried.quarantine);
    json.set("lacking", plan.lacking.size()).set("staying", plan.staying.size());
    report_.finished(text, std::move(json));
    return plan.staying.empty() ? ExitStatus::done : ExitStatus::damaged;
  }

  const RepairArguments& arguments_;
  const Report& report_;
  const std::stop_token& stop_;
  const BackupRepository repository_;
  std::optional<BackupCipher> cipher_;
  std::optional<std::filesystem::path> keyRecordCopy_;
  std::optional<HeldFolder> held_;
};

}  // namespace

ExitStatus repair(const RepairArguments& arguments, Results& results, const std::stop_token& stop) {
  const Report report(arguments.at, results);
  return Repair(arguments, report, stop).run();
}

}  // namespace orvik::host
