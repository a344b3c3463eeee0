#pragma once

#include <vector>

#include "OrvikCore/Config/ScheduleStore.h"

namespace orvik::host {

/// The due runs of one instance; a single backup makes good for all of them.
struct DueRuns {
  platform::UUID instanceID;
  std::vector<ScheduledRun> runs;  ///< not empty, the earliest first

  bool operator==(const DueRuns&) const = default;

  /// Those that are due at `now`, the instance that has waited longest first. Requires: `runs` is ordered by
  /// date.
  static std::vector<DueRuns> of(const std::vector<ScheduledRun>& runs, platform::Date now);
};

}  // namespace orvik::host
