#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Bytes.h"

namespace platform {

/// Standard Base64 (RFC 4648, section 4) with padding, without line breaks.
std::string base64Encode(std::string_view bytes);

/// Strict: padding is required, no other characters, no stray bits. Nothing for any other text.
std::optional<Bytes> base64Decode(std::string_view text);

}  // namespace platform
