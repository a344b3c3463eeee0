#include "OrvikCore/Explore/Haystack.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "OrvikCore/Explore/BackupReader.h"
#include "OrvikCore/Explore/NaturalOrder.h"
#include "OrvikCore/Explore/SearchText.h"
#include "Platform/Concurrency/TaskGroup.h"

namespace orvik {

namespace {

using Straws = std::vector<Haystack::Straw>;

Straws sortedStraws(const SectionIndex& index) {
  Straws straws;
  straws.reserve(index.items.size());
  for (const auto& item : index.items)
    straws.push_back({&index, &item, searchText::folded(BackupReader::Entry::displayNameOf(item))});
  return inNaturalOrder(std::move(straws), [](const Haystack::Straw& straw) {
    return BackupReader::Entry::displayNameOf(*straw.item);
  });
}

}  // namespace

Haystack::Haystack(const BackupReader& reader) {
  std::vector<std::string> ids;
  for (const auto& section : reader.sections())
    if (isSearched(section.summary)) ids.push_back(section.summary.id);
  indexes_.resize(ids.size());
  std::vector<Straws> straws(ids.size());
  platform::TaskGroup<Straws>::run(
      ids.size(), std::thread::hardware_concurrency(), {},
      [&](std::size_t i, const std::stop_token&) {
        indexes_[i] = reader.index(ids[i]);
        return indexes_[i] ? sortedStraws(*indexes_[i]) : Straws();
      },
      [&](std::size_t i, Straws found) { straws[i] = std::move(found); });
  isComplete_ = std::ranges::all_of(indexes_, [](const auto& index) { return index.has_value(); });
  for (auto& section : straws) std::ranges::move(section, std::back_inserter(straws_));
}

bool isSearched(const SectionSummary& section) {
  return section.index && section.counts.total + section.counts.removed > 0;
}

}  // namespace orvik
