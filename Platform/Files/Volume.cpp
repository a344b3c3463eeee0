#include "Platform/Files/Volume.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>

namespace platform::files {

namespace {

constexpr std::uint64_t mountsLimit = 16 << 20;

constexpr std::array<std::string_view, 13> networkTypes{"nfs",   "nfs4", "cifs",     "smb3",   "smbfs",
                                                        "9p",    "afs",  "ceph",     "lustre", "beegfs",
                                                        "ncpfs", "coda", "glusterfs"};

/// Behind "fuse.": those that bring another machine's files.
constexpr std::array<std::string_view, 24> networkFuseTypes{
    "sshfs",     "rclone",    "s3fs",      "gvfsd-fuse", "davfs",    "davfs2",    "curlftpfs",
    "glusterfs", "ceph",      "ceph-fuse", "gcsfuse",    "goofys",   "blobfuse",  "blobfuse2",
    "juicefs",   "seaweedfs", "mfs",       "moosefs",    "smbnetfs", "onedriver", "google-drive-ocamlfuse",
    "mount-s3",  "s3ql",      "kio-fuse"};

/// One line of the table of mounts.
struct Mount {
  std::string point;
  std::string device;  ///< "<major>:<minor>"
  std::string_view type;
  std::string source;
};

/// Blanks and backslashes stand as three octal digits behind a backslash.
std::string unescaped(std::string_view field) {
  std::string text;
  for (std::size_t i = 0; i < field.size(); ++i) {
    const auto digits = field.substr(i + 1, 3);
    const bool isEscape = field[i] == '\\' && digits.size() == 3 &&
                          std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '7'; });
    if (!isEscape) {
      text += field[i];
      continue;
    }
    text += static_cast<char>((digits[0] - '0') * 64 + (digits[1] - '0') * 8 + (digits[2] - '0'));
    i += 3;
  }
  return text;
}

/// Takes the next word off a line; empty at its end.
std::string_view word(std::string_view& line) {
  const auto end = std::min(line.find(' '), line.size());
  const auto found = line.substr(0, end);
  line.remove_prefix(std::min(end + 1, line.size()));
  return found;
}

std::optional<Mount> mountOf(std::string_view line) {
  word(line);  // its number
  word(line);  // that of the one above
  Mount mount;
  mount.device = word(line);
  word(line);  // the folder of the file system that is mounted
  mount.point = unescaped(word(line));
  const auto separator = line.find(" - ");
  if (mount.point.empty() || separator == line.npos) return std::nullopt;
  line.remove_prefix(separator + 3);
  mount.type = word(line);
  mount.source = unescaped(word(line));
  return mount;
}

bool lies(std::string_view path, std::string_view below) {
  if (below == "/") return path.starts_with('/');
  return path.starts_with(below) && (path.size() == below.size() || path[below.size()] == '/');
}

/// The mount with the longest point above the path; of two in one place the later one, which hides the other.
std::optional<Mount> mountHolding(const Path& path, std::string_view table) {
  std::optional<Mount> found;
  while (!table.empty()) {
    const auto end = std::min(table.find('\n'), table.size());
    auto mount = mountOf(table.substr(0, end));
    table.remove_prefix(std::min(end + 1, table.size()));
    if (!mount || !lies(path.native(), mount->point)) continue;
    if (!found || mount->point.size() >= found->point.size()) found = std::move(mount);
  }
  return found;
}

bool isNetwork(std::string_view type) {
  constexpr std::string_view fuse = "fuse.";
  if (!type.starts_with(fuse)) return std::ranges::find(networkTypes, type) != networkTypes.end();
  return std::ranges::find(networkFuseTypes, type.substr(fuse.size())) != networkFuseTypes.end();
}

/// A file system of several devices has a number of its own, of which no device knows; its source does.
std::string deviceOf(const Mount& mount) {
  struct stat status {};
  const bool isOwnNumber = mount.device.starts_with("0:");
  if (!isOwnNumber || stat(mount.source.c_str(), &status) != 0 || !S_ISBLK(status.st_mode))
    return mount.device;
  return fmt::format("{}:{}", major(status.st_rdev), minor(status.st_rdev));
}

/// A partition's flag is that of the device above it.
bool isRemovable(const std::string& device, const Path& blockDevices) {
  std::error_code error;
  const auto folder = std::filesystem::canonical(blockDevices / device, error);
  if (error) return false;
  for (const auto& place : {folder, folder.parent_path()})
    if (const auto flag = tryRead(place / "removable", 16)) return flag->starts_with('1');
  return false;
}

}  // namespace

VolumeKind volumeKind(const Path& path, const VolumeTables& tables) {
  const auto mount = mountHolding(path, tables.mounts);
  if (!mount) return VolumeKind::fixed;
  if (isNetwork(mount->type)) return VolumeKind::network;
  const bool isMedium = mount->point.starts_with("/media/") || mount->point.starts_with("/run/media/");
  if (isMedium || isRemovable(deviceOf(*mount), tables.blockDevices)) return VolumeKind::removable;
  return VolumeKind::fixed;
}

VolumeKind volumeKind(const Path& path) noexcept try {
  const auto mounts = tryRead("/proc/self/mountinfo", mountsLimit);
  if (!mounts) return VolumeKind::fixed;
  return volumeKind(std::filesystem::weakly_canonical(path), VolumeTables{.mounts = *mounts});
} catch (const std::exception&) {
  return VolumeKind::fixed;
}

}  // namespace platform::files
