#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "Platform/Files/FileLock.h"
#include "orvik/Instances/BackupRound.h"
#include "orvik/Instances/KnownInstances.h"
#include "orvik/Notify/Notice.h"
#include "orvik/Output/Report.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Schedule/DueRuns.h"
#include "orvik/Schedule/RunText.h"
#include "orvik/Schedule/ScheduleCommands.h"
#include "orvik/Schedule/ScheduleFile.h"

namespace orvik::host {

namespace {

/// Makes the backups that are due. The schedule is locked only while runs are taken from it.
class ScheduleRound {
 public:
  ScheduleRound(const BackupArguments& arguments, const HostPlaces& places, const Report& report,
                Results& results, const std::stop_token& stop, std::vector<RoundEntry>& round)
      : arguments_(arguments),
        places_(places),
        report_(report),
        results_(results),
        stop_(stop),
        round_(round) {}

  ExitStatus run() {
    for (const auto& warning : known_.warnings()) report_.note(warning);
    const auto runs = ScheduleFile::load(places_);
    const auto due = DueRuns::of(runs, now_);
    if (due.empty()) tellNothingDue(runs);
    for (const auto& each : due) {
      round_.push_back(entryFor(each));
      record(each, round_.back());
      if (statusOf(round_) == ExitStatus::cancelled) break;
    }
    if (!round_.empty() || report_.isJSON()) tellRound(round_, arguments_, results_);
    return statusOf(round_);
  }

 private:
  void tellNothingDue(const std::vector<ScheduledRun>& runs) const {
    report_.note(runs.empty() ? "Nothing is scheduled."
                              : fmt::format("Nothing is due. The next run: {}, {}.",
                                            runText::instanceName(runs.front().instanceID, known_),
                                            runText::when(runs.front().date, now_)));
  }

  RoundEntry entryFor(const DueRuns& due) const {
    const auto instance = std::ranges::find(known_.all(), due.instanceID, &InstanceConfig::id);
    if (instance == known_.all().end()) return gone(due);
    auto round = runRound({*instance}, arguments_, places_, results_, stop_);
    auto entry = std::move(round.at(0));
    if (entry.outcome) finish(due, entry);
    if (entry.tooSoon) report_.note(fmt::format("The run of {} stays in the schedule.", instance->name));
    return entry;
  }

  RoundEntry gone(const DueRuns& due) const {
    RoundEntry entry;
    entry.instance.id = due.instanceID;
    entry.instance.name = runText::instanceName(due.instanceID, known_);
    fail(entry, fmt::format("The run {0} is of an instance that is not registered any more. Remove it with "
                            "orvik schedule remove {0}.",
                            runText::shortID(due.runs.front())));
    return entry;
  }

  /// Takes runs from the schedule whose backup is published. Where that fails they are made once more, which
  /// is no reason to leave other instances without a backup.
  void finish(const DueRuns& due, RoundEntry& entry) const {
    try {
      ScheduleFile::change(
          places_,
          [&](std::vector<ScheduledRun>& runs) {
            std::erase_if(runs, [&](const ScheduledRun& run) {
              return std::ranges::find(due.runs, run.id, &ScheduledRun::id) != due.runs.end();
            });
          },
          stop_);
    } catch (const tuv::Error& error) {
      fail(entry, "A run that is done can't be taken from the schedule. " + error.description());
    }
  }

  void fail(RoundEntry& entry, const std::string& text) const {
    entry.failure = Failure{ExitStatus::failed, text};
    remarks::line("orvik: " + oneLine(text));
  }

  void record(const DueRuns& due, const RoundEntry& entry) const {
    const std::string_view outcome = entry.outcome ? "published" : entry.tooSoon ? "tooSoon" : "failed";
    for (const auto& run : due.runs) report_.record(runText::json(run, known_, now_).set("outcome", outcome));
  }

  const BackupArguments& arguments_;
  const HostPlaces& places_;
  const Report& report_;
  Results& results_;
  const std::stop_token& stop_;
  const KnownInstances known_{places_};
  const platform::Date now_ = platform::now();
  std::vector<RoundEntry>& round_;
};

}  // namespace

ExitStatus runSchedule(const RunScheduleArguments& arguments, const HostPlaces& places, Results& results,
                       const std::stop_token& stop) {
  const auto lock = platform::files::FileLock::tryHold(places.data / "schedule-run.lock");
  if (!lock) throw BusyError("Another orvik schedule run is at work and makes the backups that are due.");
  const OutputArguments output{arguments.backup.json, arguments.backup.quiet};
  const Report report(output, results);
  return Notice(arguments.backup, stop).after([&](std::vector<RoundEntry>& round) {
    return ScheduleRound(arguments.backup, places, report, results, stop, round).run();
  });
}

}  // namespace orvik::host
