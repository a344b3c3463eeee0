#include "OrvikCore/Explore/ExportNames.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "OrvikCore/Explore/ObjectExporter.h"
#include "Platform/Locale/ControlCharacters.h"
#include "Platform/Locale/Text.h"

namespace orvik {

namespace {

namespace locale = platform::locale;
using namespace std::string_view_literals;

constexpr std::size_t longestName = 200;      // characters
constexpr std::size_t longestExtension = 32;  // bytes, the dot included
constexpr std::string_view nameless = "unnamed";

constexpr std::array scriptExtensions{"sh"sv, "zsh"sv,   "bash"sv,    "py"sv,          "pl"sv,
                                      "rb"sv, "swift"sv, "command"sv, "applescript"sv, "js"sv};

/// What an interpreter's line contains, and the extension of its scripts; the first that fits counts.
constexpr std::array interpreters{std::pair{"zsh"sv, "zsh"sv},
                                  std::pair{"python"sv, "py"sv},
                                  std::pair{"perl"sv, "pl"sv},
                                  std::pair{"ruby"sv, "rb"sv},
                                  std::pair{"osascript"sv, "applescript"sv},
                                  std::pair{"swift"sv, "swift"sv}};

std::string_view extensionFor(std::string_view contents) {
  const std::string line = locale::lowercased(contents.substr(0, contents.find_first_of("\r\n")));
  if (line.starts_with("#!"))
    for (const auto& [interpreter, extension] : interpreters)
      if (line.find(interpreter) != std::string::npos) return extension;
  return "sh";
}

/// Whether a file's name must not hold it. Directional marks may stand in a name: they don't make it read as
/// another.
bool isSnare(char32_t scalar) {
  return scalar == U'/' || (locale::isControl(scalar) && !locale::isDirectionalMark(scalar));
}

std::string withoutSnares(std::string_view text) {
  if (text.empty()) return std::string(nameless);
  const std::string_view base = FileNameParts::of(text).base;
  const std::size_t dots = std::min(base.find_first_not_of('.'), base.size());
  std::string name(dots, '-');
  for (const char32_t scalar : locale::scalars(text.substr(dots)))
    locale::appendUTF8(name, isSnare(scalar) ? U'-' : scalar);
  return name;
}

bool continuesSequence(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

/// The characters that fit, or of one that doesn't its beginning.
std::string_view beginning(std::string_view text, std::size_t room) {
  if (text.size() <= room) return text;
  std::size_t end = 0;
  for (std::size_t next; (next = locale::charactersAfter(text, end, 1)) <= room;) end = next;
  if (end > 0) return text.substr(0, end);
  while (continuesSequence(text[room])) --room;
  return text.substr(0, room);
}

/// A name of at most so many bytes; from the second on with its number before the extension.
std::string numbered(std::string_view name, std::size_t number) {
  const auto [base, extension] = FileNameParts::of(name);
  const std::string counter = number > 1 ? fmt::format(" {}", number) : std::string();
  const std::size_t room = ObjectExporter::longestFileName - counter.size() - extension.size();
  return fmt::format("{}{}{}", beginning(base, room), counter, extension);
}

/// What two names have in common that are one to a folder that knows no case, or one form of an accented
/// letter alone.
std::string compared(std::string_view name) { return locale::composed(locale::lowercased(name)); }

/// The first name that isn't used, from `number` on, which becomes that name's. Requires: `name` is free of
/// snares.
std::string firstFree(std::string_view name, std::set<std::string>& used, std::size_t& number) {
  for (;; ++number)
    if (auto candidate = numbered(name, number); used.insert(compared(candidate)).second) return candidate;
}

}  // namespace

FileNameParts FileNameParts::of(std::string_view name) {
  const auto dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0) return {name, {}};
  const auto extension = name.substr(dot);
  const bool isExtension = extension.size() > 1 && extension.size() <= longestExtension &&
                           extension.find(' ') == std::string_view::npos;
  return isExtension ? FileNameParts{name.substr(0, dot), extension} : FileNameParts{name, {}};
}

std::string ExportNames::take(std::string_view name) {
  const std::string plain = withoutSnares(name);
  auto& number = counters_.try_emplace(compared(numbered(plain, 1)), 1).first->second;
  return firstFree(plain, used_, number);
}

std::string ObjectExporter::safeName(std::string_view text) {
  std::string name(text);
  std::ranges::replace(name, '/', '-');
  std::ranges::replace(name, ':', '-');
  const std::string_view trimmed = locale::trimmed(name);
  if (trimmed.empty()) return std::string(nameless);
  return std::string(trimmed.substr(0, locale::charactersAfter(trimmed, 0, longestName)));
}

std::string ObjectExporter::scriptFileName(std::string_view name, std::string_view contents) {
  std::string safe = safeName(name);
  const auto extension = FileNameParts::of(safe).extension;
  const bool isScript =
      !extension.empty() &&
      std::ranges::find(scriptExtensions, locale::lowercased(extension.substr(1))) != scriptExtensions.end();
  return isScript ? safe : fmt::format("{}.{}", safe, extensionFor(contents));
}

std::string ObjectExporter::fileName(std::string_view text) { return numbered(withoutSnares(text), 1); }

std::string ObjectExporter::fileName(std::string_view text, std::string_view tail) {
  const std::string plain = withoutSnares(text);
  return fmt::format("{}{}", beginning(plain, longestFileName - tail.size()), tail);
}

std::string ObjectExporter::unique(std::string_view name, std::set<std::string>& used) {
  std::size_t number = 1;
  return firstFree(withoutSnares(name), used, number);
}

}  // namespace orvik
