#pragma once

#include <filesystem>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Files/Files.h"

namespace orvik {

/// A text file that grows by whole lines: journal and audit log. Opened, and made when missing, by the first
/// `append`. Not for more than one thread.
class LineFile {
 public:
  explicit LineFile(std::filesystem::path path) : path_(std::move(path)) {}

  /// Writes `line` and a line feed to the present end in one write. Where the file does not end in a line
  /// feed, because a crash or a full disk cut its last line, one is put in front, so that the new line stands
  /// alone. Throws `platform::files::FileError`.
  void append(std::string_view line);

  /// Flushes to stable storage and closes; failures are ignored. A later `append` opens the file again.
  void close() noexcept;

  const std::filesystem::path& path() const noexcept { return path_; }

  /// The lines of a file's content that are not empty, the torn last one included.
  static std::vector<std::string_view> lines(std::string_view content);

 private:
  std::filesystem::path path_;
  std::unique_ptr<platform::files::AppendFile> file_;
  bool mayBeTorn_ = true;  ///< the end is known only behind a write that succeeded
};

}  // namespace orvik
