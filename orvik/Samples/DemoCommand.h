#pragma once

#include <stop_token>

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

/// `orvik demo`: backs a made-up server up twice with changes in between, shows what changed, and lets
/// `orvikctl` list and verify the folder. The folder stays. Throws what `describe` knows.
ExitStatus demo(const DemoArguments& arguments, Results& results, const std::stop_token& stop);

}  // namespace orvik::host
