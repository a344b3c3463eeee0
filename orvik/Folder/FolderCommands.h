#pragma once

#include <stop_token>

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

// The commands that keep a folder small. Each takes the folder's lock, keeps it alive while it works, and
// gives it back in any case; a dry run takes none and changes nothing. All throw what `describe` knows.

/// `orvik pack`.
ExitStatus pack(const PackArguments& arguments, Results& results, const std::stop_token& stop);

/// `orvik gc`.
ExitStatus collect(const CollectArguments& arguments, Results& results, const std::stop_token& stop);

/// `orvik retention`.
ExitStatus retain(const RetentionArguments& arguments, Results& results, const std::stop_token& stop);

}  // namespace orvik::host
