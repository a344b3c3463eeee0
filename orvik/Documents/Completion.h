#pragma once

#include <string>

#include "orvik/CommandTable.h"

namespace orvik::host::completion {

// Scripts with which a shell completes commands, options and values of `orvik`. Pure.

/// For bash 4.4 and later; needs nothing else.
std::string bash(const CommandDescription& program);
/// For zsh 5; goes into a folder of `fpath` as `_orvik`.
std::string zsh(const CommandDescription& program);
/// For fish 3.
std::string fish(const CommandDescription& program);

}  // namespace orvik::host::completion
