#include "orvik/Schedule/ScheduleCommands.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "Platform/Locale/Text.h"
#include "orvik/Instances/KnownInstances.h"
#include "orvik/Output/Report.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"
#include "orvik/Schedule/RunText.h"
#include "orvik/Schedule/RunTime.h"
#include "orvik/Schedule/ScheduleFile.h"

namespace orvik::host {

namespace {

using platform::UUID;
using platform::json::Value;
using Runs = std::vector<ScheduledRun>;

/// More are a script that went wrong, and would make the file too long to be read.
constexpr std::size_t mostRuns = 1000;

/// So many characters of an ID name a run.
constexpr std::size_t shortestID = 8;

void tellWarnings(const KnownInstances& known, const Report& report) {
  for (const auto& warning : known.warnings()) report.note(warning);
}

/// An ID names an instance also when it is gone.
UUID instanceIDOf(const std::string& name, const KnownInstances& known) {
  if (const auto id = UUID::parse(name)) return *id;
  return known.named(name).id;
}

std::size_t dueOf(const Runs& runs, platform::Date now) {
  return ScheduleStore::partition(runs, now).due.size();
}

/// Which runs are to go.
class Selection {
 public:
  Selection(const RemoveRunsArguments& arguments, const KnownInstances& known)
      : id_(platform::locale::uppercased(arguments.id.value_or(""))), shown_(arguments) {
    if (arguments.id && id_.size() < shortestID)
      throw UsageError("The ID is too short: its first 8 characters are needed.");
    if (arguments.instance) instanceID_ = instanceIDOf(*arguments.instance, known);
  }

  /// Takes them out of `runs`. Throws `NotFoundError`, and `UsageError` when several begin with the ID.
  Runs takeFrom(Runs& runs) const {
    const auto chosen =
        std::stable_partition(runs.begin(), runs.end(), [&](const ScheduledRun& run) { return !fits(run); });
    Runs taken(chosen, runs.end());
    if (taken.empty()) throw NotFoundError(missing());
    if (!id_.empty() && taken.size() > 1) throw UsageError(ambiguous(taken));
    runs.erase(chosen, runs.end());
    return taken;
  }

 private:
  bool fits(const ScheduledRun& run) const {
    return run.id.text().starts_with(id_) && (!instanceID_ || run.instanceID == *instanceID_);
  }

  std::string missing() const {
    const auto of = shown_.instance ? " of the instance " + *shown_.instance : "";
    if (!shown_.id) return fmt::format("There is no scheduled run{}.", of);
    return fmt::format("There is no scheduled run {}{}. See orvik schedule list.", *shown_.id, of);
  }

  std::string ambiguous(const Runs& runs) const {
    std::vector<std::string> ids;
    for (const auto& run : runs) ids.push_back(run.id.text());
    return fmt::format("Several runs begin with {}: {}.", *shown_.id, fmt::join(ids, ", "));
  }

  const std::string id_;  ///< upper case, as IDs are written; empty for any
  std::optional<UUID> instanceID_;
  const RemoveRunsArguments& shown_;
};

}  // namespace

ExitStatus listRuns(const ListRunsArguments& arguments, const HostPlaces& places, Results& results) {
  const Report report(arguments, results);
  const KnownInstances known(places);
  tellWarnings(known, report);
  const auto runs = ScheduleFile::load(places);
  const auto now = platform::now();
  for (const auto& line : runText::table(runs, known, now, report.paint())) report.text(line);
  if (runs.empty()) report.text("Nothing is scheduled.");
  for (const auto& run : runs) report.record(runText::json(run, known, now));
  report.record(Value::object({{"event", "finished"},
                               {"runs", static_cast<std::int64_t>(runs.size())},
                               {"due", static_cast<std::int64_t>(dueOf(runs, now))}}));
  report.requireReader();
  return ExitStatus::done;
}

ExitStatus addRun(const AddRunArguments& arguments, const HostPlaces& places, Results& results,
                  const std::stop_token& stop) {
  const auto now = platform::now();
  const auto date =
      arguments.at ? RunTime::at(*arguments.at, now) : RunTime::in(arguments.in.value_or(0), now);
  const Report report(arguments, results);
  const KnownInstances known(places);
  tellWarnings(known, report);
  const auto& instance = known.named(arguments.instance);
  const ScheduledRun run{UUID::random(), instance.id, date};
  ScheduleFile::change(
      places,
      [&](Runs& runs) {
        if (runs.size() >= mostRuns)
          throw tuv::Error(fmt::format("There are {} in the schedule already; remove some first.",
                                       wording::counted(static_cast<std::int64_t>(runs.size()), "run")));
        runs.push_back(run);
      },
      stop);
  report.text(fmt::format("Run {} of {}: {}.", runText::shortID(run), visibleLine(instance.name),
                          runText::when(date, now)));
  report.record(runText::json(run, known, now));
  return ExitStatus::done;
}

ExitStatus removeRuns(const RemoveRunsArguments& arguments, const HostPlaces& places, Results& results,
                      const std::stop_token& stop) {
  const Report report(arguments, results);
  const KnownInstances known(places);
  tellWarnings(known, report);
  const Selection selection(arguments, known);
  Runs removed;
  ScheduleFile::change(
      places, [&](Runs& runs) { removed = selection.takeFrom(runs); }, stop);
  const auto now = platform::now();
  for (const auto& run : removed) {
    report.text(fmt::format("Removed run {} of {}: {}.", runText::shortID(run),
                            visibleLine(runText::instanceName(run.instanceID, known)),
                            runText::when(run.date, now)));
    report.record(runText::json(run, known, now));
  }
  report.record(
      Value::object({{"event", "finished"}, {"removed", static_cast<std::int64_t>(removed.size())}}));
  return ExitStatus::done;
}

}  // namespace orvik::host
