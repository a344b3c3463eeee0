#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <array>
#include <memory>

#include "orvik/CommandLine/Commands.h"
#include "orvik/CommandLine/Options.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::commandLine {

namespace {

/// An option that scripts will use and this version can't serve. Ignoring it would be a lie.
struct LaterOption {
  enum class Form { flag, value };
  const char* name;
  Form form;
  const char* reason;
};

constexpr std::array laterOptions{
    LaterOption{"--instance", LaterOption::Form::value,
                "stored instances come later; name the server with --url and --client-id"},
};

void addServer(CLI::App& command, BackupArguments& a) {
  command.add_option("--to", a.to, "Folder of all instances; made when it is missing")->type_name("ROOT");
  command.add_option("--url", a.url, "The server")->type_name("URL");
  command.add_option("--client-id", a.clientID, "Client ID of an API client of the server")->type_name("ID");
  command.add_option("--name", a.name, "Display name of the server (default: its host)")->type_name("NAME");
  command.add_option("--secret-file", a.secretFile, "File with the client secret; - is standard input")
      ->type_name("FILE");
  command.add_option("--secret-command", a.secretCommand, "Command that prints the client secret")
      ->type_name("CMD");
}

void addReading(CLI::App& command, BackupArguments& a) {
  const auto list = [&](const char* name, std::vector<std::string>& ids, const char* text) {
    command.add_option(name, ids, text)
        ->type_name("ID[,ID...]")
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  };
  list("--only", a.only, "Read these sections alone");
  list("--disable", a.disable, "Leave these sections out");
  command.add_flag("--classic-devices", a.classicDevices, "Read the Classic record of each device too");
  command.add_flag("--full-refresh", a.fullRefresh, "Read devices that have not changed too");
  command.add_flag("--no-files", a.noFiles, "Leave package files where they are");
  addNumber(command, "--downloads", a.downloads, 1, 16, "Package files fetched side by side");
  command
      .add_option("--mount", a.mount, "Folder of a mounted file share, tried where no server has a package")
      ->type_name("PATH");
  addNumber(command, "--concurrency", a.concurrency, 1, 64, "Requests side by side");
  addNumber(command, "--rate", a.rate, 0, 100000, "Requests a second at most; 0 is no limit");
  addNumber(command, "--attempts", a.attempts, 1, 100, "Attempts for each request");
  addNumber(command, "--base-delay", a.baseDelay, 0, 3600, "Seconds before the first repeat");
  addNumber(command, "--max-delay", a.maxDelay, 0, 86400, "Seconds before a later repeat at most");
  command.add_flag("--no-resume", a.noResume, "Begin anew where a run was interrupted");
}

void addKeeping(CLI::App& command, BackupArguments& a) {
  command
      .add_option("--staging", a.staging,
                  "Folder on a local disk to work in; a synchronised ROOT then gets whole packs alone")
      ->type_name("DIR");
  command.add_flag("--no-pack", a.noPack, "Leave new objects as single files");
  addLimits(command, a.keep);
  command.add_flag("--encrypt", a.encrypt,
                   "Seal the backup; a folder that was sealed once is sealed for good");
  addKey(command, a.key);
  command.add_option("--key-id", a.keyID, "Seal a new folder for this key alone (default: for all at hand)")
      ->type_name("ID");
  command.add_flag("--no-reports", a.noReports, "Leave the two PDF reports out");
  addLockWait(command, a.lockWait);
}

void addLater(CLI::App& command, const LaterOption& later) {
  if (later.form == LaterOption::Form::flag)
    command.add_flag(later.name)->group("");
  else
    command.add_option(later.name)->group("");
}

void refuseLater(const CLI::App& command, const LaterOption& later) {
  if (command.count(later.name) != 0)
    throw UsageError(fmt::format("{} is not available in this version: {}.", later.name, later.reason));
}

void addRun(CLI::App& command, BackupArguments& a) {
  addServer(command, a);
  addReading(command, a);
  addKeeping(command, a);
  command.add_option("--ca-file", a.caFile, "PEM file of further trust anchors for TLS")->type_name("FILE");
  addQuiet(command, a.quiet);
  addJSON(command, a.json);
  for (const auto& later : laterOptions) addLater(command, later);
}

BackupArguments checked(const CLI::App& command, const BackupArguments& a) {
  for (const auto& later : laterOptions) refuseLater(command, later);
  const std::array<std::pair<const char*, const std::string*>, 3> required{
      {{"--to", &a.to}, {"--url", &a.url}, {"--client-id", &a.clientID}}};
  for (const auto& [name, value] : required)
    if (value->empty())
      throw UsageError(fmt::format("{} is missing. See orvik {} --help.", name, nameOf(command)));
  // A script's empty variable would stand for the folder that the script happens to run in.
  const std::array<std::pair<const char*, const std::optional<std::string>*>, 2> folders{
      {{"--staging", &a.staging}, {"--mount", &a.mount}}};
  for (const auto& [name, value] : folders)
    if (*value && (*value)->empty())
      throw UsageError(fmt::format("{} is empty. See orvik {} --help.", name, nameOf(command)));
  if (a.secretFile && a.secretCommand)
    throw UsageError("--secret-file and --secret-command exclude each other.");
  return a;
}

}  // namespace

void addBackup(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("backup", "Make one backup of a server");
  const auto a = std::make_shared<BackupArguments>();
  addRun(command, *a);
  command.footer(
      "The client secret may also stand in the environment variable ORVIK_CLIENT_SECRET or in the systemd\n"
      "credential orvik-client-secret. Each option has a variable too: --lock-wait is ORVIK_LOCK_WAIT.\n"
      "The last line of standard output is the backup's ID.\n\n"
      "Example:\n"
      "  orvik backup --to /srv/backups --url https://school.example --client-id 4711 --secret-file "
      "~/secret \\\n"
      "      --keep-days 90");
  commands.push_back({&command, [&command, a]() -> Invocation { return checked(command, *a); }});
}

void addSimulate(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("simulate", "Show what a backup would store and download");
  const auto a = std::make_shared<SimulationArguments>();
  addRun(command, a->backup);
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
