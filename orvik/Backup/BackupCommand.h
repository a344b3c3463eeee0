#pragma once

#include <stop_token>

#include "Platform/SecretString.h"
#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/HostPlaces.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

/// `orvik backup`. `environmentSecret` may be empty. Throws what `describe` knows.
ExitStatus backup(const BackupArguments& arguments, platform::SecretString environmentSecret,
                  const HostPlaces& places, Results& results, const std::stop_token& stop);

/// `orvik simulate`. The same.
ExitStatus simulate(const SimulationArguments& arguments, platform::SecretString environmentSecret,
                    const HostPlaces& places, Results& results, const std::stop_token& stop);

}  // namespace orvik::host
