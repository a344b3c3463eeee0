#include <CLI/CLI.hpp>
#include <memory>

#include "orvik/CommandLine/Commands.h"
#include "orvik/CommandLine/Options.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::commandLine {

namespace {

void addAccess(CLI::App& command, WriterArguments& at) {
  addFolder(command, at.folder);
  addKey(command, at.key);
  addLockWait(command, at.lockWait);
  addQuiet(command, at.quiet);
  addJSON(command, at.json);
}

void addDeletion(CLI::App& command, DeletionArguments& deletion) {
  command.add_flag("--dry-run", deletion.dryRun, "Show what would go and why, and change nothing");
  command.add_flag("--yes", deletion.yes, "Delete without asking; needed where there is no terminal");
  command.add_flag("--with-unfinished", deletion.withUnfinished,
                   "Also while an interrupted run waits to be taken up; what it stored stays");
}

void addPack(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("pack", "Move the single object files of a folder into one file");
  const auto a = std::make_shared<PackArguments>();
  addAccess(command, a->at);
  command.footer(
      "A backup does so by itself unless it is told not to.\n\n"
      "Example:\n  orvik pack /srv/backups/school.example");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireFolder(command, a->at.folder);
                        return *a;
                      }});
}

void addCollection(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("gc", "Delete what no backup of a folder refers to");
  const auto a = std::make_shared<CollectArguments>();
  addAccess(command, a->at);
  addDeletion(command, a->deletion);
  command.footer(
      "It looks at every backup first and deletes nothing when a part of one is missing. It shows what "
      "would\n"
      "go and asks.\n\n"
      "Example:\n  orvik gc /srv/backups/school.example --dry-run");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireFolder(command, a->at.folder);
                        return *a;
                      }});
}

void addRetention(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("retention", "Delete old backups and what only they referred to");
  const auto a = std::make_shared<RetentionArguments>();
  addAccess(command, a->at);
  addLimits(command, a->keep);
  addDeletion(command, a->deletion);
  command.footer(
      "A backup goes when either limit says so; the newest always stays. It shows what would go and asks.\n\n"
      "Example:\n  orvik retention /srv/backups/school.example --keep 30 --keep-days 90 --dry-run");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireFolder(command, a->at.folder);
                        if (a->keep == RetentionPolicy())
                          throw UsageError("A limit is missing: --keep N, --keep-days N or both, above 0.");
                        return *a;
                      }});
}

}  // namespace

void addFolderCare(CLI::App& program, Commands& commands) {
  addPack(program, commands);
  addCollection(program, commands);
  addRetention(program, commands);
}

}  // namespace orvik::host::commandLine
