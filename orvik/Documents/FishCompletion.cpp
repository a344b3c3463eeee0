#include <fmt/format.h>
#include <fmt/ranges.h>

#include "orvik/Documents/Completion.h"
#include "orvik/Documents/CompletionParts.h"

namespace orvik::host::completion {

namespace {

constexpr std::string_view start = R"fish(# fish completion of orvik
function __orvik_at --description 'whether the first words name this command and no longer one'
    set -l command
    set -l words (commandline -opc)
    for word in $words[2..]
        set -l longer (string trim -- "$command $word")
        contains -- $longer $__orvik_commands; or break
        set command $longer
    end
    test "$command" = "$argv"
end

complete -c orvik -f
)fish";

std::string fishWord(std::string_view text) { return "'" + escaped(text, "'\\") + "'"; }

/// What a shell offers for the value; empty for nothing.
std::string values(const OptionDescription& option) {
  switch (valueKind(option)) {
    case ValueKind::file:
      return " -F";
    case ValueKind::folder:
      return " -a '(__fish_complete_directories)'";
    case ValueKind::choice:
      return fmt::format(" -a '{}'", fmt::join(choices(option), " "));
    case ValueKind::none:
    case ValueKind::other:
      break;
  }
  return "";
}

std::string lines(const CommandDescription& command) {
  const auto at = fmt::format("complete -c orvik -n '__orvik_at {}'", command.name);
  std::string text;
  for (const auto& each : command.commands)
    text += fmt::format("{} -a {} -d {}\n", at, each.name.substr(each.name.rfind(' ') + 1),
                        fishWord(each.summary));
  if (const auto* argument = argumentAt(command, 0))
    if (const auto offered = values(*argument); !offered.empty()) text += at + offered + "\n";
  for (const auto& option : command.options) {
    text += at;
    for (const auto& name : option.names)
      text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    if (valueKind(option) != ValueKind::none) text += " -r" + values(option);
    text += fmt::format(" -d {}\n", fishWord(option.text));
  }
  return text;
}

}  // namespace

std::string fish(const CommandDescription& program) {
  std::string names, all;
  for (const auto* command : everyCommand(program)) {
    if (!command->name.empty()) names += " " + fishWord(command->name);
    all += lines(*command);
  }
  return fmt::format("{}\nset -g __orvik_commands{}\n\n{}", start, names, all);
}

}  // namespace orvik::host::completion
