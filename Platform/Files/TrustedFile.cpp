#include "Platform/Files/TrustedFile.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "Platform/Files/Descriptor.h"

namespace platform::files {

namespace {

[[noreturn]] void failed() { throw Error(std::system_category().message(errno)); }

}  // namespace

std::optional<Bytes> readTrustedFile(const Path& path, std::uint32_t owner, std::size_t limit) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.isOpen()) {
    if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;
    failed();
  }
  struct stat status {};
  if (fstat(file.number(), &status) != 0) failed();
  if (!S_ISREG(status.st_mode)) throw Error("it is not a regular file");
  if (status.st_uid != owner)
    throw Error(fmt::format("it doesn't belong to the user with the number {}", owner));
  if (status.st_mode & (S_IWGRP | S_IWOTH)) throw Error("others than its owner may write it");
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > limit) throw Error(fmt::format("it is longer than {} bytes", limit));
  Bytes content(size, '\0');
  const auto count = readFully(file.number(), content.data(), size);
  if (count < 0) failed();
  content.resize(static_cast<std::size_t>(count));
  return content;
}

}  // namespace platform::files
