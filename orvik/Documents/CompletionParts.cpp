#include "orvik/Documents/CompletionParts.h"

#include <algorithm>
#include <array>

namespace orvik::host::completion {

namespace {

constexpr std::array<std::string_view, 1> files{"FILE"};
constexpr std::array<std::string_view, 4> folders{"DIR", "FOLDER", "PATH", "ROOT"};

bool isWord(std::string_view text) {
  return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= 'a' && c <= 'z'; });
}

void collect(const CommandDescription& command, std::vector<const CommandDescription*>& found) {
  found.push_back(&command);
  for (const auto& each : command.commands) collect(each, found);
}

}  // namespace

std::vector<std::string> choices(const OptionDescription& option) {
  std::vector<std::string> found;
  for (std::string_view rest = option.value; !rest.empty();) {
    const auto end = std::min(rest.find('|'), rest.size());
    found.emplace_back(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  if (found.size() < 2 || !std::ranges::all_of(found, isWord)) found.clear();
  return found;
}

ValueKind valueKind(const OptionDescription& option) {
  const bool isArgument = !option.names.empty() && !option.names.front().starts_with('-');
  const std::string_view value =
      isArgument && option.value.empty() ? std::string_view(option.names.front()) : option.value;
  if (value.empty()) return ValueKind::none;
  if (std::ranges::find(files, value) != files.end()) return ValueKind::file;
  if (std::ranges::find(folders, value) != folders.end()) return ValueKind::folder;
  return choices(option).empty() ? ValueKind::other : ValueKind::choice;
}

const OptionDescription* argumentAt(const CommandDescription& command, std::size_t place) {
  if (command.arguments.empty()) return nullptr;
  return &command.arguments[std::min(place, command.arguments.size() - 1)];
}

std::vector<const CommandDescription*> everyCommand(const CommandDescription& program) {
  std::vector<const CommandDescription*> found;
  collect(program, found);
  return found;
}

std::string escaped(std::string_view text, std::string_view characters) {
  std::string result;
  for (const char c : text) {
    if (characters.find(c) != characters.npos) result += '\\';
    result += c;
  }
  return result;
}

std::string shellWord(std::string_view text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

}  // namespace orvik::host::completion
