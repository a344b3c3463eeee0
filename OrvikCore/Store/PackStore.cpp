#include "OrvikCore/Store/PackStore.h"

#include <algorithm>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/PackCache.h"
#include "OrvikCore/Store/PackWriter.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "Platform/Hex.h"
#include "Platform/UUID.h"

namespace orvik::PackStore {

namespace files = platform::files;

namespace {

/// The first 8 characters of a new UUID, in lower case.
std::string freshSuffix() {
  constexpr std::size_t length = 8;
  const auto id = platform::UUID::random();
  return platform::hexEncode({reinterpret_cast<const char*>(id.bytes.data()), id.bytes.size()})
      .substr(0, length);
}

}  // namespace

Source::Source(std::string_view hash, std::string path) : path_(std::move(path)) {
  path_.shrink_to_fit();
  if (this->hash() != hash) apart_ = hash;
}

std::string_view Source::hash() const noexcept {
  if (!apart_.empty()) return apart_;
  auto name = std::string_view(path_).substr(path_.rfind('/') + 1);
  if (name.ends_with(BackupFormat::objectSuffix)) name.remove_suffix(BackupFormat::objectSuffix.size());
  return name;
}

KeySet write(const std::vector<Source>& objects, const ObjectStore& store, const std::string& name,
             SkipExisting skipExisting, const std::stop_token& stop) {
  PackWriter writer(store, name);
  platform::Bytes buffer;
  for (const auto& object : objects) {
    platform::throwIfCancelled(stop);
    const auto hash = object.hash();
    if (!writer.wants(hash)) continue;
    // What is there in name alone, an empty file or an index without its pack, is no reason to skip.
    if (skipExisting == SkipExisting::yes && store.hasContent(hash, ObjectStore::IncludingOverlay::no))
      continue;
    files::read(object.path(), buffer, BackupFormat::objectLimit);
    writer.add(hash, buffer);
  }
  return writer.finish();
}

std::string freshName() { return "loose-" + freshSuffix(); }

std::string rewrittenName(std::string_view pack) {
  // Every rewrite makes a name longer; one that no file could bear any more is cut, between two characters.
  constexpr std::size_t longest = 150;
  if (pack.ends_with(BackupFormat::packSuffix)) pack.remove_suffix(BackupFormat::packSuffix.size());
  auto length = std::min(pack.size(), longest);
  while (length > 0 && length < pack.size() && (static_cast<unsigned char>(pack[length]) & 0xC0) == 0x80)
    --length;
  return std::string(pack.substr(0, length)) + "-" + freshSuffix();
}

std::vector<Source> looseObjects(const Path& instanceDirectory, const std::stop_token& stop) {
  std::vector<Source> objects;
  const auto folder = instanceDirectory / BackupFormat::storeFolder / BackupFormat::objectsFolder;
  for (const auto& shard : shardFolders(folder)) {
    const auto shardFolder = (folder / shard).native();
    for (const auto& name : files::visibleNames(shardFolder)) {
      platform::throwIfCancelled(stop);
      if (!name.ends_with(BackupFormat::objectSuffix)) continue;
      const auto hash = std::string_view(name).substr(0, name.size() - BackupFormat::objectSuffix.size());
      objects.emplace_back(hash, shardFolder + '/' + name);
    }
  }
  return objects;
}

std::vector<std::string> shardFolders(const Path& folder) {
  auto shards = files::visibleNames(folder);
  std::erase_if(shards, [&](const auto& shard) {
    const auto entry = files::entryAt(folder / shard);
    return !entry || entry->kind != files::Entry::Kind::folder;
  });
  return shards;
}

bool isPair(std::string_view index, std::string_view pack) noexcept {
  if (!index.ends_with(BackupFormat::packIndexSuffix) || !pack.ends_with(BackupFormat::packSuffix))
    return false;
  index.remove_suffix(BackupFormat::packIndexSuffix.size());
  pack.remove_suffix(BackupFormat::packSuffix.size());
  return index == pack;
}

std::vector<std::string> indexNames(const Path& packs) {
  auto names = files::visibleNames(packs);
  std::erase_if(names, [](const auto& name) { return !name.ends_with(BackupFormat::packIndexSuffix); });
  return names;
}

std::optional<PackIndex> readIndex(const Path& index) {
  const auto bytes = files::tryRead(index, BackupFormat::indexLimit);
  return bytes ? BackupFormat::makeDecoder().tryDecode<PackIndex>(*bytes) : std::nullopt;
}

void indexes(const Path& packs, const std::function<void(const Path&, const PackIndex&)>& show) {
  for (const auto& name : indexNames(packs)) {
    const auto path = packs / name;
    if (const auto index = readIndex(path)) show(path, *index);
  }
}

void removeIndex(const Path& index) {
  files::remove(index);
  PackCache::shared().invalidate(index.parent_path());
}

void remove(const Path& index, const Path& pack) {
  removeIndex(index);
  files::tryRemove(pack);
}

}  // namespace orvik::PackStore
