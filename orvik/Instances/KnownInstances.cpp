#include "orvik/Instances/KnownInstances.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <utility>

#include "OrvikCore/Config/InstanceStore.h"
#include "OrvikCore/Config/ManagedInstances.h"
#include "Platform/Locale/Text.h"
#include "orvik/ExitStatus.h"
#include "orvik/Instances/InstanceFile.h"

namespace orvik::host {

namespace {

using platform::locale::lowercased;

std::vector<std::string> namesOf(const std::vector<InstanceConfig>& instances) {
  std::vector<std::string> names;
  for (const auto& each : instances) names.push_back(each.name);
  return names;
}

}  // namespace

KnownInstances::KnownInstances(const HostPlaces& places) {
  if (const auto forced = places.managed->object("ManagedInstances")) {
    auto managed = ManagedInstances::parse(*forced);
    warnings_ = std::move(managed.warnings);
    for (auto& each : managed.instances) add(std::move(each));
  }
  const InstanceStore store(places.data);
  if (!InstanceFile::isReadable(store)) warnings_.push_back(InstanceFile::damaged(store));
  for (auto& each : store.load()) add(std::move(each));
}

void KnownInstances::add(InstanceConfig instance) {
  if (std::ranges::find(instances_, instance.id, &InstanceConfig::id) == instances_.end())
    instances_.push_back(std::move(instance));
}

const InstanceConfig& KnownInstances::named(std::string_view name) const {
  const auto wanted = lowercased(name);
  std::vector<const InstanceConfig*> found;
  const auto look = [&](const auto& textOf) {
    if (!found.empty()) return;
    for (const auto& each : instances_)
      if (lowercased(textOf(each)) == wanted) found.push_back(&each);
  };
  look([](const InstanceConfig& each) { return each.name; });
  look([](const InstanceConfig& each) { return each.id.text(); });
  look([](const InstanceConfig& each) { return each.descriptor().slug; });
  if (found.size() == 1) return *found.front();
  if (found.size() > 1) {
    std::vector<std::string> ids;
    for (const auto* each : found) ids.push_back(each->id.text());
    throw UsageError(fmt::format("{} instances are called {}; name one by its ID: {}.", found.size(), name,
                                 fmt::join(ids, ", ")));
  }
  if (instances_.empty())
    throw NotFoundError(fmt::format(
        "There is no instance {}: none is registered. Register a server with orvik instances add.", name));
  throw NotFoundError(
      fmt::format("There is no instance {}. There are: {}.", name, fmt::join(namesOf(instances_), ", ")));
}

}  // namespace orvik::host
