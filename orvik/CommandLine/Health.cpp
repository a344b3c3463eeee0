#include <CLI/CLI.hpp>
#include <memory>

#include "orvik/CommandLine/Commands.h"
#include "orvik/CommandLine/Options.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::commandLine {

namespace {

void addForm(CLI::App& command, FolderArguments& at) {
  addKey(command, at.key);
  addQuiet(command, at.quiet);
  addJSON(command, at.json);
}

void addCheck(CLI::App& program, Commands& commands) {
  auto& command =
      *program.add_subcommand("check", "Look for damage in a folder, or in those of all instances");
  const auto a = std::make_shared<CheckArguments>();
  const auto read = std::make_shared<std::string>();
  command
      .add_option("FOLDER", a->at.folder, "Folder of one instance, or the one that --to of a backup names")
      ->type_name("");
  command
      .add_option(
          "--read-data", *read,
          "How much of the content of objects and package files is read: a part (1/7), a share (10%) or "
          "a size (50G). Default: all objects and no package file")
      ->type_name("n/t|P%|SIZE");
  addForm(command, a->at);
  command.footer(
      "Every manifest, index, pack and file is looked at for existence and length in any case. What is read "
      "is\n"
      "held against its name. A check of a part goes on where the last one stopped: with 1/7 seven checks "
      "read\n"
      "everything, with 10% ten; 100% reads everything at once, 0% nothing. Status 4 when there is "
      "damage.\n\n"
      "Example:\n  orvik check /srv/backups --read-data 1/7");
  commands.push_back({&command, [&command, a, read]() -> Invocation {
                        requireNoBlank(command);
                        requireFolder(command, a->at.folder);
                        if (command.count("--read-data") != 0) {
                          a->read = ReadingRequest::parse(*read);
                          if (!a->read)
                            throw UsageError(
                                "--read-data takes a part such as 1/7 (of 1000 at the most), a share such as "
                                "10%, or a size such as 50G.");
                        }
                        return *a;
                      }});
}

void addRepair(CLI::App& program, Commands& commands) {
  auto& command =
      *program.add_subcommand("repair", "Put what is damaged in a folder aside, and mend what can be");
  const auto a = std::make_shared<RepairArguments>();
  addFolder(command, a->at.folder);
  addKey(command, a->at.key);
  addLockWait(command, a->at.lockWait);
  command.add_flag("--dry-run", a->dryRun, "Show what would be done and why, and change nothing");
  command.add_flag("--yes", a->yes, "Repair without asking; needed where there is no terminal");
  addQuiet(command, a->at.quiet);
  addJSON(command, a->at.json);
  command.footer(
      "It reads everything, shows what it would do and asks. What is damaged goes to .quarantine in the\n"
      "folder and is never deleted, so that the next backup stores it again. A lost index of a pack is made\n"
      "anew, and a lost encryption.json comes back from the copy that backups keep on this machine.\n"
      "Status 4 when damage stays that no backup mends.\n\n"
      "Example:\n  orvik repair /srv/backups/school.example --dry-run");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireFolder(command, a->at.folder);
                        return *a;
                      }});
}

void addStats(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("stats", "Tell what a folder takes, by section and by backup");
  const auto a = std::make_shared<StatsArguments>();
  addFolder(command, a->at.folder);
  addForm(command, a->at);
  command.footer(
      "SIZE is what the newest backup, or a backup, refers to. UNIQUE is what its deletion would give back, "
      "NEW\nis by how much the folder grew.\n\n"
      "Example:\n  orvik stats /srv/backups/school.example");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireFolder(command, a->at.folder);
                        return *a;
                      }});
}

}  // namespace

void addHealth(CLI::App& program, Commands& commands) {
  addCheck(program, commands);
  addRepair(program, commands);
  addStats(program, commands);
}

}  // namespace orvik::host::commandLine
