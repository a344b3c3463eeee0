#pragma once

#include <optional>
#include <string>

#include "Platform/HTTP/URL.h"

namespace orvik::host {

/// The server that `--url` names, normalized as an instance's URL is. Throws `UsageError` for what is no URL,
/// and for one with a user, a query or a fragment; it may hold a password, so the message doesn't repeat it.
platform::URL serverURL(const std::string& text);

/// A sentence about a server that is reached without TLS, unless it is this machine.
std::optional<std::string> clearTextRemark(const platform::URL& server);

}  // namespace orvik::host
