#include "OrvikCore/Engine/DeviceSection.h"

#include <algorithm>
#include <utility>

#include "OrvikCore/Jamf/RequestOutcome.h"
#include "Platform/Concurrency/Cancellation.h"

namespace orvik {

namespace {

constexpr int pageSize = 500;
constexpr const char* pro = "pro";
constexpr const char* classic = "classic";

}  // namespace

SectionReading DeviceSection::read(const std::stop_token& stop) {
  if (!readList(stop)) return {};
  takeParent();
  SectionReading reading;
  reading.sources = {{"list", spec_.list}, {pro, spec_.detail("{id}")}, {classic, spec_.classic("{id}")}};
  reading.outcomes = mapper_.mapConcurrently(
      entries_, {},
      [this](const ListEntry& entry, const std::stop_token& token) { return readDevice(entry, token); },
      stop);
  return reading;
}

bool DeviceSection::readList(const std::stop_token& stop) {
  try {
    return readPages(spec_.list, spec_.listQuery, stop);
  } catch (const std::exception& error) {
    platform::throwIfCancelled(stop);
    if (!spec_.fallbackList || RequestOutcome::classify(error).kind != RequestOutcome::Kind::notFound) throw;
  }
  // A list that vanished between two pages would leave its devices behind.
  entries_.clear();
  markers_.clear();
  return readPages(*spec_.fallbackList, {}, stop);
}

bool DeviceSection::readPages(const std::string& path, const std::vector<jamf::QueryItem>& query,
                              const std::stop_token& stop) {
  const auto takeAll = [this](const std::vector<JSONTree>& elements) {
    for (const auto& element : elements) take(element);
  };
  return !proPages(context_.pipeline, path, query, pageSize, takeAll, stop);
}

void DeviceSection::take(const JSONTree& element) {
  auto id = element.first(spec_.idPaths);
  if (!id) return;
  if (auto marker = element.first(spec_.markerPaths))
    markers_.insert_or_assign(*id, std::move(*marker));
  else
    markers_.erase(*id);
  entries_.push_back({std::move(*id), element.first(spec_.namePaths), {}, {}});
}

void DeviceSection::takeParent() {
  if (const auto* index = mapper_.parentIndex())
    for (const auto& item : index->items) parent_.insert_or_assign(item.id, &item);
}

IndexItem DeviceSection::readDevice(const ListEntry& entry, const std::stop_token& stop) const {
  const auto known = markers_.find(entry.id);
  const auto marker = known == markers_.end() ? std::nullopt : Marker(known->second);
  IndexItem item;
  item.id = entry.id;
  item.name = entry.name;
  item.marker = marker;
  if (const auto* before = reusable(entry.id, marker)) {
    item.objects = before->objects;
    if (!item.name) item.name = before->name;
    return item;
  }
  if (context_.isSimulation()) {
    // No stored object has such a name, so the device counts as changed.
    item.objects.emplace(pro, "unread:" + marker.value_or("-"));
    return item;
  }
  mapper_.requirePathComponent(entry.id);
  item.objects.emplace(pro, mapper_.storeObject(context_.pipeline.get(spec_.detail(entry.id), {}, stop)));
  if (context_.job.options.includeClassicDeviceRecords) readClassic(entry, item, stop);
  return item;
}

const IndexItem* DeviceSection::reusable(const std::string& id, const Marker& marker) const {
  const auto& options = context_.job.options;
  if (!context_.reuseParentObjects || options.forceFullDeviceRefresh || !marker) return nullptr;
  const auto found = parent_.find(id);
  if (found == parent_.end() || found->second->marker != marker) return nullptr;
  const auto& objects = found->second->objects;
  if (!objects.contains(pro) || (options.includeClassicDeviceRecords && !objects.contains(classic)))
    return nullptr;
  const bool areThere = std::ranges::all_of(objects, [this](const auto& object) {
    return context_.store.hasContent(object.second, ObjectStore::IncludingOverlay::yes);
  });
  return areThere ? found->second : nullptr;
}

/// A role without the right to Classic records doesn't spoil the device.
void DeviceSection::readClassic(const ListEntry& entry, IndexItem& item, const std::stop_token& stop) const {
  platform::Bytes body;
  try {
    body = context_.pipeline.get(spec_.classic(entry.id), {}, stop);
  } catch (const std::exception& error) {
    platform::throwIfCancelled(stop);
    const auto kind = RequestOutcome::classify(error).kind;
    if (kind != RequestOutcome::Kind::notPermitted && kind != RequestOutcome::Kind::notFound) throw;
    return;
  }
  item.objects.emplace(classic, mapper_.storeObject(body));
}

}  // namespace orvik
