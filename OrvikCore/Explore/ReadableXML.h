#pragma once

#include <string>
#include <string_view>

namespace orvik {

/// Whether a text begins as an XML document does, such as the payloads of a configuration profile.
bool looksLikeXML(std::string_view text);

/// An XML document with a line for each tag, indented by two blanks a level; an element that holds a text
/// alone stays in one line. Servers keep profiles in one line, which nobody can compare by eye. Blanks
/// between tags are lost, all else stays as it stands. Not a parser: what is no XML comes back in other
/// lines.
std::string readableXML(std::string_view xml);

}  // namespace orvik
