#pragma once

#include <chrono>
#include <string>

namespace platform::locale {

/// Hours, minutes and whole seconds, those that are zero left out: "2 hr, 4 min, 5 sec", "3 min", "0 sec". A
/// negative duration counts as none. In English.
std::string durationText(std::chrono::milliseconds duration);

}  // namespace platform::locale
