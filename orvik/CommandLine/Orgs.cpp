#include <CLI/CLI.hpp>
#include <memory>

#include "orvik/CommandLine/Commands.h"
#include "orvik/CommandLine/Options.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::commandLine {

namespace {

void addShared(CLI::App& command, OrgArguments& arguments) {
  command.add_option("--database", arguments.database, "Database of organizations (default: your own)")
      ->type_name("FILE");
  addQuiet(command, arguments.quiet);
  addJSON(command, arguments.json);
}

void addName(CLI::App& command, const char* option, std::string& name) {
  command.add_option(option, name, "The organization's name as it is written, or its ID")->type_name("");
}

void addList(CLI::App& orgs, Commands& commands) {
  auto& command = *orgs.add_subcommand("list", "List the organizations that are administered from here");
  const auto a = std::make_shared<ListOrgsArguments>();
  addShared(command, *a);
  command.footer("No secret is shown.\n\nExample:\n  orvik orgs list");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireNoBlank(command);
                        return *a;
                      }});
}

void addAdd(CLI::App& orgs, Commands& commands) {
  auto& command = *orgs.add_subcommand("add", "Register an organization, its secret in the keychain");
  const auto a = std::make_shared<AddOrgArguments>();
  command.add_option("--name", a->name, "A name of your choice; tools choose by it")->type_name("NAME");
  command.add_option("--url", a->url, "The server")->type_name("URL");
  command.add_option("--client-id", a->clientID, "Client ID of an API client of the server")->type_name("ID");
  addSecret(command, a->secret.file, a->secret.command);
  addShared(command, *a);
  command.footer(
      "The client secret may also stand in the environment variable ORVIK_CLIENT_SECRET.\n\n"
      "Example:\n"
      "  orvik orgs add --name School --url https://school.example --client-id 4711 --secret-file ~/secret");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireNoBlank(command);
                        for (const char* name : {"--name", "--url", "--client-id"})
                          requireGiven(command, name);
                        requireOneSecret(command);
                        return *a;
                      }});
}

void addRemove(CLI::App& orgs, Commands& commands) {
  auto& command = *orgs.add_subcommand("remove", "Forget an organization, its secret and its cached devices");
  const auto a = std::make_shared<RemoveOrgArguments>();
  addName(command, "NAME", a->name);
  command.add_flag("--dry-run", a->dryRun, "Show what would go, and change nothing");
  command.add_flag("--yes", a->yes, "Remove it without asking; needed where there is no terminal");
  addShared(command, *a);
  command.footer("Nothing changes on its server.\n\nExample:\n  orvik orgs remove School");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireNoBlank(command);
                        requireGiven(command, "NAME");
                        return *a;
                      }});
}

void addRename(CLI::App& orgs, Commands& commands) {
  auto& command = *orgs.add_subcommand("rename", "Give an organization another name");
  const auto a = std::make_shared<RenameOrgArguments>();
  addName(command, "OLD", a->name);
  command.add_option("NEW", a->newName, "The name that it gets")->type_name("");
  addShared(command, *a);
  command.footer("Example:\n  orvik orgs rename School 'North School'");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireNoBlank(command);
                        for (const char* name : {"OLD", "NEW"}) requireGiven(command, name);
                        return *a;
                      }});
}

}  // namespace

void addOrgs(CLI::App& program, Commands& commands) {
  auto& orgs =
      *program.add_subcommand("orgs", "Register organizations to administer, list, rename or remove them");
  orgs.footer("orvik orgs COMMAND --help explains a command with an example.");
  addList(orgs, commands);
  addAdd(orgs, commands);
  addRemove(orgs, commands);
  addRename(orgs, commands);
  commands.push_back({&orgs, []() -> Invocation {
                        throw UsageError(
                            "orgs needs a command: list, add, remove or rename. See orvik orgs --help.");
                      }});
}

}  // namespace orvik::host::commandLine
