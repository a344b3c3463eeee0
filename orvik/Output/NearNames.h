#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orvik::host {

/// What a refusal of an unknown name adds: "; near it: policies, scripts", with up to five of the names that
/// it may have been meant for, in their order; empty when none is near. A name is near when a slip or two of
/// the finger make the difference, or when it holds what was typed. Case and the dashes before an option
/// don't count.
std::string nearIt(std::string_view typed, const std::vector<std::string>& names);

}  // namespace orvik::host
