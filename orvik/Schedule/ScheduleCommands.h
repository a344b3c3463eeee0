#pragma once

#include <stop_token>

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/HostPlaces.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

// The commands on this user's schedule. All throw what `describe` knows; a schedule that can't be read is
// never written over.

/// `orvik schedule list`.
ExitStatus listRuns(const ListRunsArguments& arguments, const HostPlaces& places, Results& results);

/// `orvik schedule add`.
ExitStatus addRun(const AddRunArguments& arguments, const HostPlaces& places, Results& results,
                  const std::stop_token& stop);

/// `orvik schedule remove`. `NotFoundError` when no run fits.
ExitStatus removeRuns(const RemoveRunsArguments& arguments, const HostPlaces& places, Results& results,
                      const std::stop_token& stop);

/// `orvik schedule run`: makes the backups that are due, one for each instance, and takes their runs from the
/// schedule once they are published. `BusyError` while another process does so.
ExitStatus runSchedule(const RunScheduleArguments& arguments, const HostPlaces& places, Results& results,
                       const std::stop_token& stop);

}  // namespace orvik::host
