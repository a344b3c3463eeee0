#include "JamfCore/Automation/PlaybookRunner.h"

#include <fmt/format.h>

#include <algorithm>

#include "JamfCore/Automation/ResourceKinds.h"
#include "Platform/Concurrency/Cancellation.h"
#include "TuvCore/Error.h"
#include "TuvCore/Log.h"

namespace jamf {

namespace {

using Action = PlaybookPlan::Action;
using resources::Categories;

const tuv::CategoryLogger& logger() {
  static const tuv::CategoryLogger instance{"playbook"};
  return instance;
}

using resources::Tools;

// The kind of each declaration.
resources::SmartGroups kindOf(const PlaybookSmartGroup&, const Tools& tools) { return {tools}; }
resources::Policies kindOf(const PlaybookPolicy&, const Tools& tools) { return {tools}; }
resources::Scripts kindOf(const PlaybookScript&, const Tools& tools) { return {tools}; }
resources::ConfigurationProfiles kindOf(const PlaybookConfigurationProfile&, const Tools& tools) {
  return {tools};
}
resources::ExtensionAttributes kindOf(const PlaybookComputerExtensionAttribute&, const Tools& tools) {
  return {tools};
}
resources::Packages kindOf(const PlaybookPackage&, const Tools& tools) { return {tools}; }

/// What one resource asks of the server.
struct Step {
  Action action = Action::unchanged;
  FieldDifferences differences = {};
};

/// Finds out what a resource asks for, and does it unless `dryRun`.
template <class Declared>
Step take(const Tools& tools, const Declared& declared, bool dryRun) {
  auto kind = kindOf(declared, tools);
  if (declared.state == PlaybookResourceState::absent) {
    const auto object = kind.find(declared);
    if (!object) return {};
    if (!dryRun) kind.remove(*object);
    return {Action::delete_};
  }
  kind.prepare(declared);
  const auto object = kind.find(declared);
  if (!object) {
    if (!dryRun) kind.create(declared);
    return {Action::create};
  }
  auto differences = kind.differences(declared, *object);
  if (differences.empty()) return {};
  if (!dryRun) kind.update(*object, declared);
  return {Action::update, std::move(differences)};
}

/// The same with a failure as an entry. Throws `CancellationError` when what failed was stopped.
PlaybookPlan::Entry entryOf(const Tools& tools, const PlaybookResource& resource, bool dryRun) {
  PlaybookPlan::Entry entry;
  entry.typeLabel = resource.typeLabel();
  entry.name = resource.name();
  platform::throwIfCancelled(tools.stop);
  try {
    auto step =
        std::visit([&](const auto& declared) { return take(tools, declared, dryRun); }, resource.record);
    entry.action = step.action;
    entry.differences = std::move(step.differences);
  } catch (const tuv::Error& error) {
    platform::throwIfCancelled(tools.stop);
    entry.action = Action::failed;
    entry.message = error.description();
  }
  return entry;
}

ResourceOutcome outcomeOf(const PlaybookPlan::Entry& entry) {
  using Case = ResourceOutcome::Case;
  switch (entry.action) {
    case Action::create:
      return {Case::created};
    case Action::update:
      return {Case::updated};
    case Action::delete_:
      return {Case::deleted};
    case Action::unchanged:
      return {Case::unchanged};
    case Action::failed:
      break;
  }
  return ResourceOutcome::failed(entry.message.value_or(""));
}

std::string textOf(const ResourceOutcome& outcome) {
  std::string text(platform::json::textOf(outcome.which));
  return outcome.message.empty() ? text : text + ": " + outcome.message;
}

}  // namespace

bool PlaybookPlan::hasChanges() const {
  return std::ranges::any_of(entries, [](const Entry& entry) {
    return entry.action != Action::unchanged && entry.action != Action::failed;
  });
}

bool PlaybookPlan::hasFailures() const {
  return std::ranges::any_of(entries, [](const Entry& entry) { return entry.action == Action::failed; });
}

PlaybookRunResult PlaybookRunner::run(const Playbook& playbook, bool dryRun, const std::stop_token& stop,
                                      const OnEntry& onEntry) const {
  const std::size_t count = playbook.resources.size();
  PlaybookRunResult result;
  result.startedAt = platform::now();
  logger().notice(
      fmt::format("playbook \"{}\" starting: {} resources, dryRun={}", playbook.name, count, dryRun));
  const Tools tools{client, Categories::ensured, stop};
  for (const auto& resource : playbook.resources) {
    const auto started = platform::MonotonicClock::now();
    const auto entry = entryOf(tools, resource, dryRun);
    result.entries.push_back({entry.typeLabel, entry.name, outcomeOf(entry)});
    const std::chrono::duration<double> taken = platform::MonotonicClock::now() - started;
    logger().notice(fmt::format("[{}/{}] {} \"{}\": {} in {:.1f}s", result.entries.size(), count,
                                entry.typeLabel, entry.name, textOf(result.entries.back().outcome),
                                taken.count()));
    if (onEntry) onEntry(result.entries.back());
  }
  logger().notice(fmt::format("playbook \"{}\" finished: {} resources", playbook.name, count));
  result.finishedAt = platform::now();
  return result;
}

PlaybookPlan PlaybookRunner::plan(const Playbook& playbook, const std::stop_token& stop) const {
  const Tools tools{client, Categories::lookedUp, stop};
  PlaybookPlan plan;
  for (const auto& resource : playbook.resources) plan.entries.push_back(entryOf(tools, resource, true));
  return plan;
}

}  // namespace jamf
