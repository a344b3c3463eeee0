#pragma once

#include <stop_token>

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

/// `orvik lock show`. Throws what `describe` knows.
ExitStatus showLock(const ShowLockArguments& arguments, Results& results);

/// `orvik lock unlock`: removes a lock that is stale or no lock at all, and with force one that is not.
/// Throws the same, and `BackupEngineError` (locked) for one that stays because its holder may be alive.
ExitStatus unlock(const UnlockArguments& arguments, Results& results, const std::stop_token& stop);

}  // namespace orvik::host
