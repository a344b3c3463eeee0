#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvik::ctl {

using Arguments = std::vector<std::string>;

/// The arguments that are no options: an element that begins with "--" is dropped together with the one right
/// behind it, whatever that is; all others are kept.
Arguments positional(const Arguments& arguments);

/// The element behind the first one that equals `name`; nothing when there is none.
std::optional<std::string> option(std::string_view name, const Arguments& arguments);

}  // namespace orvik::ctl
