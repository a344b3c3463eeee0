#pragma once

#include <stop_token>

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/HostPlaces.h"
#include "orvik/Output.h"

namespace orvik::host {

/// `orvik browse`: shows backups in the browser, on an address of this machine that it prints, until it is
/// stopped. Takes no lock and writes nothing into the folders. Throws what `describe` knows.
ExitStatus browse(const BrowseArguments& arguments, const HostPlaces& places, Results& results,
                  const std::stop_token& stop);

}  // namespace orvik::host
