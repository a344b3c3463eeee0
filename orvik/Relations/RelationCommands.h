#pragma once

#include <stop_token>

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/HostPlaces.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

// Each only reads, and throws what `describe` knows: `NotFoundError` for what the server doesn't have.

/// `orvik relations group`.
ExitStatus relateGroup(const GroupRelationsArguments& arguments, const HostPlaces& places, Results& results,
                       const std::stop_token& stop);

/// `orvik relations device`.
ExitStatus relateDevice(const DeviceRelationsArguments& arguments, const HostPlaces& places, Results& results,
                        const std::stop_token& stop);

/// `orvik relations attribute`.
ExitStatus relateAttribute(const AttributeRelationsArguments& arguments, const HostPlaces& places,
                           Results& results, const std::stop_token& stop);

}  // namespace orvik::host
