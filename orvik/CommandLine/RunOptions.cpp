#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <array>

#include "orvik/CommandLine/Options.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::commandLine {

namespace {

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
  addNumber(command, "--downloads", a.downloads, bounds::downloads, "Package files fetched side by side");
  command
      .add_option("--mount", a.mount, "Folder of a mounted file share, tried where no server has a package")
      ->type_name("PATH");
  addNumber(command, "--concurrency", a.concurrency, bounds::concurrency, "Requests side by side");
  addNumber(command, "--rate", a.rate, bounds::rate, "Requests a second at most; 0 is no limit");
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
  command
      .add_option("--minimum-hours", a.minimumHours, "Hours between two backups of a server; 0 is no limit")
      ->type_name("N")
      ->check(wholeNumber(bounds::hours));
  command.add_flag("--new-folder", a.newFolder,
                   "Begin anew where backups were and none are, such as on a new disk");
}

}  // namespace

void addRoot(CLI::App& command, std::string& root) {
  command.add_option("--to", root, "Folder of all instances; made when it is missing")->type_name("ROOT");
}

void addRunOptions(CLI::App& command, BackupArguments& a) {
  addReading(command, a);
  addKeeping(command, a);
  addTrustAnchors(command, a.caFile);
  addQuiet(command, a.quiet);
  addJSON(command, a.json);
}

void requireRunOptions(const CLI::App& command, const BackupArguments& a) {
  if (a.to.empty()) throw UsageError(fmt::format("--to is missing. See orvik {} --help.", nameOf(command)));
  // A script's empty variable would stand for the folder that the script happens to run in.
  const std::array<std::pair<const char*, const std::optional<std::string>*>, 2> folders{
      {{"--staging", &a.staging}, {"--mount", &a.mount}}};
  for (const auto& [name, value] : folders)
    if (*value && (*value)->empty())
      throw UsageError(fmt::format("{} is empty. See orvik {} --help.", name, nameOf(command)));
}

}  // namespace orvik::host::commandLine
