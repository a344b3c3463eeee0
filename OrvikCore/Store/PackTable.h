#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "OrvikCore/Store/ObjectKey.h"
#include "OrvikCore/Store/PackIndex.h"

namespace orvik {

/// The readable entries of one pack, as look-ups want them: 48 bytes each. Never changes once made.
struct PackContent {
  struct Entry {
    ObjectKey key;
    std::int64_t offset;
    std::int64_t length;
  };

  std::string indexName;
  std::string packName;
  std::vector<Entry> entries;

  /// Without the entries that can't be read; null for an index whose pack is no plain file of its folder.
  static std::shared_ptr<const PackContent> of(std::string indexName, const PackIndex& index);
};

/// Which packs hold an object: a flat table of open addressing over the entries of all packs, 8 bytes a slot.
/// Packs come one by one, in any order; each costs what it holds. Reading is for any thread, changing for one
/// alone. Of an object that more than eight packs hold eight are known.
class PackTable {
 public:
  void add(std::shared_ptr<const PackContent> pack);
  /// Drops every pack whose index `isGone`.
  template <class IsGone>
  void dropIf(const IsGone& isGone);

  /// Calls `take(pack, entry)`, `pack` being the shared content, for every pack that holds the object, in no
  /// order.
  template <class Take>
  void find(const ObjectKey& key, const Take& take) const;

  const std::vector<std::shared_ptr<const PackContent>>& packs() const noexcept { return packs_; }

 private:
  struct Slot {
    std::uint32_t pack = 0;  ///< its position in packs_ and 1; 0 is a free slot
    std::uint32_t entry = 0;
  };
  void insertAll(std::uint32_t pack);
  /// Enters all packs into empty slots.
  void fill();

  std::vector<std::shared_ptr<const PackContent>> packs_;
  std::vector<Slot> slots_;  ///< a power of two of them
  std::size_t count_ = 0;
};

template <class IsGone>
void PackTable::dropIf(const IsGone& isGone) {
  if (std::erase_if(packs_, [&](const auto& pack) { return isGone(*pack); }) == 0) return;
  std::ranges::fill(slots_, Slot());
  fill();
}

template <class Take>
void PackTable::find(const ObjectKey& key, const Take& take) const {
  if (slots_.empty()) return;
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t slot = key.spread() & mask; slots_[slot].pack != 0; slot = (slot + 1) & mask) {
    const auto& pack = packs_[slots_[slot].pack - 1];
    const auto& entry = pack->entries[slots_[slot].entry];
    if (entry.key == key) take(pack, entry);
  }
}

}  // namespace orvik
