#include "orvik/Schedule/DueRuns.h"

#include <algorithm>

namespace orvik::host {

std::vector<DueRuns> DueRuns::of(const std::vector<ScheduledRun>& runs, platform::Date now) {
  std::vector<DueRuns> due;
  for (const auto& run : ScheduleStore::partition(runs, now).due) {
    auto found = std::ranges::find(due, run.instanceID, &DueRuns::instanceID);
    if (found == due.end()) found = due.insert(due.end(), {run.instanceID, {}});
    found->runs.push_back(run);
  }
  return due;
}

}  // namespace orvik::host
