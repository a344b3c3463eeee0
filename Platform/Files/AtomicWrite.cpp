#include <fcntl.h>
#include <fmt/format.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "Platform/Files/Descriptor.h"
#include "Platform/Files/FaultSeam.h"
#include "Platform/Files/Files.h"
#include "Platform/UUID.h"

namespace platform::files {

namespace {

constexpr std::string_view temporarySuffix = ".tmp";
constexpr std::size_t uuidLength = 36;

}  // namespace

Path temporarySibling(const Path& path) {
  const std::string& text = path.native();
  const auto slash = text.rfind('/');
  const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
  const std::string_view name = std::string_view(text).substr(start);
  if (name.empty() || name == "." || name == "..") throwFileError("write", path, EISDIR);
  return fmt::format("{}.{}.{}{}", std::string_view(text).substr(0, start), name, UUID::random().text(),
                     temporarySuffix);
}

bool isTemporaryName(std::string_view name) noexcept {
  // A dot, a name of one byte or more, a dot, the UUID, the suffix.
  if (name.size() < 3 + uuidLength + temporarySuffix.size()) return false;
  if (!name.starts_with('.') || !name.ends_with(temporarySuffix)) return false;
  name.remove_suffix(temporarySuffix.size());
  const auto id = name.substr(name.size() - uuidLength);
  name.remove_suffix(uuidLength);
  const bool isUpperCase = std::ranges::none_of(id, [](char c) { return c >= 'a' && c <= 'z'; });
  return name.ends_with('.') && isUpperCase && UUID::parse(id);
}

int openNew(const Path& path, Descriptor& file) noexcept {
  constexpr mode_t fileMode = 0644;
  if (const int code = passFaultSeam()) return code;
  file = Descriptor(untilUninterrupted(
      [&] { return open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, fileMode); }));
  return file.isOpen() ? 0 : errno;
}

namespace {

int renamePlain(const Path& from, const Path& to) {
  if (const int code = passFaultSeam()) return code;
  return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

/// File systems that keep no modes count as done; of a file that we made they alone say "not permitted".
int setMode(int descriptor, std::filesystem::perms mode) {
  if (const int code = passFaultSeam()) return code;
  if (fchmod(descriptor, static_cast<mode_t>(mode)) == 0) return 0;
  return errno == EPERM || errno == ENOTSUP || errno == ENOSYS ? 0 : errno;
}

// Whether a refused rename means that another writer's file stands there. "Exists" says so; the others are
// what network file systems answer while somebody has the target open, and count only when nothing is lost.
bool wasWrittenByAnother(int code, std::string_view data, const Path& path) {
  switch (code) {
    case EEXIST:
      return isFile(path);
    case EACCES:
    case EPERM:
    case EBUSY:
    case ETXTBSY:
      return tryRead(path, data.size()) == data;
    default:
      return false;
  }
}

}  // namespace

void atomicWrite(std::string_view data, const Path& path, Flush flush,
                 std::optional<std::filesystem::perms> mode) {
  const Path temporary = temporarySibling(path);
  Descriptor file;
  int code = openNew(temporary, file);
  if (code == ENOENT && path.has_parent_path()) {  // asked for only here: most folders exist
    createDirectories(path.parent_path());
    code = openNew(temporary, file);
  }
  if (code != 0) throwFileError("write", path, code);

  code = writeFully(file.number(), data);
  if (code == 0 && mode) code = setMode(file.number(), *mode);
  if (code == 0 && flush == Flush::yes) code = syncOpen(file.number());
  const int closed = file.close();
  if (code == 0) code = closed;
  bool done = false;
  if (code == 0) {
    code = renamePlain(temporary, path);
    if (code == 0) return;
    done = !mode && wasWrittenByAnother(code, data, path);
  }
  tryRemove(temporary);
  if (!done) throwFileError("write", path, code);
}

void rename(const Path& from, const Path& to) {
  if (const int code = renamePlain(from, to))
    throwFileError(fmt::format("rename {} to", from.native()), to, code);
}

void renameWithoutReplacing(const Path& from, const Path& to) {
  int code = passFaultSeam();
  if (code == 0 && renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0)
    code = errno;
  if (code == EINVAL || code == ENOSYS) code = files::exists(to) ? EEXIST : renamePlain(from, to);
  if (code != 0) throwFileError(fmt::format("rename {} to", from.native()), to, code);
}

StagedFile::StagedFile(Path target) : target_(std::move(target)), temporary_(temporarySibling(target_)) {
  Descriptor file;
  if (const int code = openNew(temporary_, file)) throwFileError("write", target_, code);
  descriptor_ = file.release();
}

StagedFile::~StagedFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
  if (!temporary_.empty()) tryRemove(temporary_);
}

void StagedFile::require(int code) {
  if (failure_ == 0) failure_ = code;
  if (failure_ != 0) throwFileError("write", target_, failure_);
}

void StagedFile::append(std::string_view bytes) {
  constexpr std::size_t piece = std::size_t{1} << 20;
  require(0);
  size_ += static_cast<std::int64_t>(bytes.size());
  if (gathered_.size() + bytes.size() > piece) writeGathered();
  if (bytes.size() > piece)
    require(writeFully(descriptor_, bytes));
  else
    gathered_ += bytes;
}

void StagedFile::writeGathered() {
  require(writeFully(descriptor_, gathered_));
  gathered_.clear();
}

void StagedFile::finish() {
  require(syncOpen(descriptor_));
  require(Descriptor(std::exchange(descriptor_, -1)).close());
}

void StagedFile::publish() {
  require(0);
  writeGathered();
  finish();
  renameWithoutReplacing(temporary_, target_);
  temporary_.clear();
}

void StagedFile::publishReplacing(std::filesystem::perms mode) {
  require(0);
  writeGathered();
  require(setMode(descriptor_, mode));
  finish();
  require(renamePlain(temporary_, target_));
  temporary_.clear();
}

}  // namespace platform::files
