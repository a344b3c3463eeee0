#pragma once

#include <string>
#include <vector>

namespace orvik::host {

/// The whole program: `arguments` without its name. Returns the exit status. Call it once, on a process's
/// main thread before there are others.
int run(const std::vector<std::string>& arguments);

}  // namespace orvik::host
