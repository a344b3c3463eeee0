#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Texts from elsewhere, which can't be trusted to leave a terminal alone: none of these returns a control
/// character, a mark that turns the direction of writing, or invalid UTF-8.
namespace orvik::host {

/// A text of several lines: line feeds and tabs stay, what else controls is shown: "␛", "<U+202E>".
std::string visible(std::string_view text);
/// A name: line feeds and tabs are shown too, "␊".
std::string visibleLine(std::string_view text);

/// A sentence in one line of at most `width` characters, the last of them an ellipsis when something was
/// cut. Line feeds and tabs are blanks.
std::string fitted(std::string_view text, std::size_t width);
/// The same with room for every sensible one.
std::string oneLine(std::string_view text);

}  // namespace orvik::host
