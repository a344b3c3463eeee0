#pragma once

#include <cstddef>
#include <string_view>

namespace platform::locale {

/// The columns that a terminal takes for a text of one line: two for what is wide in East Asian type (UAX
/// #11) and for emoji, none for a mark that stands on the letter before it or shows nothing, else one for
/// each scalar. A text with controls has no width that means anything.
std::size_t displayWidth(std::string_view text);

}  // namespace platform::locale
