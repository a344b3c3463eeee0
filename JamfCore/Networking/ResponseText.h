#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Bytes.h"

namespace jamf {

/// A failed answer's body as text; nothing when it is not UTF-8. Servers and proxies may quote the request:
/// where `secret` stands in it, as it is or percent-encoded, the text says "[secret]" instead. Secrets
/// shorter than 8 bytes are let stand, for they would be found in ordinary words.
std::optional<std::string> responseText(platform::Bytes body, std::string_view secret);

}  // namespace jamf
