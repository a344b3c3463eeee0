#include <fmt/format.h>
#include <fmt/ranges.h>

#include "orvik/Documents/Completion.h"
#include "orvik/Documents/CompletionParts.h"

namespace orvik::host::completion {

namespace {

// The command is what the first words name. Readline takes "--fleet=small" for three words.
constexpr std::string_view start = R"sh(# bash completion of orvik
_orvik() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command= i
  COMPREPLY=()
  if [[ $word == = ]]; then
    word=
  elif [[ $before == = ]]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  for ((i = 1; i < COMP_CWORD; i++)); do
    case "${command:+$command }${COMP_WORDS[i]}" in
      @COMMANDS@) command="${command:+$command }${COMP_WORDS[i]}" ;;
      *) break ;;
    esac
  done
  case $command in
)sh";

constexpr std::string_view end = R"sh(  esac
}

_orvik_words() { mapfile -t COMPREPLY < <(compgen -W "$1" -- "$word"); }
_orvik_files() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen "$1" -- "$word")
}

complete -F _orvik orvik
)sh";

std::string completing(const OptionDescription& option) {
  switch (valueKind(option)) {
    case ValueKind::file:
      return "_orvik_files -f";
    case ValueKind::folder:
      return "_orvik_files -d";
    case ValueKind::choice:
      return fmt::format("_orvik_words '{}'", fmt::join(choices(option), " "));
    case ValueKind::none:
    case ValueKind::other:
      break;
  }
  return ":";
}

/// What completes the words behind a command.
std::string branch(const CommandDescription& command) {
  std::string text = fmt::format("    {})\n      case $before in\n", shellWord(command.name));
  for (const auto& option : command.options)
    if (valueKind(option) != ValueKind::none)
      text += fmt::format("        {}) {}; return ;;\n", fmt::join(option.names, "|"), completing(option));
  text += "      esac\n";

  std::vector<std::string> words;
  for (const auto& each : command.commands) words.push_back(each.name.substr(each.name.rfind(' ') + 1));
  for (const auto& option : command.options)
    words.insert(words.end(), option.names.begin(), option.names.end());
  const auto all = fmt::format("_orvik_words '{}'", fmt::join(words, " "));
  const auto* const argument = argumentAt(command, 0);
  if (argument == nullptr) return text + fmt::format("      {} ;;\n", all);
  return text +
         fmt::format("      if [[ $word == -* ]]; then {}; else {}; fi ;;\n", all, completing(*argument));
}

}  // namespace

std::string bash(const CommandDescription& program) {
  std::vector<std::string> names;
  std::string branches;
  for (const auto* command : everyCommand(program)) {
    if (!command->name.empty()) names.push_back(shellWord(command->name));
    branches += branch(*command);
  }
  std::string text(start);
  constexpr std::string_view place = "@COMMANDS@";
  text.replace(text.find(place), place.size(), fmt::format("{}", fmt::join(names, "|")));
  return text + branches + std::string(end);
}

}  // namespace orvik::host::completion
