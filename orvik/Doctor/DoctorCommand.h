#pragma once

#include <stop_token>

#include "Platform/SecretString.h"
#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/HostPlaces.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

/// `orvik doctor`: what stands in the way of a backup, and what will. `failed` or `credential` when a backup
/// would fail; warnings are `done`. `environmentSecret` may be empty. Throws what `describe` knows.
ExitStatus examine(const DoctorArguments& arguments, platform::SecretString environmentSecret,
                   const HostPlaces& places, Results& results, const std::stop_token& stop);

}  // namespace orvik::host
