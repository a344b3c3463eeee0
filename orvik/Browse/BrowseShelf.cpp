#include "orvik/Browse/BrowseShelf.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Files/Files.h"
#include "orvik/ExitStatus.h"
#include "orvik/Explore/BackupChoice.h"
#include "orvik/InstanceFolder.h"

namespace orvik::host {

namespace {

constexpr std::size_t mostKept = 4;

/// Why the folder stays sealed; of the only one it ends the command.
std::optional<std::string> opened(const BackupRepository& repository,
                                  const std::optional<std::string>& keyFile, bool isOnly) try {
  unlockFolder(repository, keyFile);
  return std::nullopt;
} catch (const platform::Error& error) {
  if (isOnly) throw;
  return error.description();
}

/// A backup that retention has deleted is no longer handed out.
bool isThere(const BackupReader& reader) {
  return platform::files::exists(reader.directory() / BackupFormat::manifestFile);
}

}  // namespace

BrowseShelf::BrowseShelf(const std::string& path, const std::optional<std::string>& keyFile) {
  auto found = instanceFolders(path);
  const bool isOnly = found.size() == 1;
  for (auto& repository : found) {
    auto problem = opened(repository, keyFile, isOnly);
    folders_.push_back({std::move(repository), std::move(problem)});
  }
}

const BrowseShelf::Folder& BrowseShelf::folder(std::size_t position) const {
  if (position < folders_.size()) return folders_[position];
  throw NotFoundError("There is no such folder.");
}

BackupReader BrowseShelf::backup(std::size_t position, const std::string& id) const {
  const auto isWanted = [&](const Kept& each) { return each.folder == position && each.id == id; };
  auto known = kept_.withLock([&](auto& kept) -> std::optional<BackupReader> {
    const auto found = std::ranges::find_if(kept, isWanted);
    if (found == kept.end()) return std::nullopt;
    std::rotate(found, found + 1, kept.end());
    return kept.back().reader;
  });
  if (known && isThere(*known)) return std::move(*known);

  auto reader = chosenBackup(folder(position).repository, id);
  kept_.withLock([&](auto& kept) {
    std::erase_if(kept, isWanted);
    if (kept.size() == mostKept) kept.erase(kept.begin());
    kept.push_back({position, id, reader});
  });
  return reader;
}

}  // namespace orvik::host
