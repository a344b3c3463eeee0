#pragma once

#include <stop_token>

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/HostPlaces.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

/// `orvik export-server`. Ends with `failed` when an object could not be exported. Throws what `describe`
/// knows, before it makes a folder where the server gives no answer; what was written when it is stopped
/// stays.
ExitStatus exportServer(const ExportServerArguments& arguments, const HostPlaces& places, Results& results,
                        const std::stop_token& stop);

}  // namespace orvik::host
