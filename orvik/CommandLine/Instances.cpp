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

void addName(CLI::App& command, std::string& name) {
  command.add_option("NAME", name, "The instance's name, its ID or its folder's name")->type_name("");
}

void addList(CLI::App& instances, Commands& commands) {
  auto& command = *instances.add_subcommand("list", "List the servers that are known here");
  const auto a = std::make_shared<ListInstancesArguments>();
  addOutput(command, a->output);
  command.footer(
      "Those that the organisation manages are listed too. No secret is shown.\n\n"
      "Example:\n  orvik instances list");
  commands.push_back({&command, [a]() -> Invocation { return *a; }});
}

void addAdd(CLI::App& instances, Commands& commands) {
  auto& command = *instances.add_subcommand("add", "Register a server, its secret in the keychain");
  const auto a = std::make_shared<AddInstanceArguments>();
  command.add_option("--name", a->name, "A name of your choice; the other commands take it")
      ->type_name("NAME");
  command.add_option("--url", a->url, "The server")->type_name("URL");
  command.add_option("--client-id", a->clientID, "Client ID of an API client of the server")->type_name("ID");
  command.add_option("--mount", a->mount, "Folder of a mounted file share with the server's packages")
      ->type_name("PATH");
  addSecret(command, a->secret.file, a->secret.command);
  addOutput(command, a->output);
  command.footer(
      "The client secret may also stand in the environment variable ORVIK_CLIENT_SECRET. A server and "
      "client\n"
      "that are registered already get the new name, secret and share.\n\n"
      "Example:\n"
      "  orvik instances add --name school --url https://school.example --client-id 4711 --secret-file "
      "~/secret");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireNoBlank(command);
                        for (const char* name : {"--name", "--url", "--client-id"})
                          requireGiven(command, name);
                        requireOneSecret(command);
                        return *a;
                      }});
}

void addRemove(CLI::App& instances, Commands& commands) {
  auto& command = *instances.add_subcommand("remove", "Forget a server and its secret; its backups stay");
  const auto a = std::make_shared<RemoveInstanceArguments>();
  addName(command, a->name);
  command.add_flag("--dry-run", a->dryRun, "Show what would go, and change nothing");
  command.add_flag("--yes", a->yes, "Remove it without asking; needed where there is no terminal");
  addOutput(command, a->output);
  command.footer("Example:\n  orvik instances remove school");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireNoBlank(command);
                        requireGiven(command, "NAME");
                        return *a;
                      }});
}

void addTest(CLI::App& instances, Commands& commands) {
  auto& command = *instances.add_subcommand("test", "Ask a server for its version with the client's secret");
  const auto a = std::make_shared<TestInstanceArguments>();
  addName(command, a->name);
  addSecret(command, a->secret.file, a->secret.command);
  addTrustAnchors(command, a->caFile);
  addOutput(command, a->output);
  command.footer(
      "The secret is the instance's own unless another is given, as to orvik backup.\n\n"
      "Example:\n  orvik instances test school");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireNoBlank(command);
                        requireGiven(command, "NAME");
                        requireOneSecret(command);
                        return *a;
                      }});
}

}  // namespace

void addInstances(CLI::App& program, Commands& commands) {
  auto& instances = *program.add_subcommand("instances", "Register servers, list, test or remove them");
  instances.footer("orvik instances COMMAND --help explains a command with an example.");
  addList(instances, commands);
  addAdd(instances, commands);
  addRemove(instances, commands);
  addTest(instances, commands);
  commands.push_back({&instances, []() -> Invocation {
                        throw UsageError(
                            "instances needs a command: list, add, remove or test. See orvik instances "
                            "--help.");
                      }});
}

}  // namespace orvik::host::commandLine
