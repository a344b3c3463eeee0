#include "orvik/Instances/BackupRound.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "Platform/Locale/Text.h"
#include "orvik/Backup/InstanceBackup.h"
#include "orvik/Backup/SectionSelection.h"
#include "orvik/Output/JSONProgress.h"
#include "orvik/Output/JSONRecord.h"
#include "orvik/Output/TextTable.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

using platform::json::Value;
using Status = BackupManifest::Status;

/// What happened, in a word or two for people and one for scripts.
struct Verdict {
  std::string_view text;
  std::string_view word;
};

Verdict verdictOf(const RoundEntry& entry) {
  if (entry.outcome)
    return entry.outcome->manifest.status == Status::complete
               ? Verdict{"complete", "complete"}
               : Verdict{"complete with warnings", "completeWithWarnings"};
  if (entry.tooSoon) return {"too soon", "tooSoon"};
  return entry.failure->status == ExitStatus::cancelled ? Verdict{"cancelled", "cancelled"}
                                                        : Verdict{"failed", "failed"};
}

std::string detailOf(const RoundEntry& entry) {
  if (entry.outcome) return entry.outcome->manifest.backupID;
  if (entry.tooSoon) return "the next may begin at " + platform::locale::dateText(entry.tooSoon->next);
  return entry.failure->status == ExitStatus::cancelled ? "" : entry.failure->message;
}

std::vector<std::string> rowOf(const RoundEntry& entry) {
  std::vector<std::string> row{entry.instance.name, std::string(verdictOf(entry).text)};
  if (entry.outcome) {
    const auto& totals = entry.outcome->manifest.totals;
    row.push_back(fmt::format("{}, {} new or changed", wording::counted(totals.objects, "object"),
                              totals.newOrChangedObjects));
    row.push_back(wording::duration(entry.outcome->duration));
  } else {
    row.insert(row.end(), {"", ""});
  }
  row.push_back(detailOf(entry));
  return row;
}

}  // namespace

std::string sentenceOf(const RoundEntry& entry) {
  const auto detail = detailOf(entry);
  return fmt::format("{}: {}{}{}", entry.instance.name, verdictOf(entry).text, detail.empty() ? "" : ", ",
                     detail);
}

Value recordOf(const RoundEntry& entry) {
  auto line = Value::object({{"instance", entry.instance.name},
                             {"id", entry.instance.id.text()},
                             {"status", verdictOf(entry).word}});
  if (entry.outcome) line.set("backupID", entry.outcome->manifest.backupID);
  if (entry.tooSoon)
    line.set("last", platform::iso8601(entry.tooSoon->last))
        .set("next", platform::iso8601(entry.tooSoon->next));
  if (entry.failure)
    line.set("message", entry.failure->message).set("exit", static_cast<int>(entry.failure->status));
  return line;
}

namespace {

void announce(const InstanceConfig& instance, const BackupArguments& arguments, Results& results) {
  if (arguments.json)
    results.line(jsonLine(
        Value::object({{"event", "instance"}, {"instance", instance.name}, {"id", instance.id.text()}})));
  else if (!arguments.quiet)
    remarks::line(fmt::format("\n{}", visibleLine(instance.name)));
}

void tellFailure(const Failure& failure, const BackupArguments& arguments, Results& results) {
  if (arguments.json) results.line(JSONProgress::lineFor(failure));
  remarks::line("orvik: " + oneLine(failure.message));
}

RoundEntry backUpOne(const InstanceConfig& instance, const BackupArguments& arguments,
                     const HostPlaces& places, Results& results, const std::stop_token& stop) {
  RoundEntry entry{instance, {}, {}, {}};
  try {
    const auto view = makeProgressView(arguments.json ? OutputForm::jsonLines : OutputForm::text,
                                       arguments.quiet ? Verbosity::quiet : Verbosity::normal, results);
    entry.outcome = backUp(
        registered(instance), [&] { return instanceSecret(instance); }, arguments, places, *view, stop);
  } catch (const TooSoonError& error) {
    entry.tooSoon = error.times();
    if (!arguments.quiet) remarks::line(oneLine(error.description()));
  } catch (...) {
    entry.failure = describe(std::current_exception());
    tellFailure(*entry.failure, arguments, results);
  }
  return entry;
}

bool isCancelled(const RoundEntry& entry) {
  return entry.failure && entry.failure->status == ExitStatus::cancelled;
}

}  // namespace

std::vector<RoundEntry> runRound(const std::vector<InstanceConfig>& instances,
                                 const BackupArguments& arguments, const HostPlaces& places, Results& results,
                                 const std::stop_token& stop) {
  SectionSelection::make(arguments.only, arguments.disable);  // what is wrong for all is told once
  std::vector<RoundEntry> round;
  for (const auto& instance : instances) {
    announce(instance, arguments, results);
    round.push_back(backUpOne(instance, arguments, places, results, stop));
    if (isCancelled(round.back())) break;
  }
  return round;
}

void tellRound(const std::vector<RoundEntry>& round, const BackupArguments& arguments, Results& results) {
  if (arguments.json) {
    Value::Array entries;
    for (const auto& entry : round) entries.push_back(recordOf(entry));
    results.line(jsonLine(Value::object({{"event", "round"}})
                              .set("instances", Value::array(std::move(entries)))
                              .set("exit", static_cast<int>(statusOf(round)))));
    return;
  }
  TextTable table({{"INSTANCE"}, {"STATUS"}, {"OBJECTS"}, {"TOOK", TextTable::Align::right}, {"BACKUP"}});
  for (const auto& entry : round) table.add(rowOf(entry));
  if (!arguments.quiet) remarks::line("");
  for (const auto& line : table.lines(Paint(wantsColours(Stream::output)))) results.line(line);
}

ExitStatus statusOf(const std::vector<RoundEntry>& round) {
  if (std::ranges::any_of(round, isCancelled)) return ExitStatus::cancelled;
  if (std::ranges::any_of(round, [](const RoundEntry& each) { return each.failure.has_value(); }))
    return ExitStatus::failed;
  const bool isComplete = std::ranges::all_of(round, [](const RoundEntry& each) {
    return !each.outcome || each.outcome->manifest.status == Status::complete;
  });
  return isComplete ? ExitStatus::done : ExitStatus::warnings;
}

}  // namespace orvik::host
