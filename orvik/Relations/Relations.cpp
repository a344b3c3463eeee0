#include "orvik/Relations/Relations.h"

#include <optional>
#include <unordered_map>
#include <utility>

#include "JamfCore/Automation/MapConcurrently.h"
#include "JamfCore/Services/IfFound.h"

namespace orvik::host {

namespace {

using jamf::PolicyProfileResult;
using Groups = std::vector<jamf::ClassifiedGroup>;

/// One entry for each object that is scoped to any of the groups, with those that it is scoped to.
template <class Entry, class Summary>
std::vector<Entry> merged(const std::vector<PolicyProfileResult>& results,
                          std::vector<Summary> PolicyProfileResult::*list) {
  std::vector<Entry> entries;
  std::unordered_map<std::int64_t, std::size_t> places;
  for (std::size_t group = 0; group < results.size(); ++group) {
    for (const auto& summary : results[group].*list) {
      const auto [found, isNew] = places.emplace(summary.id, entries.size());
      if (isNew) {
        entries.emplace_back();
        entries.back().summary = summary;
      }
      entries[found->second].groups.push_back(group);
    }
  }
  return entries;
}

}  // namespace

void Relations::addTargets(const jamf::DeviceRelationshipResolver& resolver, ProgressView& view,
                           const std::stop_token& stop) {
  const auto gone = [&](std::string_view kind, std::int64_t id, const std::string& name) {
    vanished.push_back({std::string(kind), std::to_string(id), name});
  };
  const jamf::RelationWatcher watcher{
      [&](const jamf::VanishedObject& object) { gone(object.kind, object.id, object.name); },
      [&](std::size_t done, std::size_t total) { view.progress(done, total); }};
  std::vector<std::string> ids;
  for (const auto& group : groups) ids.push_back(group.id);
  view.step("Reading scopes");
  const auto results = resolver.policiesAndProfilesOfEach(ids, stop, watcher);
  profiles = merged<Profile>(results, &PolicyProfileResult::profiles);

  view.step("Reading packages and scripts");
  auto scoped = merged<Policy>(results, &PolicyProfileResult::policies);
  const auto contents = jamf::mapConcurrently(
      scoped, resolver.maxConcurrent,
      [&](const Policy& policy, const std::stop_token& groupStop) {
        return jamf::ifFound([&] { return resolver.packagesAndScripts(policy.summary.id, groupStop); });
      },
      stop);
  for (std::size_t place = 0; place < scoped.size(); ++place) {
    auto& policy = scoped[place];
    if (!contents[place]) {
      gone("policy", policy.summary.id, policy.summary.name);
      continue;
    }
    policy.contents = *contents[place];
    policies.push_back(std::move(policy));
  }
}

}  // namespace orvik::host
