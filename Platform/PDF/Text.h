#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace platform::pdf {

/// What is drawn of a text: valid UTF-8 without noncharacters, whose only controls are directional marks and,
/// where a line ends, `lineEnd`.
std::string drawable(std::string_view text, char32_t lineEnd);

/// The beginning of at most so many characters.
std::string_view beginning(std::string_view text, std::size_t characters);

}  // namespace platform::pdf
