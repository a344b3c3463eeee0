#include <fmt/format.h>
#include <string.h>

#include <cerrno>

#include "Platform/Files/Descriptor.h"
#include "Platform/Files/Files.h"

namespace platform::files {

namespace {

FileErrorKind kindOf(int code) {
  switch (code) {
    case ENOENT:
      return FileErrorKind::notFound;
    case EEXIST:
      return FileErrorKind::exists;
    case EACCES:
    case EPERM:
    case EROFS:
      return FileErrorKind::notPermitted;
    case ENOSPC:
    case EDQUOT:
      return FileErrorKind::noSpace;
    case ENOTDIR:
      return FileErrorKind::notADirectory;
    case EISDIR:
      return FileErrorKind::isADirectory;
    case ENOTEMPTY:
      return FileErrorKind::notEmpty;
    default:
      return FileErrorKind::other;
  }
}

std::string reasonOf(int code) {
  const char* text = strerrordesc_np(code);  // English in every locale, and safe between threads
  return text == nullptr ? fmt::format("System error {}", code) : text;
}

std::string sentence(std::string_view action, const Path& path, std::string_view reason) {
  std::string text = fmt::format("Can't {} {}: {}", action, path.native(), reason);
  for (char& character : text)
    if (static_cast<unsigned char>(character) < 0x20 || character == 0x7F) character = '?';
  return text;
}

}  // namespace

void throwFileError(std::string_view action, const Path& path, int code) {
  throw FileError(kindOf(code), code, sentence(action, path, reasonOf(code)));
}

void requireRegular(std::string_view action, const Path& path, const struct stat& status) {
  if (S_ISREG(status.st_mode)) return;
  if (S_ISDIR(status.st_mode)) throwFileError(action, path, EISDIR);
  throw FileError(FileErrorKind::other, EINVAL, sentence(action, path, "Not a regular file"));
}

}  // namespace platform::files
