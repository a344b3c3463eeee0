#pragma once

#include <functional>
#include <memory>
#include <stop_token>

#include "JamfCore/Automation/Playbook.h"
#include "JamfCore/Automation/PlaybookPlan.h"
#include "JamfCore/Automation/PlaybookRunResult.h"
#include "JamfCore/Networking/APIClient.h"

namespace jamf {

/// Makes a server match a playbook: looks each object up by name, compares, and creates, updates, deletes or
/// leaves it, one after the other in the order of the playbook. It holds nothing that changes; any thread may
/// call, and two runs may go on at once, though nothing protects the server against them.
///
/// A resource that fails doesn't stop the next one, and nothing is rolled back. A stop ends a run, which then
/// throws `platform::CancellationError`; nothing else is thrown.
struct PlaybookRunner {
  /// Told of each entry when it is done, on the calling thread.
  using OnEntry = std::function<void(const PlaybookRunResult::Entry&)>;

  std::shared_ptr<APIClient> client;

  /// A dry run stops right before each write and reports the outcome that the write would have had, with one
  /// exception: the category of a package is made all the same.
  PlaybookRunResult run(const Playbook& playbook, bool dryRun, const std::stop_token& stop = {},
                        const OnEntry& onEntry = {}) const;

  /// What a run would do, and in which fields objects differ, without writing anything at all.
  PlaybookPlan plan(const Playbook& playbook, const std::stop_token& stop = {}) const;
};

}  // namespace jamf
