#pragma once

#include <string>
#include <string_view>

#include "Platform/PropertyList/PropertyList.h"

namespace platform::plist::detail {

/// Whether an element with this name holds a text alone: a plain value or a dictionary's key.
bool isPlain(std::string_view element) noexcept;

/// The value of such an element. Throws `ParseError`, which doesn't know the line and doesn't repeat the
/// text, for that may be secret.
Value plainValue(std::string_view element, std::string text);

}  // namespace platform::plist::detail
