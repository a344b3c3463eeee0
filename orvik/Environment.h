#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvik::host::environment {

/// The variable of a long option: "lock-wait" -> "ORVIK_LOCK_WAIT".
std::string variableFor(std::string_view option);

/// Its value; an empty one counts as none.
std::optional<std::string> value(std::string_view option);

/// A flag's value: 1, true, yes or on; 0, false, no or off; in any case. Throws `UsageError` for another.
bool flag(std::string_view option, std::string_view value);

}  // namespace orvik::host::environment
