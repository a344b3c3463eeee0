#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "OrvikCore/Format/SectionIndex.h"
#include "Platform/JSON/View.h"

namespace orvik {

struct BackupReader;

/// The index of a section as it was parsed: for passing over many thousand items of which few are wanted.
/// Immutable; any thread may use it.
class IndexView {
 public:
  /// Valid as long as its index.
  struct Item {
    std::string_view id;
    platform::json::View value;
  };

  /// Nothing for an index that can't be read, opened or parsed, or has items without an ID or objects. What
  /// else an item states is looked at when it is made a record.
  static std::optional<IndexView> of(const BackupReader& reader, std::string_view sectionID);

  const std::vector<Item>& items() const { return items_; }
  const std::vector<RemovedItem>& removed() const { return removed_; }
  const std::vector<ItemError>& errors() const { return errors_; }

  /// Throws `platform::json::DecodingError`.
  static IndexItem record(const Item& item);
  /// Whether two items refer to the same objects and file of the store.
  static bool refersToTheSame(const Item& one, const Item& other);

 private:
  std::shared_ptr<const platform::json::Document> document_;
  std::vector<Item> items_;
  std::vector<RemovedItem> removed_;
  std::vector<ItemError> errors_;
};

}  // namespace orvik
