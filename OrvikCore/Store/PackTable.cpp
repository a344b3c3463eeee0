#include "OrvikCore/Store/PackTable.h"

#include <algorithm>
#include <bit>

#include "OrvikCore/Format/BackupFormat.h"

namespace orvik {

namespace {

constexpr std::size_t fewestSlots = 64;
/// Of one object. More are left out: a folder full of copies of one pack must not make every step slower.
constexpr int mostCopies = 8;

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
  const std::size_t needed = slotsFor(count_ + pack->entries.size());
  packs_.reserve(packs_.size() + 1);
  std::vector<Slot> larger(needed > slots_.size() ? needed : 0);  // what can fail comes first
  packs_.push_back(std::move(pack));
  if (larger.empty()) return insertAll(static_cast<std::uint32_t>(packs_.size()));
  slots_ = std::move(larger);
  fill();
}

void PackTable::insertAll(std::uint32_t pack) {
  const auto& entries = packs_[pack - 1]->entries;
  const std::size_t mask = slots_.size() - 1;
  for (std::uint32_t entry = 0; entry < entries.size(); ++entry) {
    std::size_t slot = entries[entry].key.spread() & mask;
    int copies = 0;
    for (; slots_[slot].pack != 0 && copies < mostCopies; slot = (slot + 1) & mask)
      if (packs_[slots_[slot].pack - 1]->entries[slots_[slot].entry].key == entries[entry].key) ++copies;
    if (copies == mostCopies) continue;
    slots_[slot] = {pack, entry};
    ++count_;
  }
}

void PackTable::fill() {
  count_ = 0;
  for (std::uint32_t pack = 1; pack <= packs_.size(); ++pack) insertAll(pack);
}

}  // namespace orvik
