#pragma once

#include <CLI/App.hpp>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "OrvikCore/Store/RetentionPolicy.h"
#include "orvik/Arguments.h"
#include "orvik/CommandLine/Commands.h"

/// Options that several commands have, and checks of values.
namespace orvik::host::commandLine {

/// A command as it is typed behind the program's name: "lock show".
std::string nameOf(const CLI::App& command);

/// A number in these bounds; never "nan".
CLI::Validator within(double low, double high);

/// An option for a number in these bounds, whose default stands in the help.
template <class Number>
void addNumber(CLI::App& command, const char* name, Number& value, double low, double high,
               const char* text) {
  command.add_option(name, value, text)->type_name("N")->check(within(low, high))->capture_default_str();
}
template <class Number>
void addNumber(CLI::App& command, const char* name, Number& value, Bounds bounds, const char* text) {
  addNumber(command, name, value, bounds.low, bounds.high, text);
}

/// Digits alone: the parser would read "010" as eight, and who keeps ten backups must not lose two.
CLI::Validator wholeNumber(Bounds bounds);

void addQuiet(CLI::App& command, bool& quiet);
void addJSON(CLI::App& command, bool& json);
void addKey(CLI::App& command, std::optional<std::string>& key);
void addLockWait(CLI::App& command, double& seconds);
/// `--to`, the folder of all instances.
void addRoot(CLI::App& command, std::string& root);
/// The options of `backup` and of what makes backups in other ways: what is read, and how it is kept. Neither
/// which server nor where to.
void addRunOptions(CLI::App& command, BackupArguments& arguments);
/// Throws `UsageError` for what is missing or empty.
void requireRunOptions(const CLI::App& command, const BackupArguments& arguments);
/// `--keep` and `--keep-days`; a limit of 0 is none.
void addLimits(CLI::App& command, RetentionPolicy& keep);

/// The options that name one server: `--instance`, or `--url`, `--client-id` and `--name`; and those of
/// `addSecret`.
void addServer(CLI::App& command, ServerArguments& arguments);
/// Throws `UsageError` unless exactly one way of naming a server is taken; `isAll` is one more.
void requireServer(const CLI::App& command, const ServerArguments& arguments, bool isAll = false);

/// `--notify-command` and `--notify-url`.
void addNotify(CLI::App& command, NotifyArguments& notify);
/// Throws `UsageError` for a blank command and for what is no URL of a server. It may hold a secret, so the
/// message doesn't repeat it.
void requireNotify(const CLI::App& command, const NotifyArguments& notify);

/// `--ca-file`.
void addTrustAnchors(CLI::App& command, std::string& file);

/// `--secret-file` and `--secret-command`.
void addSecret(CLI::App& command, std::optional<std::string>& file,
               std::optional<std::string>& secretCommand);
/// Throws `UsageError` when both were given.
void requireOneSecret(const CLI::App& command);

/// Throws `UsageError` for what was given and is blank: it comes from a variable that a script forgot to
/// fill, and to take it for what was not given would do something else.
void requireNoBlank(const CLI::App& command);
/// Throws `UsageError` when an argument is missing.
void requireGiven(const CLI::App& command, const char* name);

/// Adds a command that is complete once these arguments are given.
template <class Arguments>
void pushComplete(Commands& commands, CLI::App& command, const std::shared_ptr<Arguments>& arguments,
                  std::vector<const char*> required) {
  commands.push_back({&command, [&command, arguments, required = std::move(required)]() -> Invocation {
                        requireNoBlank(command);
                        for (const char* name : required) requireGiven(command, name);
                        return *arguments;
                      }});
}

/// `--quiet` and `--json`.
void addForm(CLI::App& command, OutputArguments& arguments);
/// `--org`, `--database`, `--ca-file` and the form.
void addOrgServer(CLI::App& command, OrgServerArguments& arguments);

/// The positional FOLDER.
void addFolder(CLI::App& command, std::string& folder);
/// Throws `UsageError` when it wasn't given.
void requireFolder(const CLI::App& command, const std::string& folder);

}  // namespace orvik::host::commandLine
