#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/PropertyList/PropertyList.h"

/// Settings in files: what an organisation forces, and what a user chose.
namespace platform::preferences {

/// The user ID of the machine's administrator.
inline constexpr std::uint32_t administrator = 0;

/// The values that the organisation forces for one domain: <folder>/<domain>.plist, an XML property list, or
/// else <domain>.json, a JSON object. A file counts only when it belongs to the administrator and nobody else
/// may write it. Immutable once read; any thread may call.
class ManagedPreferences {
 public:
  static constexpr std::string_view systemFolder = "/etc/orvik/managed";

  /// Reads the file. An empty domain, or one that is no plain file name, has no values.
  explicit ManagedPreferences(std::string_view domain, const std::filesystem::path& folder = systemFolder,
                              std::uint32_t owner = administrator);

  /// The forced value, as it stands in the file. A null of JSON is none.
  std::optional<plist::Value> value(std::string_view name) const;

  /// Why a file that is there doesn't count; a sentence.
  const std::optional<std::string>& problem() const { return problem_; }

 private:
  std::optional<plist::Value> values_;
  std::optional<std::string> problem_;
};

}  // namespace platform::preferences
