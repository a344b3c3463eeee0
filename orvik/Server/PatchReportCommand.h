#pragma once

#include <stop_token>

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/HostPlaces.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

/// `orvik patch-report`. Everything is read before a file is written, and each file appears whole. Throws
/// what `describe` knows: `NotFoundError` that lists the titles for one that isn't there.
ExitStatus reportPatches(const PatchReportArguments& arguments, const HostPlaces& places, Results& results,
                         const std::stop_token& stop);

}  // namespace orvik::host
