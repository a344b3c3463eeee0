#include <fmt/format.h>

#include "JamfCore/Automation/PlaybookYAML.h"
#include "Platform/Locale/Text.h"
#include "orvik/Output/JSONRecord.h"
#include "orvik/Output/Report.h"
#include "orvik/Output/TextTable.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"
#include "orvik/Playbook/PlaybookCommands.h"
#include "orvik/Playbook/PlaybookFile.h"
#include "orvik/Schedule/RunTime.h"

namespace orvik::host {

namespace {

using jamf::Playbook;
using jamf::PlaybookResource;
using platform::json::textOf;
using platform::json::Value;

std::string resourceCount(const Playbook& playbook) {
  return wording::counted(static_cast<std::int64_t>(playbook.resources.size()), "resource");
}

/// "weekly at 07:30, on day 2 of the week": as it is declared, be it of use or not.
std::string scheduleText(const Playbook& playbook) {
  if (!playbook.schedule) return "none: it is run by hand";
  const auto& schedule = *playbook.schedule;
  auto text = fmt::format("{} at {}", textOf(schedule.recurrence), schedule.time);
  if (schedule.dayOfWeek) text += fmt::format(", day {} of the week (1 is Sunday)", *schedule.dayOfWeek);
  if (schedule.dayOfMonth) text += fmt::format(", day {} of the month", *schedule.dayOfMonth);
  if (schedule.date) text += fmt::format(", on {}", *schedule.date);
  return text;
}

Value resourceJSON(const PlaybookResource& resource) {
  return Value::object({{"type", resource.type()},
                        {"typeLabel", resource.typeLabel()},
                        {"name", resource.name()},
                        {"state", textOf(resource.state())}});
}

void printPage(const Playbook& playbook, const Report& report) {
  report.text(report.paint()(Paint::Ink::strong, visibleLine(playbook.name)));
  if (playbook.description) report.text("  " + oneLine(*playbook.description));
  report.text("  schedule: " + visibleLine(scheduleText(playbook)));
  TextTable table({{.heading = "STATE"}, {.heading = "TYPE"}, {.heading = "NAME"}});
  for (const auto& each : playbook.resources)
    table.add({std::string(textOf(each.state())), std::string(each.typeLabel()), each.name()});
  report.lines(table.lines(report.paint()), {});
}

}  // namespace

ExitStatus checkPlaybook(const CheckPlaybookArguments& arguments, Results& results,
                         const std::stop_token& stop) {
  const Report report(arguments, results);
  const auto text = readPlaybookFile(arguments.file, stop);
  const auto playbook = jamf::PlaybookYAML::decode(text);
  for (const auto& each : unknownKeys(text))
    report.note(
        fmt::format("Line {}: {} is no key of {} and means nothing.", each.line, each.key, each.place));
  printPage(playbook, report);
  for (const auto& each : playbook.resources) report.event("resource", resourceJSON(each));
  auto end = Value::object({{"name", playbook.name}, {"resources", playbook.resources.size()}});
  if (playbook.description) end.set("description", *playbook.description);
  if (playbook.schedule) end.set("schedule", jsonOf(*playbook.schedule));
  report.finished(resourceCount(playbook), std::move(end));
  return ExitStatus::done;
}

ExitStatus nextPlaybookRun(const NextPlaybookRunArguments& arguments, Results& results,
                           const std::stop_token& stop) {
  const Report report(arguments, results);
  const auto now = platform::now();
  const auto after = arguments.after ? RunTime::moment(*arguments.after, now) : now;
  const auto playbook = jamf::PlaybookYAML::decode(readPlaybookFile(arguments.file, stop));
  const auto calendar = platform::locale::Calendar::current();
  const auto next = playbook.schedule ? playbook.schedule->nextRunDate(after, calendar) : std::nullopt;
  auto end = Value::object({{"name", playbook.name},
                            {"after", platform::iso8601(after)},
                            {"zone", calendar.zone()},
                            {"nextRunDate", next ? Value(platform::iso8601(*next)) : Value()}});
  const auto none = playbook.schedule ? fmt::format("There is no next run: {} never comes due after {}.",
                                                    scheduleText(playbook), platform::locale::dateText(after))
                                      : "There is no next run: the playbook has no schedule.";
  report.finished(visibleLine(next ? platform::locale::dateText(*next) : none), std::move(end));
  return ExitStatus::done;
}

}  // namespace orvik::host
