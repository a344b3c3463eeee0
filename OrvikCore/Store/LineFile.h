#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
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

  /// The same lines of a file of any length, one after another. Takes memory for one line, of at most
  /// `longest` bytes; longer ones are left out. Returns how many were. Throws `platform::files::FileError`,
  /// and what `visit` throws.
  static std::size_t forEachLine(const std::filesystem::path& path, std::size_t longest,
                                 const std::function<void(std::string_view)>& visit);

 private:
  std::filesystem::path path_;
  std::unique_ptr<platform::files::AppendFile> file_;
  bool mayBeTorn_ = true;  ///< the end is known only behind a write that succeeded
};

}  // namespace orvik
