#pragma once

#include <stop_token>

#include "Platform/SecretString.h"
#include "orvik/Arguments.h"
#include "orvik/Backup/BackupSession.h"
#include "orvik/HostPlaces.h"
#include "orvik/Instances/InstanceSecrets.h"

namespace orvik::host {

/// The one server that the arguments name. Throws as `KnownInstances::named`, `registered` and `serverURL`
/// do.
ChosenServer chosenServer(const ServerArguments& arguments, const HostPlaces& places);

/// What the command line and its surroundings say, and for a registered server its own secret after that.
/// `environmentSecret` may be empty. Throws `CredentialError` and `platform::CancellationError`.
SecretSupply chosenSecret(const ChosenServer& server, const ServerArguments& arguments,
                          platform::SecretString environmentSecret, const std::stop_token& stop);

}  // namespace orvik::host
