#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace orvik {

/// Where a backup folder lies, and who may read it.
struct BackupLocation {
  enum class Kind { local, iCloud, cloudStorage, network, removable };

  struct Permissions {
    std::string text;  ///< the mode as text, "drwxr-x---"
    bool othersCanRead = false;
  };

  BackupLocation() = delete;

  /// By the path, else by the properties of its volume; `local` where these can't be told.
  static Kind kind(const std::filesystem::path& folder);
  /// Of a `cloudStorage` path, the component behind "CloudStorage" up to its first "-": "OneDrive".
  static std::optional<std::string> provider(const std::filesystem::path& folder);
  /// "Local disk", "iCloud Drive", "Network share", "External disk", the provider's name or "Cloud storage
  /// (File Provider)".
  static std::string describe(const std::filesystem::path& folder);
  /// Nothing when they can't be read.
  static std::optional<Permissions> permissions(const std::filesystem::path& folder);
};

}  // namespace orvik
