#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "orvik/CommandLine/Commands.h"
#include "orvik/CommandLine/Options.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::commandLine {

namespace {

void addShow(CLI::App& group, Commands& commands) {
  auto& command = *group.add_subcommand("show", "Print every setting, its value and where it comes from");
  const auto a = std::make_shared<ShowSettingsArguments>();
  addQuiet(command, a->quiet);
  addJSON(command, a->json);
  command.footer(
      "A value comes from a variable, is forced by the organisation (managed), was chosen by the user, or "
      "is\n"
      "the default. Where several say something, the first of these holds; an option of the command line "
      "wins\n"
      "over all.\n\n"
      "Example:\n"
      "  orvik config show");
  commands.push_back({&command, [a]() -> Invocation { return *a; }});
}

void addChoice(CLI::App& group, Commands& commands) {
  auto& set = *group.add_subcommand("set", "Choose a value for all runs of this user");
  const auto chosen = std::make_shared<ChooseSettingArguments>();
  chosen->value.emplace();
  set.add_option("NAME", chosen->name, "The setting, as orvik config show calls it")
      ->type_name("")
      ->required();
  set.add_option("VALUE", *chosen->value, "What it is to be")->type_name("")->required();
  set.footer("Example:\n  orvik config set BackupFolder /srv/backups");
  commands.push_back({&set, [chosen]() -> Invocation { return *chosen; }});

  auto& unset = *group.add_subcommand("unset", "Take a choice back");
  const auto name = std::make_shared<ChooseSettingArguments>();
  unset.add_option("NAME", name->name, "The setting, as orvik config show calls it")
      ->type_name("")
      ->required();
  unset.footer("Example:\n  orvik config unset BackupFolder");
  commands.push_back({&unset, [name]() -> Invocation { return *name; }});
}

}  // namespace

void addConfig(CLI::App& program, Commands& commands) {
  auto& group = *program.add_subcommand("config", "Show the settings, and choose some");
  group.footer("orvik config COMMAND --help explains a command with an example.");
  addShow(group, commands);
  addChoice(group, commands);
  commands.push_back({&group, []() -> Invocation {
                        throw UsageError(
                            "config needs a command: show, set or unset. See orvik config --help.");
                      }});
}

}  // namespace orvik::host::commandLine
