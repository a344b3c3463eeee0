#include <CLI/CLI.hpp>
#include <memory>

#include "orvik/CommandLine/Commands.h"
#include "orvik/CommandLine/Options.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::commandLine {

namespace {

void addFile(CLI::App& command, std::string& file) {
  command.add_option("FILE", file, "The playbook; - is standard input")->type_name("");
}

void addServer(CLI::App& command, PlaybookServerArguments& arguments) {
  addFile(command, arguments.file);
  addOrgServer(command, arguments);
}

void addCheck(CLI::App& playbook, Commands& commands) {
  auto& command = *playbook.add_subcommand("check", "Read a playbook and tell what it declares");
  const auto a = std::make_shared<CheckPlaybookArguments>();
  addFile(command, a->file);
  addForm(command, *a);
  command.footer(
      "A document that is no playbook ends with status 2. Keys that mean nothing are told.\n\n"
      "Example:\n  orvik playbook check school.yaml");
  pushComplete(commands, command, a, {"FILE"});
}

void addNext(CLI::App& playbook, Commands& commands) {
  auto& command = *playbook.add_subcommand("next", "Tell when the schedule of a playbook comes due next");
  const auto a = std::make_shared<NextPlaybookRunArguments>();
  addFile(command, a->file);
  command.add_option("--after", a->after, "The first run later than that (default: now)")->type_name("TIME");
  addForm(command, *a);
  command.footer(
      "TIME is 2026-11-22T23:00:00Z, \"2026-11-22 23:00\" or 23:00. The clock is that of this machine.\n\n"
      "Example:\n  orvik playbook next school.yaml --after 2026-11-22T23:00:00Z");
  pushComplete(commands, command, a, {"FILE"});
}

void addPlan(CLI::App& playbook, Commands& commands) {
  auto& command =
      *playbook.add_subcommand("plan", "Tell what applying a playbook would do, and write nothing");
  const auto a = std::make_shared<PlanPlaybookArguments>();
  addServer(command, *a);
  command.add_option("--out", a->out, "Keep the plan in this file, for apply --plan")->type_name("FILE");
  command.footer(
      "Ends with status 6 when there is something to do, with 1 when a resource can't be compared.\n\n"
      "Example:\n  orvik playbook plan school.yaml --org School --out school.plan");
  pushComplete(commands, command, a, {"FILE", "--org"});
}

void addApply(CLI::App& playbook, Commands& commands) {
  auto& command = *playbook.add_subcommand("apply", "Make a server as a playbook declares it");
  const auto a = std::make_shared<ApplyPlaybookArguments>();
  addServer(command, *a);
  command.add_option("--plan", a->plan, "Refuse when it would not do what this plan says")->type_name("FILE");
  command.add_flag("--yes", a->yes, "Do it without asking; needed where there is no terminal");
  command.footer(
      "Shows first what it would do. A resource that fails does not stop the next one, and nothing is "
      "rolled\n"
      "back; the status is 1 then.\n\n"
      "Example:\n  orvik playbook apply school.yaml --org School --plan school.plan");
  pushComplete(commands, command, a, {"FILE", "--org"});
}

void addFetch(CLI::App& playbook, Commands& commands) {
  auto& command =
      *playbook.add_subcommand("fetch", "List the playbooks of a GitHub repository, or fetch one");
  const auto a = std::make_shared<FetchPlaybookArguments>();
  command.add_option("REPOSITORY", a->repository, "A public repository, as OWNER/REPO")->type_name("");
  command.add_option("NAME", a->name, "The playbook to fetch (default: list all)")->type_name("");
  command.add_option("--branch", a->branch, "Branch or tag")->type_name("NAME")->capture_default_str();
  command.add_option("--out", a->out, "Write it to this file")->type_name("FILE");
  command.add_option("--api-url", a->apiURL, "Address of the REST API (default: GitHub's)")->type_name("URL");
  addForm(command, *a);
  command.footer(
      "Playbooks are the .yaml and .yml files of the top folder. Read one before you apply it.\n\n"
      "Example:\n  orvik playbook fetch example/playbooks school.yaml --out school.yaml");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireNoBlank(command);
                        requireGiven(command, "REPOSITORY");
                        if (a->out && !a->name) throw UsageError("--out needs the NAME of a playbook.");
                        return *a;
                      }});
}

void addFromBackup(CLI::App& playbook, Commands& commands) {
  auto& command = *playbook.add_subcommand("from-backup", "Make a playbook of what a backup holds");
  const auto a = std::make_shared<PlaybookFromBackupArguments>();
  addFolder(command, a->at.folder);
  command.add_option("--backup", a->backup, "A backup by its ID (default: the newest)")->type_name("ID");
  command.add_option("--section", a->sections, "These sections alone (default: all that playbooks know)")
      ->type_name("ID[,ID...]")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  command.add_option("--out", a->out, "The playbook's file; one that is there is replaced")
      ->type_name("FILE");
  addKey(command, a->at.key);
  addForm(command, a->at);
  command.footer(
      "Takes scripts, packages, computer extension attributes, smart computer groups, computer "
      "configuration\n"
      "profiles and policies. What a playbook can't carry, such as scopes and package files, is listed on\n"
      "standard error. The file is for your eyes alone: scripts and profiles may hold secrets.\n\n"
      "Example:\n  orvik playbook from-backup /srv/backups/school.example --section scripts --out "
      "school.yaml");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireNoBlank(command);
                        requireFolder(command, a->at.folder);
                        requireGiven(command, "--out");
                        return *a;
                      }});
}

}  // namespace

void addPlaybook(CLI::App& program, Commands& commands) {
  auto& playbook =
      *program.add_subcommand("playbook", "Make servers as a document declares them: check, plan, apply");
  playbook.footer("orvik playbook COMMAND --help explains a command with an example.");
  addCheck(playbook, commands);
  addNext(playbook, commands);
  addPlan(playbook, commands);
  addApply(playbook, commands);
  addFetch(playbook, commands);
  addFromBackup(playbook, commands);
  commands.push_back({&playbook, []() -> Invocation {
                        throw UsageError(
                            "playbook needs a command: check, next, plan, apply, fetch or from-backup. See "
                            "orvik playbook --help.");
                      }});
}

}  // namespace orvik::host::commandLine
