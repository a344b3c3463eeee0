#include "BackupPlaybook/BackupPlaybook.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "Platform/Concurrency/Cancellation.h"
#include "TuvCore/Error.h"

namespace orvik {

namespace {

using jamf::PlaybookResource;
using jamf::PlaybookSmartGroup;
using Entry = BackupReader::Entry;
using Resources = std::vector<PlaybookResource>;

CategoryNames categoriesOf(const BackupReader& backup) {
  CategoryNames names;
  if (const auto index = backup.index("categories"))
    for (const auto& item : index->items)
      if (item.name) names.emplace(item.id, *item.name);
  return names;
}

ConvertedObject convert(const BackupReader& backup, const PlaybookSection& section, const Entry& entry,
                        const CategoryNames& categories) {
  if (entry.error) return {.reason = "the backup could not read it: " + *entry.error};
  if (entry.item.objects.empty()) return {.reason = "the backup holds no record of it"};
  try {
    auto made = section.convert(backup.json(entry.item.objects.begin()->second), categories);
    if (made.resource && made.resource->name().empty()) return {.reason = "it has no name"};
    return made;
  } catch (const tuv::Error& error) {
    return {.reason = error.description()};
  }
}

/// Groups in an order in which each follows those whose members it asks for; of a circle, which no server
/// takes, the first stays first.
class GroupOrder {
 public:
  explicit GroupOrder(Resources groups) : groups_(std::move(groups)), isPlaced_(groups_.size()) {}

  Resources take() {
    for (std::size_t i = 0; i < groups_.size(); ++i) place(i);
    return std::move(placed_);
  }

 private:
  /// Deeper nesting than any server has ends where it is, rather than the stack.
  void place(std::size_t index, int depth = 0) {
    constexpr int deepest = 1000;
    if (isPlaced_[index]) return;
    isPlaced_[index] = true;
    const auto criteria = std::get<PlaybookSmartGroup>(groups_[index].record).criteria;
    if (criteria && depth < deepest)
      for (const auto& each : *criteria)
        if (const auto other = each.field == "Computer Group" ? find(each.value) : std::nullopt)
          place(*other, depth + 1);
    placed_.push_back(std::move(groups_[index]));
  }
  std::optional<std::size_t> find(const std::string& name) const {
    const auto found = indexes_.find(name);
    return found == indexes_.end() ? std::nullopt : std::optional(found->second);
  }
  std::map<std::string, std::size_t> indexesOf() const {
    std::map<std::string, std::size_t> found;
    for (std::size_t i = 0; i < groups_.size(); ++i) found.emplace(groups_[i].name(), i);
    return found;
  }

  Resources groups_;
  std::vector<bool> isPlaced_;
  const std::map<std::string, std::size_t> indexes_ = indexesOf();
  Resources placed_;
};

}  // namespace

Resources playbookResources(const BackupReader& backup, const std::vector<const PlaybookSection*>& sections,
                            const std::function<void(const PlaybookLoss&)>& onLoss,
                            const std::stop_token& stop) {
  const auto categories = categoriesOf(backup);
  Resources all;
  for (const auto& section : playbookSections()) {
    if (std::ranges::find(sections, &section) == sections.end()) continue;
    Resources made;
    std::set<std::string> names;
    for (const auto& entry : backup.entries(section.id)) {
      platform::throwIfCancelled(stop);
      if (entry.removed) continue;
      auto object = convert(backup, section, entry, categories);
      if (object.resource && !names.insert(object.resource->name()).second)
        object = {.reason = "another one has its name"};
      for (auto& field : object.lost)
        onLoss({&section, entry.item.id, entry.displayName(), std::move(field), {}});
      if (object.resource)
        made.push_back(*std::move(object.resource));
      else
        onLoss({&section, entry.item.id, entry.displayName(), {}, std::move(object.reason)});
    }
    if (section.id == "computerGroups") made = GroupOrder(std::move(made)).take();
    std::ranges::move(made, std::back_inserter(all));
  }
  return all;
}

}  // namespace orvik
