#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Platform/Files/Descriptor.h"
#include "Platform/Files/FaultSeam.h"
#include "Platform/Files/Files.h"

namespace platform::files {

namespace {

/// Opens a regular file, made when it is missing, through the fault seam. Throws `FileError`.
int openForWriting(const Path& path, int flags) {
  if (const int code = passFaultSeam()) throwFileError("open", path, code);
  Descriptor file(untilUninterrupted(
      [&] { return open(path.c_str(), flags | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0644); }));
  struct stat status;
  if (!file.isOpen() || fstat(file.number(), &status) != 0) throwFileError("open", path, errno);
  requireRegular("open", path, status);
  return file.release();
}

}  // namespace

FileReader::FileReader(const Path& path) : path_(path) {
  struct stat status;
  descriptor_ = openForReading(path, status).release();
  posix_fadvise(descriptor_, 0, 0, POSIX_FADV_SEQUENTIAL);
}

FileReader::~FileReader() { ::close(descriptor_); }

bool FileReader::read(Bytes& buffer, std::size_t capacity) {
  buffer.resize(capacity);
  const auto got = readFully(descriptor_, buffer.data(), capacity);
  if (got < 0) throwFileError("read", path_, errno);
  buffer.resize(static_cast<std::size_t>(got));
  return got > 0;
}

AppendFile::AppendFile(const Path& path)
    : path_(path), descriptor_(openForWriting(path, O_RDWR | O_APPEND)) {}

AppendFile::~AppendFile() { ::close(descriptor_); }

void AppendFile::append(std::string_view bytes) {
  if (const int code = writeFully(descriptor_, bytes)) throwFileError("write", path_, code);
}

std::int64_t AppendFile::size() const noexcept {
  struct stat status;
  return fstat(descriptor_, &status) == 0 ? status.st_size : 0;
}

bool AppendFile::endsWithLineFeed() const noexcept {
  struct stat status;
  if (fstat(descriptor_, &status) != 0) return false;
  if (status.st_size == 0) return true;
  char last = '\0';
  return pread(descriptor_, &last, 1, status.st_size - 1) == 1 && last == '\n';
}

void AppendFile::sync() {
  int code = passFaultSeam();
  if (code == 0 && untilUninterrupted([&] { return fdatasync(descriptor_); }) != 0) code = errno;
  if (code != 0) throwFileError("flush", path_, code);
}

ResumableFile::ResumableFile(const Path& path) : path_(path), descriptor_(openForWriting(path, O_WRONLY)) {}

ResumableFile::~ResumableFile() { ::close(descriptor_); }

std::int64_t ResumableFile::size() const {
  struct stat status;
  if (fstat(descriptor_, &status) != 0) throwFileError("read", path_, errno);
  return status.st_size;
}

void ResumableFile::truncate(std::int64_t size) {
  int code = passFaultSeam();
  if (code == 0 && ftruncate(descriptor_, size) != 0) code = errno;
  if (code != 0) throwFileError("cut", path_, code);
}

void ResumableFile::seek(std::int64_t offset) {
  if (lseek(descriptor_, offset, SEEK_SET) < 0) throwFileError("write", path_, errno);
}

void ResumableFile::write(std::string_view bytes) {
  if (const int code = writeFully(descriptor_, bytes)) throwFileError("write", path_, code);
}

void ResumableFile::sync() {
  if (const int code = syncOpen(descriptor_)) throwFileError("flush", path_, code);
}

RangeReader::RangeReader(const Path& path) {
  struct stat status;
  descriptor_ = openForReading(path, status).release();
  size_ = status.st_size;
}

RangeReader::~RangeReader() { ::close(descriptor_); }

bool RangeReader::read(std::int64_t offset, std::int64_t length, Bytes& buffer) const {
  if (offset < 0 || length < 0 || length > size_ || offset > size_ - length) return false;
  buffer.resize(static_cast<std::size_t>(length));
  std::int64_t filled = 0;
  while (filled < length) {
    const auto got = pread(descriptor_, buffer.data() + filled, static_cast<std::size_t>(length - filled),
                           offset + filled);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    filled += got;
  }
  return true;
}

TempFolder::TempFolder(std::string_view prefix) {
  std::error_code error;
  Path base = std::filesystem::temp_directory_path(error);
  if (error) base = "/tmp";
  std::string name = (base / prefix).native() + "-XXXXXX";
  int code = passFaultSeam();
  if (code == 0 && mkdtemp(name.data()) == nullptr) code = errno;
  if (code != 0) throwFileError("create a temporary folder in", base, code);
  path_ = name;
}

TempFolder::~TempFolder() {
  if (isKept_) return;
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace platform::files
