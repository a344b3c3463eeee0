#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Locale/Text.h"
#include "Platform/XML/XMLElement.h"

/// What holds for XML elements of any bytes.
namespace orvik::fuzz {

/// Writes an element as a document that it would be read from, its text ahead of its children.
inline void writeElement(const platform::xml::Element& element, std::string& out) {
  out += "<" + element.name + ">";
  for (const char c : element.text) {
    if (c == '<')
      out += "&lt;";
    else if (c == '>')
      out += "&gt;";
    else if (c == '&')
      out += "&amp;";
    else if (c == '\r')
      out += "&#13;";
    else
      out += c;
  }
  for (const auto& child : element.children) writeElement(child, out);
  out += "</" + element.name + ">";
}

inline std::size_t depthOf(const platform::xml::Element& element) {
  std::size_t deepest = 0;
  for (const auto& child : element.children) deepest = std::max(deepest, depthOf(child));
  return deepest + 1;
}

/// The first rule that `bytes` break, as a sentence; nothing when all hold.
inline std::optional<std::string> brokenXMLElementRule(std::string_view bytes) {
  try {
    const auto element = platform::xml::parse(bytes);
    if (depthOf(element) > platform::xml::maximumDepth) return "the element is too deep";
    std::string text;
    writeElement(element, text);
    if (!platform::locale::isValidUTF8(text)) return "a text is not UTF-8";
    if (platform::xml::parse(text) != element) return "the element changes on its way through XML";
  } catch (const platform::xml::ParseError& error) {
    if (!error.description().starts_with("line ") && bytes.size() <= platform::xml::maximumSize)
      return "a reason names no line";
    if (!platform::locale::isValidUTF8(error.description())) return "a reason is not UTF-8";
  }
  return std::nullopt;
}

}  // namespace orvik::fuzz
