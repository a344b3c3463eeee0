#pragma once

#include <stop_token>

#include "Platform/SecretString.h"
#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/HostPlaces.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

// Each throws what `describe` knows. What is wrong with managed instances, or with the file, is told as
// notes.

/// `orvik instances list`.
ExitStatus listInstances(const ListInstancesArguments& arguments, const HostPlaces& places, Results& results);

/// `orvik instances add`: the secret into the keychain, then the instance into "instances.json", in place of
/// the one with the same URL and client. When the file can't be written, the secret of a new one goes again.
ExitStatus addInstance(const AddInstanceArguments& arguments, platform::SecretString environmentSecret,
                       const HostPlaces& places, Results& results, const std::stop_token& stop);

/// `orvik instances remove`: the secret, then the instance. Backups and scheduled runs stay.
ExitStatus removeInstance(const RemoveInstanceArguments& arguments, const HostPlaces& places,
                          Results& results, const std::stop_token& stop);

/// `orvik instances test`: asks the server for its version and for what the client may do there.
ExitStatus testInstance(const TestInstanceArguments& arguments, platform::SecretString environmentSecret,
                        const HostPlaces& places, Results& results, const std::stop_token& stop);

}  // namespace orvik::host
