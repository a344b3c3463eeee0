#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "orvik/Arguments.h"
#include "orvik/Settings/Settings.h"

namespace orvik::host {

/// Reads a command line, without the program's name. What a long option doesn't say, its environment variable
/// does, then the setting, if there are any, and then the default.
///
/// Throws `UsageError`. Its message names options, never a stray argument: that might be a secret.
Invocation parseCommandLine(const std::vector<std::string>& arguments, const Settings* settings = nullptr);

/// An option or an argument of a command, as its help shows it.
struct OptionDescription {
  std::vector<std::string> names;  ///< with their hyphens; of an argument its one name
  std::string value;               ///< what stands for its value: "FILE", "small|school"; empty for a flag
  std::string defaultValue;        ///< empty where the text says it, or there is none
  std::string text;
};

/// A command as its help shows it.
struct CommandDescription {
  std::string name;  ///< behind the program's name: "lock show"; empty for the program itself
  std::string summary;
  std::string footer;
  std::vector<OptionDescription> arguments;  ///< in their order
  std::vector<OptionDescription> options;
  std::vector<CommandDescription> commands;  ///< that stand behind it
};

/// All commands of the program. What a person can read of them elsewhere, such as the manual, is made of
/// this.
CommandDescription describeCommands();

/// Whether a command line, even one that can't be read, asks for JSON lines.
bool asksForJSON(const std::vector<std::string>& arguments);

}  // namespace orvik::host
