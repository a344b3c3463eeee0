#include "OrvikCore/Engine/SectionDelta.h"

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace orvik {

namespace {

using Change = IndexItem::Change;

std::optional<std::string> fileHash(const IndexItem& item) {
  return item.file ? item.file->sha256 : std::nullopt;
}

Change changeOf(const IndexItem& item, const IndexItem* before) {
  if (!before) return Change::new_;
  const bool same = item.objects == before->objects && fileHash(item) == fileHash(*before);
  return same ? Change::unchanged : Change::changed;
}

}  // namespace

ChangeCounts applyDelta(SectionIndex& index, const SectionIndex* parent) {
  std::unordered_map<std::string_view, const IndexItem*> before;
  if (parent)
    for (const auto& item : parent->items) before.insert_or_assign(item.id, &item);

  ChangeCounts counts;
  std::unordered_set<std::string_view> present;
  for (auto& item : index.items) {
    const auto match = before.find(item.id);
    item.change = changeOf(item, match == before.end() ? nullptr : match->second);
    counts.new_ += item.change == Change::new_;
    counts.changed += item.change == Change::changed;
    counts.unchanged += item.change == Change::unchanged;
    present.insert(item.id);
  }

  index.removed.clear();
  if (parent)
    for (const auto& item : parent->items)
      if (!present.contains(item.id)) index.removed.push_back({item.id, item.name});

  counts.total = static_cast<int>(index.items.size());
  counts.removed = static_cast<int>(index.removed.size());
  counts.failed = static_cast<int>(index.errors.size());
  return counts;
}

}  // namespace orvik
