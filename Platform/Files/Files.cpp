#include "Platform/Files/Files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>
#include <new>
#include <stdexcept>

#include "Platform/Files/Descriptor.h"
#include "Platform/Files/FaultSeam.h"

namespace platform::files {

namespace {

constexpr std::uint64_t firstPiece = 4096;  // for files that claim to be empty, as those of /proc do
constexpr std::size_t readerPadding = 64;   // what the JSON reader wants behind the last byte

std::uint64_t plus(std::uint64_t a, std::uint64_t b) { return a > UINT64_MAX - b ? UINT64_MAX : a + b; }

enum class Reading { whole, tooLong, failed };

// Fills `bytes` with the content of an open file. One byte more than the file claims is asked for, and a
// regular file gives fewer bytes than asked only at its end, so that the common case is one call.
Reading readOpen(const Descriptor& file, const struct stat& status, std::uint64_t limit, Bytes& bytes) {
  const auto claimed = static_cast<std::uint64_t>(std::max<off_t>(status.st_size, 0));
  if (claimed > limit) return Reading::tooLong;

  bytes.clear();
  std::uint64_t room = std::min(claimed == 0 ? firstPiece : claimed + 1, plus(limit, 1));
  while (true) {
    const std::size_t filled = bytes.size();
    bytes.reserve(room + readerPadding);
    bytes.resize(room);
    const auto got = claimed == 0 ? readFully(file.number(), bytes.data() + filled, room - filled)
                                  : readOnce(file.number(), bytes.data() + filled, room - filled);
    if (got < 0) return Reading::failed;
    bytes.resize(filled + static_cast<std::size_t>(got));
    if (bytes.size() > limit) return Reading::tooLong;
    if (got == 0 || bytes.size() == claimed || (claimed == 0 && bytes.size() < room)) return Reading::whole;
    if (bytes.size() == room) room = std::min(room * 2, plus(limit, 1));
  }
}

// False when the content is longer than `limit`.
bool readUpTo(const Path& path, std::uint64_t limit, Bytes& bytes) {
  struct stat status {};
  const Descriptor file = openForReading(path, status);
  const auto reading = readOpen(file, status, limit, bytes);
  if (reading == Reading::failed) throwFileError("read", path, errno);
  return reading == Reading::whole;
}

bool isDot(std::string_view name) { return name == "." || name == ".."; }

}  // namespace

Bytes read(const Path& path) {
  Bytes bytes;
  read(path, bytes);
  return bytes;
}

void read(const Path& path, Bytes& buffer, std::uint64_t limit) {
  try {
    if (!readUpTo(path, limit, buffer)) throwFileError("read", path, EFBIG);
  } catch (const std::bad_alloc&) {
    throwFileError("read", path, ENOMEM);
  } catch (const std::length_error&) {
    throwFileError("read", path, EFBIG);
  }
}

std::optional<Bytes> tryRead(const Path& path, std::uint64_t limit) noexcept {
  try {
    Bytes bytes;
    if (readUpTo(path, limit, bytes)) return bytes;
  } catch (const std::exception&) {
    // What can't be read isn't there.
  }
  return std::nullopt;
}

FolderReader::FolderReader(const Path& folder) noexcept
    : descriptor_(
          untilUninterrupted([&] { return open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC); })) {}

FolderReader::~FolderReader() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

bool FolderReader::tryRead(const std::string& name, Bytes& buffer, std::uint64_t limit) const noexcept try {
  struct stat status {};
  const Descriptor file(openat(descriptor_, name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file.isOpen() || fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  return readOpen(file, status, limit, buffer) == Reading::whole;
} catch (const std::exception&) {
  return false;
}

bool isFile(const Path& path) noexcept {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool isDirectory(const Path& path) noexcept {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool exists(const Path& path) noexcept {
  struct stat status;
  return lstat(path.c_str(), &status) == 0;
}

std::optional<std::int64_t> size(const Path& path) noexcept {
  struct stat status;
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return status.st_size;
}

std::optional<Entry> entryAt(const Path& path) noexcept {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0) return std::nullopt;
  Entry entry;
  if (S_ISREG(status.st_mode)) entry.kind = Entry::Kind::file;
  if (S_ISDIR(status.st_mode)) entry.kind = Entry::Kind::folder;
  if (S_ISLNK(status.st_mode)) entry.kind = Entry::Kind::link;
  if (entry.kind == Entry::Kind::file) entry.size = status.st_size;
  entry.modified =
      Date(std::chrono::seconds(status.st_mtim.tv_sec) +
           std::chrono::floor<std::chrono::milliseconds>(std::chrono::nanoseconds(status.st_mtim.tv_nsec)));
  return entry;
}

std::vector<std::string> list(const Path& folder) {
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(folder.c_str()), closedir);
  if (!stream) throwFileError("list the folder", folder, errno);
  std::vector<std::string> names;
  while (true) {
    errno = 0;
    const dirent* entry = readdir(stream.get());
    if (entry == nullptr) break;
    if (!isDot(entry->d_name)) names.emplace_back(entry->d_name);
  }
  if (errno != 0) throwFileError("list the folder", folder, errno);
  return names;
}

std::vector<std::string> listVisible(const Path& folder) {
  auto names = list(folder);
  std::erase_if(names, [](const std::string& name) { return name.starts_with('.'); });
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> visibleNames(const Path& folder) noexcept {
  try {
    return listVisible(folder);
  } catch (const std::exception&) {
    return {};
  }
}

void createDirectories(const Path& folder) {
  std::vector<Path> missing;
  for (Path path = folder;;) {
    struct stat status;
    if (stat(path.c_str(), &status) == 0) {
      if (!S_ISDIR(status.st_mode)) throwFileError("create the folder", folder, ENOTDIR);
      break;
    }
    if (errno != ENOENT) throwFileError("create the folder", folder, errno);
    missing.push_back(path);
    Path parent = path.parent_path();
    if (parent.empty() || parent == path) break;
    path = std::move(parent);
  }
  for (auto next = missing.rbegin(); next != missing.rend(); ++next) {
    int code = passFaultSeam();
    if (code == 0 && mkdir(next->c_str(), 0777) != 0) code = errno;
    if (code != 0 && !(code == EEXIST && isDirectory(*next)))
      throwFileError("create the folder", *next, code);
  }
}

void remove(const Path& path) {
  int code = passFaultSeam();
  if (code == 0 && unlink(path.c_str()) != 0) code = errno;
  if (code != 0) throwFileError("delete", path, code);
}

void tryRemove(const Path& path) noexcept {
  if (passFaultSeam() == 0) ::remove(path.c_str());
}

void removeTree(const Path& path) {
  std::error_code error;
  if (const int code = passFaultSeam())
    error.assign(code, std::generic_category());
  else
    std::filesystem::remove_all(path, error);
  if (error) throwFileError("delete", path, error.value());
}

void syncFileSystem(const Path& path) {
  const Descriptor file(
      untilUninterrupted([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); }));
  int code = file.isOpen() ? passFaultSeam() : errno;
  if (code == 0 && untilUninterrupted([&] { return syncfs(file.number()); }) != 0) code = errno;
  if (code != 0) throwFileError("flush the file system of", path, code);
}

void syncFolder(const Path& folder) {
  const Descriptor opened(
      untilUninterrupted([&] { return open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  int code = opened.isOpen() ? syncOpen(opened.number()) : errno;
  // What network and user-space file systems answer that keep no folders of their own.
  if (code == EINVAL || code == ENOTSUP || code == ENOSYS) code = 0;
  if (code != 0) throwFileError("flush the folder", folder, code);
}

}  // namespace platform::files
