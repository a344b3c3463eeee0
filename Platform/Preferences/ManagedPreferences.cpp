#include "Platform/Preferences/ManagedPreferences.h"

#include <fmt/format.h>

#include <array>
#include <utility>

#include "Platform/Files/TrustedFile.h"
#include "Platform/Preferences/PlainValue.h"

namespace platform::preferences {

namespace {

constexpr std::size_t longestFile = 16 << 20;

bool isFileName(std::string_view domain) {
  return !domain.empty() && domain.front() != '.' && domain.find('/') == domain.npos &&
         domain.find('\0') == domain.npos;
}

}  // namespace

ManagedPreferences::ManagedPreferences(std::string_view domain, const std::filesystem::path& folder,
                                       std::uint32_t owner) {
  if (!isFileName(domain)) return;
  using Parse = plist::Value (*)(std::string_view);
  const std::array<std::pair<const char*, Parse>, 2> forms{
      std::pair<const char*, Parse>{".plist", plist::parse}, {".json", parseJSON}};
  for (const auto& [suffix, parse] : forms) {
    const auto path = folder / (std::string(domain) + suffix);
    try {
      const auto content = files::readTrustedFile(path, owner, longestFile);
      if (!content) continue;
      auto values = parse(*content);
      if (!values.dictionary()) throw Error("it holds no dictionary");
      values_ = std::move(values);
    } catch (const Error& error) {
      problem_ =
          fmt::format("The managed settings in {} are ignored: {}.", path.string(), error.description());
    }
    return;
  }
}

std::optional<plist::Value> ManagedPreferences::value(std::string_view name) const {
  const auto* found = values_ ? values_->find(name) : nullptr;
  return found ? std::optional(*found) : std::nullopt;
}

}  // namespace platform::preferences
