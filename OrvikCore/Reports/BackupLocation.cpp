#include "OrvikCore/Reports/BackupLocation.h"

#include <algorithm>
#include <system_error>

#include "Platform/Files/Volume.h"

namespace orvik {

namespace {

using std::filesystem::perms;

constexpr std::string_view iCloudPlace = "/Library/Mobile Documents/";
constexpr std::string_view cloudPlace = "/Library/CloudStorage/";

char letterOf(std::filesystem::file_type type) {
  switch (type) {
    case std::filesystem::file_type::directory:
      return 'd';
    case std::filesystem::file_type::regular:
      return '-';
    default:
      return '?';
  }
}

/// The execute bit's place shows the special bit, too: in lower case where both are set.
char executeLetter(bool executes, bool isSpecial, char special) {
  if (!isSpecial) return executes ? 'x' : '-';
  return executes ? special : static_cast<char>(special - 'a' + 'A');
}

std::string modeText(const std::filesystem::file_status& status) {
  const auto has = [mode = status.permissions()](perms bit) { return (mode & bit) != perms::none; };
  std::string text(1, letterOf(status.type()));
  text += has(perms::owner_read) ? 'r' : '-';
  text += has(perms::owner_write) ? 'w' : '-';
  text += executeLetter(has(perms::owner_exec), has(perms::set_uid), 's');
  text += has(perms::group_read) ? 'r' : '-';
  text += has(perms::group_write) ? 'w' : '-';
  text += executeLetter(has(perms::group_exec), has(perms::set_gid), 's');
  text += has(perms::others_read) ? 'r' : '-';
  text += has(perms::others_write) ? 'w' : '-';
  text += executeLetter(has(perms::others_exec), has(perms::sticky_bit), 't');
  return text;
}

}  // namespace

BackupLocation::Kind BackupLocation::kind(const std::filesystem::path& folder) {
  const auto& path = folder.native();
  if (path.find(iCloudPlace) != path.npos) return Kind::iCloud;
  if (path.find(cloudPlace) != path.npos) return Kind::cloudStorage;
  switch (platform::files::volumeKind(folder)) {
    case platform::files::VolumeKind::network:
      return Kind::network;
    case platform::files::VolumeKind::removable:
      return Kind::removable;
    case platform::files::VolumeKind::fixed:
      break;
  }
  return Kind::local;
}

std::optional<std::string> BackupLocation::provider(const std::filesystem::path& folder) {
  const auto& path = folder.native();
  const auto place = path.find(cloudPlace);
  if (place == path.npos || kind(folder) != Kind::cloudStorage) return std::nullopt;
  const auto begin = place + cloudPlace.size();
  auto name = path.substr(begin, std::min(path.find_first_of("-/", begin), path.size()) - begin);
  if (name.empty()) return std::nullopt;
  return name;
}

std::string BackupLocation::describe(const std::filesystem::path& folder) {
  switch (kind(folder)) {
    case Kind::iCloud:
      return "iCloud Drive";
    case Kind::cloudStorage:
      return provider(folder).value_or("Cloud storage (File Provider)");
    case Kind::network:
      return "Network share";
    case Kind::removable:
      return "External disk";
    case Kind::local:
      break;
  }
  return "Local disk";
}

std::optional<BackupLocation::Permissions> BackupLocation::permissions(const std::filesystem::path& folder) {
  std::error_code error;
  const auto status = std::filesystem::status(folder, error);
  if (error || !std::filesystem::exists(status)) return std::nullopt;
  return Permissions{modeText(status), (status.permissions() & perms::others_read) != perms::none};
}

}  // namespace orvik
