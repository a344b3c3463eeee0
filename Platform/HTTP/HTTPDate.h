#pragma once

#include <optional>
#include <string_view>

#include "Platform/Date.h"

namespace platform {

/// A date as HTTP headers hold it, "Sun, 06 Nov 1994 08:49:37 GMT" (RFC 9110, 5.6.7: IMF-fixdate). Nothing
/// for any other text, the two obsolete forms included, and for a day or time that does not exist.
std::optional<Date> parseHTTPDate(std::string_view text);

}  // namespace platform
