#pragma once

#include <stop_token>

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

/// `orvik sample-server`: tells where the server is and who may ask, and serves until a stop, which it throws
/// as `platform::CancellationError`. The secret's file goes with it.
ExitStatus sampleServer(const SampleServerArguments& arguments, Results& results,
                        const std::stop_token& stop);

}  // namespace orvik::host
