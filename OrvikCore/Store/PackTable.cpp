#include "OrvikCore/Store/PackTable.h"

#include <algorithm>
#include <bit>

#include "OrvikCore/Format/BackupFormat.h"

namespace orvik {

namespace {

constexpr std::size_t fewestSlots = 64;

/// Three slots in four are taken at most.
std::size_t slotsFor(std::size_t count) {
  return std::bit_ceil(std::max(fewestSlots, count + count / 3 + 1));
}

}  // namespace

std::shared_ptr<const PackContent> PackContent::of(std::string indexName, const PackIndex& index) {
  if (!index.namesPlainFile()) return nullptr;
  auto content = std::make_shared<PackContent>();
  content->indexName = std::move(indexName);
  content->packName = index.pack;
  content->entries.reserve(index.objects.entries.size());
  for (const auto& [key, range] : index.objects.entries)
    if (range.liesWithin(INT64_MAX) && range.length <= static_cast<std::int64_t>(BackupFormat::objectLimit))
      content->entries.push_back({key, range.offset, range.length});
  return content;
}

void PackTable::add(std::shared_ptr<const PackContent> pack) {
  packs_.push_back(std::move(pack));
  const std::size_t needed = slotsFor(count_ + packs_.back()->entries.size());
  if (needed > slots_.size())
    rebuild(needed);
  else
    insertAll(static_cast<std::uint32_t>(packs_.size()));
}

void PackTable::insertAll(std::uint32_t pack) {
  const auto& entries = packs_[pack - 1]->entries;
  const std::size_t mask = slots_.size() - 1;
  for (std::uint32_t entry = 0; entry < entries.size(); ++entry) {
    std::size_t slot = entries[entry].key.spread() & mask;
    while (slots_[slot].pack != 0) slot = (slot + 1) & mask;
    slots_[slot] = {pack, entry};
  }
  count_ += entries.size();
}

void PackTable::rebuild(std::size_t slots) {
  slots_.assign(slots, Slot());
  count_ = 0;
  for (std::uint32_t pack = 1; pack <= packs_.size(); ++pack) insertAll(pack);
}

}  // namespace orvik
