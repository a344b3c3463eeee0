#include "OrvikCore/Store/PackStore.h"

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

KeySet write(const std::vector<Source>& objects, const ObjectStore& store, const std::string& name,
             SkipExisting skipExisting, const std::stop_token& stop) {
  PackWriter writer(store, name);
  platform::Bytes buffer;
  for (const auto& [hash, path] : objects) {
    platform::throwIfCancelled(stop);
    if (!writer.wants(hash)) continue;
    if (skipExisting == SkipExisting::yes && store.location(hash)) continue;
    files::read(path, buffer, BackupFormat::objectLimit);
    writer.add(hash, buffer);
  }
  return writer.finish();
}

std::string freshName() { return "loose-" + freshSuffix(); }

std::string rewrittenName(std::string_view pack) {
  // Every rewrite makes a name longer; one that no file could bear any more is cut.
  constexpr std::size_t longest = 150;
  if (pack.ends_with(BackupFormat::packSuffix)) pack.remove_suffix(BackupFormat::packSuffix.size());
  return std::string(pack.substr(0, longest)) + "-" + freshSuffix();
}

std::vector<Source> looseObjects(const Path& instanceDirectory) {
  std::vector<Source> objects;
  const auto folder = instanceDirectory / BackupFormat::storeFolder / BackupFormat::objectsFolder;
  for (const auto& shard : files::visibleNames(folder)) {
    const auto shardFolder = (folder / shard).native();
    for (const auto& name : files::visibleNames(shardFolder))
      if (name.ends_with(BackupFormat::objectSuffix))
        objects.push_back(
            {name.substr(0, name.size() - BackupFormat::objectSuffix.size()), shardFolder + '/' + name});
  }
  return objects;
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
