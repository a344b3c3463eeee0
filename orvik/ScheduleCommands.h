#pragma once

#include <stop_token>

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/Output.h"

namespace orvik::host {

// The commands on this user's schedule. All throw what `describe` knows; a schedule that can't be read is
// never written over.

/// `orvik schedule list`.
ExitStatus listRuns(const ListRunsArguments& arguments, Results& results);

/// `orvik schedule add`.
ExitStatus addRun(const AddRunArguments& arguments, Results& results, const std::stop_token& stop);

/// `orvik schedule remove`. `NotFoundError` when no run fits.
ExitStatus removeRuns(const RemoveRunsArguments& arguments, Results& results, const std::stop_token& stop);

}  // namespace orvik::host
