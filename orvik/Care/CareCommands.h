#pragma once

#include <stop_token>

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/HostPlaces.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

// The commands that tell how a folder is, and mend it. All throw what `describe` knows.

/// `orvik check`: damaged when any damage was found. Takes no lock; changes nothing but what the user's data
/// folder remembers of it.
ExitStatus check(const CheckArguments& arguments, const HostPlaces& places, Results& results,
                 const std::stop_token& stop);

/// `orvik repair`: damaged when some of it stays that no backup mends.
ExitStatus repair(const RepairArguments& arguments, Results& results, const std::stop_token& stop);

/// `orvik stats`. Takes no lock and changes nothing.
ExitStatus stats(const StatsArguments& arguments, Results& results, const std::stop_token& stop);

}  // namespace orvik::host
