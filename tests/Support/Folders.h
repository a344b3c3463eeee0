#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include "Platform/Files/Files.h"

namespace orvik::test {

using Path = std::filesystem::path;

/// Writes a file as it stands, with its folders.
inline void write(const Path& path, std::string_view bytes) { platform::files::atomicWrite(bytes, path); }

inline void makePipe(const Path& path) {
  std::filesystem::create_directories(path.parent_path());
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0) << path;
}

/// A file of that many zero bytes that takes no room on the disk.
inline void makeSparse(const Path& path, std::uintmax_t size) {
  write(path, "");
  std::filesystem::resize_file(path, size);
}

/// Every regular file below a folder, by its path below it, with its content; hidden ones included.
inline std::map<std::string, std::string> contentOf(const Path& folder) {
  std::map<std::string, std::string> content;
  if (!std::filesystem::exists(folder)) return content;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
    if (entry.is_regular_file() && !entry.is_symlink())
      content[entry.path().lexically_relative(folder).string()] = platform::files::read(entry.path());
  return content;
}

/// The same without what every listing passes over: names that begin with ".".
inline std::map<std::string, std::string> visibleContentOf(const Path& folder) {
  auto content = contentOf(folder);
  std::erase_if(content,
                [](const auto& entry) { return Path(entry.first).filename().native().starts_with('.'); });
  return content;
}

}  // namespace orvik::test
