#include "OrvikCore/Store/StoreLeftovers.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/BackupJournal.h"
#include "OrvikCore/Store/ObjectKey.h"
#include "OrvikCore/Store/PackStore.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace {

namespace files = platform::files;
using Path = std::filesystem::path;
using Kind = StoreLeftovers::File::Kind;

using BackupFormat::packSuffix;

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
  return pack.substr(0, pack.size() - packSuffix.size()).append(BackupFormat::packIndexSuffix);
}

/// Whether all objects that backups and runs refer to are where readers find them. False also when an index
/// can't be read.
class Completeness {
 public:
  Completeness(const BackupRepository& repository, const std::stop_token& stop)
      : repository_(repository), store_(repository.store()), cipher_(repository.cipher()), stop_(stop) {}

  bool holds() {
    const auto backups = repository_.backupsDirectory();
    return std::ranges::all_of(files::visibleNames(backups), [&](const std::string& name) {
      return indexesHold(backups / name) &&
             (!name.ends_with(BackupFormat::partialSuffix) || journalHolds(backups / name));
    });
  }

 private:
  bool indexesHold(const Path& folder) {
    constexpr auto suffix = BackupFormat::sectionSuffix;
    return std::ranges::all_of(
        files::visibleNames(folder / BackupFormat::sectionsFolder), [&](const std::string& name) {
          if (!name.ends_with(suffix)) return true;
          const auto index =
              BackupRepository::loadIndex(folder, name.substr(0, name.size() - suffix.size()), cipher_);
          return index && std::ranges::all_of(index->items, [&](const auto& item) { return isThere(item); });
        });
  }
  bool journalHolds(const Path& folder) {
    return std::ranges::all_of(BackupJournal::read(folder, cipher_),
                               [&](const JournalEntry& entry) { return isThere(entry.item); });
  }
  bool isThere(const IndexItem& item) {
    platform::throwIfCancelled(stop_);
    return std::ranges::all_of(item.objects, [&](const auto& object) {
      const auto key = ObjectKey::parse(object.second);
      return !key || !seen_.insert(*key) ||
             store_.hasContent(object.second, ObjectStore::IncludingOverlay::no);
    });
  }

  const BackupRepository& repository_;
  const ObjectStore store_;
  const std::optional<BackupCipher> cipher_;
  const std::stop_token& stop_;
  KeySet seen_;
};

class Search {
 public:
  Search(const BackupRepository& repository, platform::Date now, const std::stop_token& stop)
      : repository_(repository), root_(repository.instanceDirectory), now_(now), stop_(stop) {}

  StoreLeftovers run() {
    lookForTemporaries("");
    lookAtBackups();
    const Path store(BackupFormat::storeFolder);
    for (const auto folder : {BackupFormat::objectsFolder, BackupFormat::filesFolder})
      forEachFolderIn(store / folder, [&](const Path& shard) { lookForTemporaries(shard); });
    if (isFolder(root_ / store) && isFolder(root_ / store / BackupFormat::downloadsFolder))
      lookForTemporaries(store / BackupFormat::downloadsFolder);
    if (isFolder(root_ / store) && isFolder(root_ / store / BackupFormat::packsFolder)) {
      lookForTemporaries(store / BackupFormat::packsFolder);
      lookForPacks(store / BackupFormat::packsFolder);
      setNeededPacksAside();
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

  void setNeededPacksAside() {
    const auto isPack = [](const auto& file) { return file.kind == Kind::packWithoutIndex; };
    if (std::ranges::none_of(found_.old, isPack) || Completeness(repository_, stop_).holds()) return;
    std::ranges::copy_if(found_.old, std::back_inserter(found_.needed), isPack);
    std::erase_if(found_.old, isPack);
  }

  void add(Kind kind, const Path& path) {
    const auto entry = files::entryAt(root_ / path);
    if (!entry || entry->kind != files::Entry::Kind::file) return;
    const bool isOld = now_ - entry->modified > StoreLeftovers::minimumAge;
    (isOld ? found_.old : found_.recent).push_back({kind, path.string(), entry->size, entry->modified});
  }

  const BackupRepository& repository_;
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
