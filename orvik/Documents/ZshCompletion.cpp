#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "orvik/Documents/Completion.h"
#include "orvik/Documents/CompletionParts.h"

namespace orvik::host::completion {

namespace {

std::string functionName(const CommandDescription& command) {
  auto name = command.name.empty() ? "_orvik" : "_orvik_" + command.name;
  std::ranges::replace(name, ' ', '_');
  std::ranges::replace(name, '-', '_');
  return name;
}

/// What completes a value, behind its message and a colon.
std::string action(const OptionDescription& option) {
  switch (valueKind(option)) {
    case ValueKind::file:
      return "_files";
    case ValueKind::folder:
      return "_files -/";
    case ValueKind::choice:
      return fmt::format("({})", fmt::join(choices(option), " "));
    case ValueKind::none:
    case ValueKind::other:
      break;
  }
  return " ";
}

/// A word of `_arguments`, such as '(-h --help)'{-h,--help}'[text]'.
std::string wordFor(const OptionDescription& option) {
  const auto text = escaped(option.text, "[]:\\");
  const bool isFlag = valueKind(option) == ValueKind::none;
  const auto value = isFlag ? "" : fmt::format(":{}:{}", escaped(option.value, ":[]\\"), action(option));
  if (option.names.size() == 1)
    return shellWord(fmt::format("{}{}[{}]{}", option.names.front(), isFlag ? "" : "=", text, value));
  return fmt::format("{}{{{}}}{}", shellWord(fmt::format("({})", fmt::join(option.names, " "))),
                     fmt::join(option.names, ","), shellWord(fmt::format("[{}]{}", text, value)));
}

/// What a command with others behind it does once it knows which of them.
std::string rest(const CommandDescription& command) {
  std::string names, cases;
  for (const auto& each : command.commands) {
    const auto word = each.name.substr(each.name.rfind(' ') + 1);
    names += fmt::format("        {}\n", shellWord(word + ":" + escaped(each.summary, ":\\")));
    cases += fmt::format("        {}) {} ;;\n", word, functionName(each));
  }
  return fmt::format(
      "  case $state in\n    command)\n      local -a commands=(\n{}      )\n      _describe command "
      "commands\n"
      "      ;;\n    rest)\n      case $line[1] in\n{}      esac\n      ;;\n  esac\n",
      names, cases);
}

std::string function(const CommandDescription& command) {
  std::string words;
  for (const auto& option : command.options) words += " \\\n    " + wordFor(option);
  if (!command.commands.empty()) {
    words += " \\\n    '1: :->command' '*:: :->rest'";
  } else if (!command.arguments.empty()) {
    for (std::size_t i = 0; i < command.arguments.size(); ++i) {
      const auto& argument = command.arguments[i];
      words += fmt::format(
          " \\\n    {}", shellWord(fmt::format("{}:{}:{}", i + 1, argument.names.front(), action(argument))));
    }
  }
  return fmt::format("{}() {{\n  local curcontext=$curcontext state line\n  _arguments -C{}\n{}}}\n\n",
                     functionName(command), words, command.commands.empty() ? "" : rest(command));
}

}  // namespace

std::string zsh(const CommandDescription& program) {
  std::string text = "#compdef orvik\n\n";
  for (const auto* command : everyCommand(program)) text += function(*command);
  return text + "_orvik \"$@\"\n";
}

}  // namespace orvik::host::completion
