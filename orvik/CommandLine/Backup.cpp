#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>

#include "orvik/CommandLine/Commands.h"
#include "orvik/CommandLine/Options.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::commandLine {

namespace {

BackupArguments checked(const CLI::App& command, const BackupArguments& a) {
  requireRunOptions(command, a);
  requireServer(command, a, a.all);
  requireOneSecret(command);
  // One secret must never go to every server.
  if (a.all && (a.secretFile || a.secretCommand))
    throw UsageError("--all takes the secret of each server from the keychain or from a managed setting.");
  if (a.name && (a.all || a.instance))
    throw UsageError("--name goes with --url alone: a registered server has one.");
  return a;
}

}  // namespace

void addBackup(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("backup", "Make one backup of a server");
  const auto a = std::make_shared<BackupArguments>();
  addRoot(command, a->to);
  addServer(command, *a);
  command.add_flag("--all", a->all, "Back up all registered servers, one after another");
  addRunOptions(command, *a);
  addNotify(command, a->notify);
  command.footer(
      "The secret of a registered server is in the keychain. But for --all it may also stand in the\n"
      "environment variable ORVIK_CLIENT_SECRET or in the systemd credential orvik-client-secret. Each "
      "option\n"
      "has a variable too: --lock-wait is ORVIK_LOCK_WAIT. What orvik config show lists can be set for "
      "good.\n"
      "The last line of standard output is the backup's ID.\n\n"
      "Examples:\n"
      "  orvik backup --to /srv/backups --instance school --keep-days 90\n"
      "  orvik backup --to /srv/backups --url https://school.example --client-id 4711 --secret-file "
      "~/secret");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireNotify(command, a->notify);
                        return checked(command, *a);
                      }});
}

void addSimulate(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("simulate", "Show what a backup would store and download");
  const auto a = std::make_shared<SimulationArguments>();
  addRoot(command, a->backup.to);
  addServer(command, a->backup);
  addRunOptions(command, a->backup);
  command.add_option("--report", a->report, "Write what the simulation found as a PDF document")
      ->type_name("FILE");
  command.footer(
      "The server is read as by a backup, but devices that changed and package files are only counted.\n"
      "Nothing below ROOT changes, and no lock is taken. The options of orvik backup are understood; those\n"
      "that say how a backup is kept have no effect.\n\n"
      "Example:\n"
      "  orvik simulate --to /srv/backups --url https://school.example --client-id 4711 --secret-file "
      "~/secret");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        if (a->report && a->report->empty())
                          throw UsageError("--report is empty. See orvik simulate --help.");
                        return SimulationArguments{checked(command, a->backup), a->report};
                      }});
}

}  // namespace orvik::host::commandLine
