#pragma once

#include <string_view>

#include "Platform/Date.h"

namespace orvik {

/// How far clocks of two machines may be apart before a person should know: a run that begins in the second
/// of another takes the next free ID.
constexpr std::chrono::minutes clockTolerance{1};

/// Whether a backup was made by a clock that is ahead of this machine's, or is dated so.
bool liesAhead(std::string_view backupID, platform::Date finishedAt, platform::Date now);

}  // namespace orvik
