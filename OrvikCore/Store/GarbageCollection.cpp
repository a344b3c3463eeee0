#include "OrvikCore/Store/GarbageCollection.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string_view>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/PackCache.h"
#include "OrvikCore/Store/PackRewrite.h"
#include "OrvikCore/Store/PackStore.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace files = platform::files;

namespace {

/// Wide enough for any number of the lengths that a foreign index may state.
__extension__ using Wide = __int128;

std::int64_t withinRange(Wide bytes) {
  return static_cast<std::int64_t>(std::clamp<Wide>(bytes, 0, INT64_MAX));
}

/// The files below a folder of shards whose name without `suffix` is not in `keep`.
std::vector<CollectionPlan::Loose> sweep(const BackupRepository& repository, std::string_view folder,
                                         const NameSet& keep, std::string_view suffix,
                                         const std::stop_token& stop) {
  std::vector<CollectionPlan::Loose> garbage;
  const auto below = (std::filesystem::path(BackupFormat::storeFolder) / folder).native() + '/';
  for (const auto& shard : PackStore::shardFolders(repository.instanceDirectory / below)) {
    const auto shardFolder = below + shard + '/';
    for (const auto& name : files::visibleNames(repository.instanceDirectory / shardFolder)) {
      platform::throwIfCancelled(stop);
      std::string_view bare = name;
      if (bare.ends_with(suffix)) bare.remove_suffix(suffix.size());
      if (keep.contains(bare)) continue;
      auto path = shardFolder + name;
      const auto bytes = files::size(repository.instanceDirectory / path).value_or(0);
      garbage.push_back({std::move(path), bytes});
    }
  }
  return garbage;
}

/// What becomes of a pack; nothing when all its entries are referred to.
std::optional<CollectionPlan::Pack> fateOf(const std::filesystem::path& index, const PackIndex& content,
                                           const NameSet& keep) {
  CollectionPlan::Pack pack;
  pack.index = index.filename().native();
  pack.pack = content.pack;
  Wide total = 0;
  Wide dead = 0;
  const auto count = [&](const auto& name, const PackRange& range) {
    const bool isLive = keep.contains(name);
    ++pack.entries;
    pack.live += isLive ? 1 : 0;
    total += range.length;
    if (!isLive) dead += range.length;
  };
  for (const auto& [key, range] : content.objects.entries) count(key, range);
  for (const auto& [name, range] : content.objects.others) count(name, range);
  if (pack.live == pack.entries) return std::nullopt;

  using enum CollectionPlan::Pack::Fate;
  if (pack.live == 0)
    pack.fate = removed;
  else if (total <= 2 * dead)
    pack.fate = rewritten;
  if (pack.fate == rewritten) pack.bytes = withinRange(dead);
  return pack;
}

std::vector<CollectionPlan::Pack> sweepPacks(const BackupRepository& repository, const NameSet& keep,
                                             const std::stop_token& stop) {
  const auto folder = repository.store().packsDirectory();
  std::vector<CollectionPlan::Pack> packs;
  std::map<std::string, int> owners;  // of each pack file: an index of foreign making may name any
  PackStore::indexes(folder, [&](const auto& path, const PackIndex& index) {
    platform::throwIfCancelled(stop);
    if (!index.namesPlainFile()) return;
    ++owners[index.pack];
    if (auto pack = fateOf(path, index, keep)) packs.push_back(std::move(*pack));
  });
  for (auto& pack : packs) {
    pack.ownsPack = owners[pack.pack] == 1 && PackStore::isPair(pack.index, pack.pack);
    const auto size = files::size(folder / pack.pack).value_or(0);
    if (pack.fate == CollectionPlan::Pack::Fate::removed)
      pack.bytes = pack.ownsPack ? size : 0;
    else
      pack.bytes = std::min(pack.bytes, size);  // whatever lengths a foreign index states
  }
  return packs;
}

/// Deletes files; those that can't be deleted stay, and don't count.
void removeAll(const std::vector<CollectionPlan::Loose>& garbage, const BackupRepository& repository,
               std::int64_t& count, std::int64_t& bytes, const std::stop_token& stop) {
  for (const auto& file : garbage) {
    platform::throwIfCancelled(stop);
    try {
      files::remove(repository.instanceDirectory / file.path);
    } catch (const files::FileError&) {
      continue;
    }
    ++count;
    bytes += file.bytes;
  }
}

}  // namespace

CleanupResult CollectionPlan::expected() const {
  CleanupResult result;
  for (const auto& file : objects) result.bytesFreed += file.bytes;
  for (const auto& file : files) result.bytesFreed += file.bytes;
  result.removedObjects = static_cast<std::int64_t>(objects.size());
  result.removedFiles = static_cast<std::int64_t>(files.size());
  for (const auto& pack : packs) {
    if (pack.fate == Pack::Fate::kept) continue;
    result.removedObjects += static_cast<std::int64_t>(pack.entries - pack.live);
    result.bytesFreed += pack.bytes;
  }
  return result;
}

CollectionPlan planCollection(const BackupRepository& repository, const std::set<std::string>& without,
                              const std::stop_token& stop) {
  CollectionPlan plan;
  plan.keep = readReferences(repository, without, stop);
  plan.objects =
      sweep(repository, BackupFormat::objectsFolder, plan.keep.objects, BackupFormat::objectSuffix, stop);
  plan.files = sweep(repository, BackupFormat::filesFolder, plan.keep.files, "", stop);
  plan.packs = sweepPacks(repository, plan.keep.objects, stop);
  return plan;
}

CleanupResult carryOut(const CollectionPlan& plan, const BackupRepository& repository,
                       const std::stop_token& stop) {
  CleanupResult result;
  removeAll(plan.objects, repository, result.removedObjects, result.bytesFreed, stop);
  removeAll(plan.files, repository, result.removedFiles, result.bytesFreed, stop);

  using enum CollectionPlan::Pack::Fate;
  auto store = repository.store();
  store.cipher = repository.cipher();
  const auto folder = store.packsDirectory();
  const auto names = PackStore::indexNames(folder);
  for (const auto& pack : plan.packs) {
    platform::throwIfCancelled(stop);
    if (pack.fate == kept) continue;
    if (pack.fate == rewritten && !rewritePack(store, folder / pack.index, names, plan.keep.objects, stop))
      continue;
    if (pack.ownsPack)
      PackStore::remove(folder / pack.index, folder / pack.pack);
    else
      PackStore::removeIndex(folder / pack.index);
    result.removedObjects += static_cast<std::int64_t>(pack.entries - pack.live);
    result.bytesFreed += pack.bytes;
  }
  return result;
}

}  // namespace orvik
