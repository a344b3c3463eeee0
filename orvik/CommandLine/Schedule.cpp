#include <CLI/CLI.hpp>
#include <memory>

#include "orvik/CommandLine/Commands.h"
#include "orvik/CommandLine/Options.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::commandLine {

namespace {

void addOutput(CLI::App& command, OutputArguments& output) {
  addQuiet(command, output.quiet);
  addJSON(command, output.json);
}

void addList(CLI::App& schedule, Commands& commands) {
  auto& command = *schedule.add_subcommand("list", "Show the runs that are planned");
  const auto a = std::make_shared<ListRunsArguments>();
  addOutput(command, *a);
  command.footer("Example:\n  orvik schedule list");
  commands.push_back({&command, [a]() -> Invocation { return *a; }});
}

void addAdd(CLI::App& schedule, Commands& commands) {
  auto& command = *schedule.add_subcommand("add", "Plan a backup of a registered server");
  const auto a = std::make_shared<AddRunArguments>();
  command.add_option("NAME", a->instance, "The server, as orvik instances list calls it")->type_name("");
  command
      .add_option("--at", a->at,
                  "When: 23:00, \"2026-11-22 23:00\" on this machine's clock, or ISO 8601 with a zone")
      ->type_name("TIME");
  command.add_option("--in", a->in, "In so many hours")
      ->type_name("HOURS")
      ->check(within(bounds::hours.low, bounds::hours.high));
  addOutput(command, *a);
  command.footer(
      "orvik schedule run makes the backups that are due; a timer or a person starts it.\n\n"
      "Example:\n  orvik schedule add School --at 23:00");
  commands.push_back({&command, [a]() -> Invocation {
                        if (a->instance.empty())
                          throw UsageError("The instance is missing. See orvik schedule add --help.");
                        if (!a->at && !a->in) throw UsageError("A time is missing: --at TIME or --in HOURS.");
                        if (a->at && a->in) throw UsageError("--at and --in exclude each other.");
                        return *a;
                      }});
}

void addRemove(CLI::App& schedule, Commands& commands) {
  auto& command = *schedule.add_subcommand("remove", "Take runs from the schedule");
  const auto a = std::make_shared<RemoveRunsArguments>();
  command.add_option("ID", a->id, "A run, by the ID that orvik schedule list shows")->type_name("");
  command.add_option("--instance", a->instance, "All runs of this server, by its name or ID")
      ->type_name("NAME");
  addOutput(command, *a);
  command.footer("With both, the run must be of that server.\n\nExample:\n  orvik schedule remove 6F9619FF");
  commands.push_back({&command, [a]() -> Invocation {
                        if (!a->id && !a->instance)
                          throw UsageError("What to remove is missing: ID or --instance NAME.");
                        return *a;
                      }});
}

void addRun(CLI::App& schedule, Commands& commands) {
  auto& command = *schedule.add_subcommand("run", "Make the backups that are due");
  const auto a = std::make_shared<RunScheduleArguments>();
  addRoot(command, a->backup.to);
  addRunOptions(command, a->backup);
  addNotify(command, a->backup.notify);
  command.footer(
      "Several due runs of a server are one backup. A run stays in the schedule until its backup is\n"
      "published. Only keychain and managed secrets are used.\n\n"
      "Example:\n  orvik schedule run --to /srv/backups");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireNotify(command, a->backup.notify);
                        requireRunOptions(command, a->backup);
                        return *a;
                      }});
}

}  // namespace

void addSchedule(CLI::App& program, Commands& commands) {
  auto& schedule = *program.add_subcommand("schedule", "Plan backups of registered servers, and make them");
  schedule.footer("orvik schedule COMMAND --help explains a command with an example.");
  addList(schedule, commands);
  addAdd(schedule, commands);
  addRemove(schedule, commands);
  addRun(schedule, commands);
  commands.push_back({&schedule, []() -> Invocation {
                        throw UsageError(
                            "schedule needs a command: list, add, remove or run. See orvik schedule --help.");
                      }});
}

}  // namespace orvik::host::commandLine
