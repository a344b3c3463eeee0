#include "Platform/Preferences/UserPreferences.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>

#include "Platform/Files/Files.h"
#include "Platform/Host.h"
#include "Platform/JSON/Value.h"
#include "Platform/JSON/View.h"
#include "Platform/Preferences/PlainValue.h"

namespace platform::preferences {

namespace {

constexpr std::uint64_t longestFile = 16 << 20;

/// Held while the file is read, changed and written.
std::mutex& changing() {
  static std::mutex mutex;
  return mutex;
}

json::Value readObject(const std::filesystem::path& path) {
  if (!files::exists(path)) return json::Value::object();
  Bytes content;
  files::read(path, content, longestFile);
  try {
    auto value = json::Value::from(json::Document::parse(content)->root());
    if (value.object_()) return value;
  } catch (const json::ParseError&) {
    // Told below, with the file's name.
  }
  throw Error(fmt::format("{} is not a JSON object. Mend or delete it.", path.string()));
}

void write(const json::Value& values, const std::filesystem::path& path) {
  files::createDirectories(path.parent_path());
  files::atomicWrite(values.sortedText(json::Rendering::pretty), path);
}

}  // namespace

std::filesystem::path userFolder() {
  if (const char* folder = std::getenv("XDG_CONFIG_HOME"); folder != nullptr && *folder == '/')
    return std::filesystem::path(folder) / "orvik";
  return std::filesystem::path(homeFolder()) / ".config/orvik";
}

UserPreferences::UserPreferences(std::string_view domain, const std::filesystem::path& folder)
    : path_(folder / (std::string(domain) + ".json")) {}

std::optional<plist::Value> UserPreferences::value(std::string_view name) const try {
  const auto content = files::tryRead(path_, longestFile);
  if (!content) return std::nullopt;
  const auto values = parseJSON(*content);
  const auto* found = values.find(name);
  return found ? std::optional(*found) : std::nullopt;
} catch (const Error&) {
  return std::nullopt;
}

void UserPreferences::set(std::string_view name, std::string_view text) const {
  const std::lock_guard lock(changing());
  auto values = readObject(path_);
  values.set(name, std::string(text));
  write(values, path_);
}

void UserPreferences::remove(std::string_view name) const {
  const std::lock_guard lock(changing());
  auto values = readObject(path_);
  if (std::erase_if(*values.object_(), [&](const auto& member) { return member.first == name; }) > 0)
    write(values, path_);
}

}  // namespace platform::preferences
