#include <cerrno>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"

namespace platform::files {

namespace {

constexpr std::size_t pieceSize = 1 << 20;

void copyContent(FileReader& reader, StagedFile& copy, const std::stop_token& stop) {
  for (Bytes piece; reader.read(piece, pieceSize);) {
    throwIfCancelled(stop);
    copy.append(piece);
  }
}

}  // namespace

void copyFile(const Path& from, const Path& to, const std::stop_token& stop) {
  FileReader reader(from);
  StagedFile copy(to);
  copyContent(reader, copy, stop);
  copy.publish();
}

void copyReplacing(const Path& from, const Path& to, std::filesystem::perms mode,
                   const std::stop_token& stop) {
  FileReader reader(from);
  StagedFile copy(to);
  copyContent(reader, copy, stop);
  copy.publishReplacing(mode);
}

void move(const Path& from, const Path& to, const std::stop_token& stop) {
  try {
    return files::rename(from, to);
  } catch (const FileError& error) {
    if (error.code() != EXDEV) throw;
  }
  copyFile(from, to, stop);
  files::remove(from);
}

}  // namespace platform::files
