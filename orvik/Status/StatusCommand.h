#pragma once

#include <stop_token>

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/HostPlaces.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

/// `orvik status`: how old the last backup of each instance is. `overdue` when that is too old for one;
/// `NotFoundError` when there is neither an instance nor a folder of one. Takes no lock and changes nothing.
/// Throws what `describe` knows.
ExitStatus status(const StatusArguments& arguments, const HostPlaces& places, Results& results,
                  const std::stop_token& stop);

}  // namespace orvik::host
