#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>

#include "orvik/CommandLine/Commands.h"
#include "orvik/CommandLine/Options.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::commandLine {

namespace {

void addReading(CLI::App& command, FolderArguments& at) {
  addKey(command, at.key);
  addQuiet(command, at.quiet);
  addJSON(command, at.json);
}

template <class Text>
void addPositional(CLI::App& command, const char* name, Text& value, const char* text) {
  command.add_option(name, value, text)->type_name("");
}

void addBackupID(CLI::App& command, std::optional<std::string>& id) {
  command.add_option("--backup", id, "A backup by its ID (default: the newest)")->type_name("ID");
}

/// A command whose arguments are complete once FOLDER and these are given.
template <class Arguments>
void push(Commands& commands, CLI::App& command, const std::shared_ptr<Arguments>& a,
          std::vector<const char*> required = {}) {
  commands.push_back({&command, [&command, a, required = std::move(required)]() -> Invocation {
                        requireNoBlank(command);
                        requireFolder(command, a->at.folder);
                        for (const char* name : required) requireGiven(command, name);
                        return *a;
                      }});
}

void addSections(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("sections", "List what a backup holds, section by section");
  const auto a = std::make_shared<SectionsArguments>();
  addFolder(command, a->at.folder);
  addPositional(command, "ID", a->backup, "The backup (default: the newest)");
  addReading(command, a->at);
  command.footer(
      "The IDs of sections are what the other commands take. No key is needed.\n\n"
      "Example:\n  orvik sections /srv/backups/school.example");
  push(commands, command, a);
}

void addShow(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("show", "Show an object of a backup, or list a section");
  const auto a = std::make_shared<ShowArguments>();
  addFolder(command, a->at.folder);
  addPositional(command, "SECTION", a->section, "Its ID, as orvik sections lists it");
  addPositional(command, "ITEM", a->item, "The object's ID or its name (default: list all)");
  addBackupID(command, a->backup);
  addReading(command, a->at);
  command.footer(
      "A name may be typed in any case where only one object has it.\n\n"
      "Example:\n  orvik show /srv/backups/school.example policies \"Install Office\" | less");
  push(commands, command, a, {"SECTION"});
}

void addDiff(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("diff", "Tell what differs between two backups");
  const auto a = std::make_shared<DiffArguments>();
  addFolder(command, a->at.folder);
  addPositional(command, "FROM", a->from,
                "The earlier backup (default: the parent of TO, or the one before)");
  addPositional(command, "TO", a->to, "The later backup (default: the newest)");
  command.add_option("--section", a->section, "Compare this section alone")->type_name("ID");
  addReading(command, a->at);
  command.footer(
      "Long values are shortened to what differs; --json has them whole.\n\n"
      "Example:\n  orvik diff /srv/backups/school.example 2025-03-04T091500Z --section policies");
  push(commands, command, a);
}

void addSearch(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("search", "Find objects of a backup by their names or contents");
  const auto a = std::make_shared<SearchArguments>();
  addFolder(command, a->at.folder);
  addPositional(command, "QUERY", a->query, "Part of a name, in any case, or an ID");
  command.add_flag("--contents", a->contents, "Look into the objects too, scripts and profiles included");
  addBackupID(command, a->backup);
  addNumber(command, "--limit", a->limit, 1, 1000000, "Hits at most");
  addReading(command, a->at);
  command.footer(
      "A query that begins with a hyphen stands behind --.\n\n"
      "Example:\n  orvik search /srv/backups/school.example wifi --contents");
  push(commands, command, a, {"QUERY"});
}

void addHistory(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("history", "Tell in which backups an object changed, and how");
  const auto a = std::make_shared<HistoryArguments>();
  addFolder(command, a->at.folder);
  addPositional(command, "SECTION", a->section, "Its ID, as orvik sections lists it");
  addPositional(command, "ITEM", a->item, "The object's ID, or its name in the newest backup that has it");
  addReading(command, a->at);
  command.footer("Example:\n  orvik history /srv/backups/school.example policies 12");
  push(commands, command, a, {"SECTION", "ITEM"});
}

void addExport(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("export", "Write objects of a backup as files");
  const auto a = std::make_shared<ExportArguments>();
  addFolder(command, a->at.folder);
  addPositional(command, "SECTION", a->section, "Its ID, as orvik sections lists it");
  addPositional(command, "ITEM", a->item, "The object's ID or its name (default: all of the section)");
  command.add_option("--out", a->out, "Folder for the files; made when it is missing")->type_name("DIR");
  addBackupID(command, a->backup);
  addReading(command, a->at);
  command.footer(
      "Profiles become .mobileconfig files, scripts executable files, packages what they were, all else "
      "JSON.\nOne object alone is written in every form that it has. Files of the same name are replaced.\n\n"
      "Example:\n  orvik export /srv/backups/school.example scripts --out ~/scripts");
  push(commands, command, a, {"SECTION", "--out"});
}

void addBrowse(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("browse", "Show backups in the browser of this machine, read-only");
  const auto a = std::make_shared<BrowseArguments>();
  addFolder(command, a->at.folder);
  command.add_option("--port", a->port, "Port on 127.0.0.1; 0 takes a free one")
      ->check(within(0, 65535))
      ->capture_default_str();
  command.add_flag("--no-open", a->noOpen, "Print the address, and leave the browser alone");
  addReading(command, a->at);
  command.footer(
      "FOLDER may be the folder of all instances, too. The address has a key in it that is good until the\n"
      "command ends, with Control-C: without it nobody on this machine sees anything.\n\n"
      "Example:\n  orvik browse /srv/backups");
  push(commands, command, a);
}

}  // namespace

void addExplore(CLI::App& program, Commands& commands) {
  addSections(program, commands);
  addShow(program, commands);
  addDiff(program, commands);
  addSearch(program, commands);
  addHistory(program, commands);
  addExport(program, commands);
  addBrowse(program, commands);
}

}  // namespace orvik::host::commandLine
