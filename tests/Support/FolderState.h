#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <string>
#include <tuple>

#include "OrvikCore/Store/ObjectStore.h"
#include "Platform/Files/Files.h"

namespace orvik::test {

/// What can be seen of an entry: mode, size, the nanosecond of its last change, and what it holds.
using EntryState = std::tuple<unsigned, std::int64_t, std::int64_t, std::int64_t, std::string>;

/// Everything in a folder, itself included, hidden names too.
inline std::map<std::string, EntryState> stateOf(const std::filesystem::path& folder) {
  std::map<std::string, EntryState> state;
  const auto add = [&](const std::filesystem::path& path) {
    struct stat status = {};
    ::lstat(path.c_str(), &status);
    const bool isFile = S_ISREG(status.st_mode);
    state[path.string()] = {status.st_mode, isFile ? status.st_size : 0, status.st_mtim.tv_sec,
                            status.st_mtim.tv_nsec,
                            isFile ? ObjectStore::sha256(platform::files::read(path)) : std::string()};
  };
  add(folder);
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) add(entry.path());
  return state;
}

}  // namespace orvik::test
