#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "Platform/PropertyList/PropertyList.h"

namespace platform::preferences {

/// The user's configuration folder of this program: "orvik" below XDG_CONFIG_HOME when that is an absolute
/// path, else below ~/.config. Not made.
std::filesystem::path userFolder();

/// The values that the user chose for one domain: <folder>/<domain>.json, a JSON object. Each operation reads
/// the file anew. Any thread may call; two processes that change it at once can lose a change of the first.
class UserPreferences {
 public:
  explicit UserPreferences(std::string_view domain, const std::filesystem::path& folder = userFolder());

  /// Nothing for a value that isn't there, and for all of a file that can't be read.
  std::optional<plist::Value> value(std::string_view name) const;
  /// Keep what else the file says. Throw `files::FileError` when it can't be read or written and `Error` when
  /// it is no JSON object: it may be somebody's handiwork and is not replaced.
  void set(std::string_view name, std::string_view text) const;
  void remove(std::string_view name) const;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace platform::preferences
