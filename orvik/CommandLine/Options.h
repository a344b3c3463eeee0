#pragma once

#include <CLI/App.hpp>
#include <string>

#include "OrvikCore/Store/RetentionPolicy.h"
#include "orvik/Arguments.h"

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

void addQuiet(CLI::App& command, bool& quiet);
void addJSON(CLI::App& command, bool& json);
void addKey(CLI::App& command, std::optional<std::string>& key);
void addLockWait(CLI::App& command, double& seconds);
/// `--keep` and `--keep-days`; a limit of 0 is none.
void addLimits(CLI::App& command, RetentionPolicy& keep);

/// `--secret-file` and `--secret-command`.
void addSecret(CLI::App& command, SecretArguments& secret);
/// Throws `UsageError` when both were given.
void requireOneSecret(const SecretArguments& secret);

/// Throws `UsageError` for what was given and is blank: it comes from a variable that a script forgot to
/// fill, and to take it for what was not given would do something else.
void requireNoBlank(const CLI::App& command);
/// Throws `UsageError` when an argument is missing.
void requireGiven(const CLI::App& command, const char* name);

/// The positional FOLDER.
void addFolder(CLI::App& command, std::string& folder);
/// Throws `UsageError` when it wasn't given.
void requireFolder(const CLI::App& command, const std::string& folder);

}  // namespace orvik::host::commandLine
