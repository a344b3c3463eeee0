#include "OrvikCore/Store/StoreLeftovers.h"

#include <algorithm>
#include <set>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/PackStore.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace {

namespace files = platform::files;
using Path = std::filesystem::path;
using Kind = StoreLeftovers::File::Kind;

constexpr std::string_view packSuffix = ".pack";
constexpr std::string_view indexSuffix = ".idx";

bool isFolder(const Path& path) {
  const auto entry = files::entryAt(path);
  return entry && entry->kind == files::Entry::Kind::folder;
}

/// All names, hidden ones too, ascending.
std::vector<std::string> namesIn(const Path& folder) try {
  auto names = files::list(folder);
  std::ranges::sort(names);
  return names;
} catch (const files::FileError&) {
  return {};
}

std::string indexOf(const std::string& pack) {
  return pack.substr(0, pack.size() - packSuffix.size()).append(indexSuffix);
}

class Search {
 public:
  Search(const BackupRepository& repository, platform::Date now, const std::stop_token& stop)
      : root_(repository.instanceDirectory), now_(now), stop_(stop) {}

  StoreLeftovers run() {
    lookForTemporaries("");
    lookAtBackups();
    const Path store(BackupFormat::storeFolder);
    for (const auto folder : {BackupFormat::objectsFolder, BackupFormat::filesFolder})
      forEachFolderIn(store / folder, [&](const Path& shard) { lookForTemporaries(shard); });
    if (isFolder(root_ / store) && isFolder(root_ / store / BackupFormat::packsFolder)) {
      lookForTemporaries(store / BackupFormat::packsFolder);
      lookForPacks(store / BackupFormat::packsFolder);
    }
    return std::move(found_);
  }

 private:
  /// Shows the visible folders in a folder, both below the instance folder; the way there holds no link.
  template <class Show>
  void forEachFolderIn(const Path& folder, const Show& show) {
    for (Path path = folder; !path.empty(); path = path.parent_path())
      if (!isFolder(root_ / path)) return;
    for (const auto& name : files::visibleNames(root_ / folder))
      if (isFolder(root_ / folder / name)) show(folder / name);
  }

  void lookAtBackups() {
    forEachFolderIn(Path(BackupFormat::backupsFolder), [&](const Path& backup) {
      lookForTemporaries(backup);
      const auto sections = backup / BackupFormat::sectionsFolder;
      if (isFolder(root_ / sections)) lookForTemporaries(sections);
      const auto name = backup.filename().string();
      if (!name.ends_with(BackupFormat::partialSuffix) &&
          !files::exists(root_ / backup / BackupFormat::manifestFile))
        found_.withoutManifest.push_back(name);
    });
  }

  void lookForTemporaries(const Path& folder) {
    platform::throwIfCancelled(stop_);
    for (const auto& name : namesIn(root_ / folder))
      if (files::isTemporaryName(name)) add(Kind::temporary, folder / name);
  }

  void lookForPacks(const Path& folder) {
    const auto names = namesIn(root_ / folder);
    std::vector<std::string> packs;
    for (const auto& name : names)
      if (!name.starts_with('.') && name.ends_with(packSuffix) &&
          !std::ranges::binary_search(names, indexOf(name)))
        packs.push_back(name);
    if (packs.empty()) return;
    std::set<std::string> named;
    PackStore::indexes(root_ / folder, [&](const Path&, const PackIndex& index) {
      platform::throwIfCancelled(stop_);
      named.insert(index.pack);
    });
    for (const auto& pack : packs)
      if (!named.contains(pack)) add(Kind::packWithoutIndex, folder / pack);
  }

  void add(Kind kind, const Path& path) {
    const auto entry = files::entryAt(root_ / path);
    if (!entry || entry->kind != files::Entry::Kind::file) return;
    const bool isOld = now_ - entry->modified > StoreLeftovers::minimumAge;
    (isOld ? found_.old : found_.recent).push_back({kind, path.string(), entry->size, entry->modified});
  }

  const Path& root_;
  const platform::Date now_;
  const std::stop_token& stop_;
  StoreLeftovers found_;
};

}  // namespace

std::int64_t StoreLeftovers::oldBytes() const {
  std::int64_t sum = 0;
  for (const auto& file : old) sum += file.bytes;
  return sum;
}

StoreLeftovers findLeftovers(const BackupRepository& repository, platform::Date now,
                             const std::stop_token& stop) {
  return Search(repository, now, stop).run();
}

RemovedLeftovers removeLeftovers(const StoreLeftovers& leftovers, const BackupRepository& repository,
                                 const std::stop_token& stop) {
  RemovedLeftovers removed;
  for (const auto& file : leftovers.old) {
    platform::throwIfCancelled(stop);
    const auto path = repository.instanceDirectory / file.path;
    const auto entry = files::entryAt(path);
    const bool isTheSame = entry && entry->kind == files::Entry::Kind::file && entry->size == file.bytes &&
                           entry->modified == file.modified;
    const bool gotAnIndex = file.kind == Kind::packWithoutIndex &&
                            files::exists(path.parent_path() / indexOf(path.filename().string()));
    if (!isTheSame || gotAnIndex) continue;
    try {
      files::remove(path);
    } catch (const files::FileError&) {
      continue;
    }
    ++removed.files;
    removed.bytes += file.bytes;
  }
  return removed;
}

}  // namespace orvik
