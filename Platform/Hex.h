#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Bytes.h"

namespace platform {

/// Lower-case hexadecimal text, two digits a byte.
std::string hexEncode(std::string_view bytes);

/// The inverse; upper-case digits are taken too. Nothing for an odd length or a character that is no digit.
std::optional<Bytes> hexDecode(std::string_view text);

/// Whether `text` is exactly 64 lower-case hexadecimal digits: the only form in which an object name or a
/// SHA-256 digest may become part of a path.
bool isLowerHex64(std::string_view text) noexcept;

}  // namespace platform
