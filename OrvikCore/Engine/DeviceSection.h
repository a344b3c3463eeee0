#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <unordered_map>
#include <vector>

#include "OrvikCore/Engine/DeviceSpec.h"
#include "OrvikCore/Engine/SectionRunner.h"

namespace orvik {

/// Reads a section of devices: tens of thousands of records, so a device whose inventory date in the list is
/// the parent backup's keeps the parent's stored objects without a request. Nowhere else are objects taken
/// from the parent unread.
///
/// Made for one section, for one `read`; what it is made of must outlive it.
class DeviceSection {
 public:
  DeviceSection(DeviceSpec spec, const RunContext& context, const SectionRunner& mapper)
      : spec_(std::move(spec)), context_(context), mapper_(mapper) {}

  /// Throws what the list's request throws, and `platform::CancellationError`.
  SectionReading read(const std::stop_token& stop);

 private:
  using Marker = std::optional<std::string>;

  /// False when the answer is no list: the section is empty then.
  bool readList(const std::stop_token& stop);
  bool readPages(const std::string& path, const std::vector<jamf::QueryItem>& query,
                 const std::stop_token& stop);
  void take(const JSONTree& element);
  void takeParent();

  IndexItem readDevice(const ListEntry& entry, const std::stop_token& stop) const;
  /// The parent's item when its objects can stand for this device's.
  const IndexItem* reusable(const std::string& id, const Marker& marker) const;
  void readClassic(const ListEntry& entry, IndexItem& item, const std::stop_token& stop) const;

  const DeviceSpec spec_;
  const RunContext& context_;
  const SectionRunner& mapper_;
  std::vector<ListEntry> entries_;
  std::unordered_map<std::string, std::string> markers_;           ///< by id
  std::unordered_map<std::string_view, const IndexItem*> parent_;  ///< by id
};

}  // namespace orvik
