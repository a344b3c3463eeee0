#include <CLI/CLI.hpp>
#include <memory>

#include "orvik/CommandLine/Commands.h"
#include "orvik/CommandLine/Options.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::commandLine {

namespace {

void addShow(CLI::App& lock, Commands& commands) {
  auto& command = *lock.add_subcommand("show", "Tell who holds a folder and whether the claim is void");
  const auto a = std::make_shared<ShowLockArguments>();
  addFolder(command, a->folder);
  addQuiet(command, a->quiet);
  addJSON(command, a->json);
  command.footer("Example:\n  orvik lock show /srv/backups/school.example");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireFolder(command, a->folder);
                        return *a;
                      }});
}

void addUnlock(CLI::App& lock, Commands& commands) {
  auto& command = *lock.add_subcommand("unlock", "Remove a lock whose holder is gone");
  const auto a = std::make_shared<UnlockArguments>();
  addFolder(command, a->folder);
  command.add_flag("--yes", a->yes, "Remove it without asking; needed where there is no terminal");
  command.add_flag("--force", a->force, "Also a lock whose holder may be alive; wants the holder's name");
  command.add_option("--holder", a->holder, "The holder as \"USER on HOST\", so that nobody is asked for it")
      ->type_name("TEXT");
  addQuiet(command, a->quiet);
  addJSON(command, a->json);
  command.footer(
      "There is rarely a need for it: the next backup takes a void lock over by itself. Whoever removes the\n"
      "lock of a writer that is alive lets two write at once.\n\n"
      "Example:\n  orvik lock unlock /srv/backups/school.example --yes");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireFolder(command, a->folder);
                        return *a;
                      }});
}

}  // namespace

void addLock(CLI::App& program, Commands& commands) {
  auto& lock = *program.add_subcommand("lock", "Look at the lock of a folder, or remove a void one");
  lock.footer("orvik lock COMMAND --help explains a command with an example.");
  addShow(lock, commands);
  addUnlock(lock, commands);
  commands.push_back({&lock, []() -> Invocation {
                        throw UsageError("lock needs a command: show or unlock. See orvik lock --help.");
                      }});
}

}  // namespace orvik::host::commandLine
