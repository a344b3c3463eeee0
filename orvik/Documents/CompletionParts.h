#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orvik/CommandTable.h"

namespace orvik::host::completion {

/// What can stand for the value of an option or an argument.
enum class ValueKind {
  none,  ///< a flag
  file,
  folder,
  choice,  ///< one of `choices`
  other    ///< nothing that a shell knows
};

ValueKind valueKind(const OptionDescription& option);
/// "small|school" taken apart; empty unless the value is one of a few words.
std::vector<std::string> choices(const OptionDescription& option);

/// What can stand for an argument of a command, at a place beyond the last the last again; none for a command
/// without arguments.
const OptionDescription* argumentAt(const CommandDescription& command, std::size_t place);

/// The program and all that stands behind it, each before what stands behind it.
std::vector<const CommandDescription*> everyCommand(const CommandDescription& program);

/// The text with a backslash before each of these characters.
std::string escaped(std::string_view text, std::string_view characters);
/// A shell's word in single quotes.
std::string shellWord(std::string_view text);

}  // namespace orvik::host::completion
