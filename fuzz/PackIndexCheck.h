#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/PackCache.h"
#include "OrvikCore/Store/PackIndex.h"
#include "OrvikCore/Store/PackStore.h"
#include "Platform/Files/Files.h"
#include "Platform/Hex.h"

/// What holds for a pack index of any bytes.
namespace orvik::fuzz {

/// A packs folder with one pack, "a.pack" of 256 bytes, and a file of another content beside the folder and
/// in it. The index under test is written beside the pack.
class PackFolder {
 public:
  PackFolder() {
    std::string pack;
    for (int i = 0; i < 256; ++i) pack += static_cast<char>(i);
    platform::files::atomicWrite(pack, packs() / "a.pack");
    for (const auto& path : {folder_ / "secret", packs() / ".hidden"})
      platform::files::atomicWrite(std::string(300, '?'), path);
  }

  std::filesystem::path packs() const { return folder_ / "packs"; }
  std::filesystem::path index() const { return packs() / "a.idx"; }
  PackCache& cache() { return cache_; }

 private:
  platform::files::TempFolder folder_{"orvik-fuzz"};
  PackCache cache_;
};

/// The rules of an index that decodes.
inline std::optional<std::string> brokenRuleOf(const PackIndex& index) {
  const auto& entries = index.objects.entries;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (i > 0 && !(entries[i - 1].key < entries[i].key)) return "entries are not ascending, or not unique";
    const auto* found = index.objects.find(entries[i].key);
    if (!found || !(*found == entries[i].range)) return "an entry is not found under its key";
    if (ObjectKey::parse(entries[i].key.text()) != entries[i].key) return "a key changes in its text";
    for (const std::int64_t size : {std::int64_t(0), std::int64_t(256), std::int64_t(INT64_MAX)}) {
      const auto& range = entries[i].range;
      const auto fits = range.isPair && range.offset >= 0 && range.length >= 0 &&
                        static_cast<std::uint64_t>(range.offset) + static_cast<std::uint64_t>(range.length) <=
                            static_cast<std::uint64_t>(size);
      if (range.liesWithin(size) != fits) return "a range is judged wrongly";
    }
  }
  for (const auto& [name, range] : index.objects.others)
    if (platform::isLowerHex64(name)) return "an object's name is among the others";
  const bool hasOddRange = std::ranges::any_of(entries, [](const auto& each) { return !each.range.isPair; });
  if (!index.objects.others.empty() || hasOddRange) return std::nullopt;  // never written
  const auto text = BackupFormat::makeLineEncoder().encode(index);
  if (text.find('\n') != std::string::npos) return "an index takes more than one line";
  const auto again = BackupFormat::makeDecoder().tryDecode<PackIndex>(text);
  if (!again) return "what was encoded does not decode";
  if (!(*again == index)) return "the index changes on its way through its encoding";
  return std::nullopt;
}

/// The rules of a look-up of one entry, whatever its index says: bytes of the pack, or nothing.
inline std::optional<std::string> brokenLookUpRule(PackFolder& folder, const PackIndex& index,
                                                   const PackObjects::Entry& entry) {
  auto& cache = folder.cache();
  const auto name = entry.key.text();
  const auto pack =
      index.namesPlainFile() ? platform::files::tryRead(folder.packs() / index.pack) : std::nullopt;
  const bool isThere = pack && entry.range.liesWithin(static_cast<std::int64_t>(pack->size()));
  const auto data = cache.data(name, folder.packs());
  if (data.has_value() != isThere) return "an object is there that is not, or the other way round";
  if (isThere && *data != pack->substr(static_cast<std::size_t>(entry.range.offset),
                                       static_cast<std::size_t>(entry.range.length)))
    return "other bytes than the pack's";
  platform::Bytes buffer;
  if (cache.read(name, folder.packs(), buffer) != isThere || (isThere && buffer != *data))
    return "the two ways to read differ";
  if (cache.holds(name, folder.packs()) != isThere) return "what is held can't be read, or is not told";
  const auto location = cache.location(name, folder.packs());
  if (location && (location->pack.parent_path() != folder.packs() || !index.namesPlainFile()))
    return "a location outside the folder";
  return std::nullopt;
}

/// The first rule that `bytes` break, as a sentence; nothing when all hold.
inline std::optional<std::string> brokenPackIndexRule(std::string_view bytes) {
  const auto index = BackupFormat::makeDecoder().tryDecode<PackIndex>(bytes);
  if (index)
    if (auto broken = brokenRuleOf(*index)) return broken;

  static PackFolder folder;
  platform::files::atomicWrite(bytes, folder.index());
  folder.cache().invalidate(folder.packs());
  if (PackStore::readIndex(folder.index()) != index) return "the file says something else than its bytes";
  if (!index) return std::nullopt;
  for (const auto& entry : index->objects.entries)
    if (auto broken = brokenLookUpRule(folder, *index, entry)) return broken;
  for (const auto& [name, range] : index->objects.others)
    if (folder.cache().location(name, folder.packs())) return "a foreign name has a location";
  return std::nullopt;
}

}  // namespace orvik::fuzz
