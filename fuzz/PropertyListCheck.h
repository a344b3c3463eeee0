#pragma once

#include <charconv>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "Platform/Base64.h"
#include "Platform/Locale/Text.h"
#include "Platform/PropertyList/PropertyList.h"

/// What holds for property lists of any bytes.
namespace orvik::fuzz {

namespace plist = platform::plist;

/// Writes a value as the property list that it would be read from.
struct PropertyListWriter {
  std::string xml;
  bool isText = true;       ///< all texts are UTF-8
  bool isRepeated = false;  ///< a dictionary has a key twice
  std::size_t depth = 0;
  std::size_t deepest = 0;

  void element(std::string_view name, std::string_view text) {
    xml += "<" + std::string(name) + ">";
    isText = isText && platform::locale::isValidUTF8(text);
    for (const char c : text) {
      if (c == '<')
        xml += "&lt;";
      else if (c == '>')
        xml += "&gt;";
      else if (c == '&')
        xml += "&amp;";
      else if (c == '\r')
        xml += "&#13;";
      else
        xml += c;
    }
    xml += "</" + std::string(name) + ">";
  }

  void write(const plist::Value& value) { std::visit(*this, value.content()); }

  void operator()(bool yes) { xml += yes ? "<true/>" : "<false/>"; }
  void operator()(std::int64_t number) { element("integer", std::to_string(number)); }
  void operator()(std::uint64_t number) { element("integer", std::to_string(number)); }
  void operator()(double number) {
    char text[32];
    element("real", {text, std::to_chars(text, text + sizeof text, number).ptr});
  }
  void operator()(const std::string& text) { element("string", text); }
  void operator()(platform::Date date) { element("date", platform::iso8601(date)); }
  void operator()(const plist::Value::Data& data) { element("data", platform::base64Encode(data.bytes)); }
  void operator()(const plist::Value::Array& elements) {
    deepest = std::max(deepest, ++depth);
    xml += "<array>";
    for (const auto& value : elements) write(value);
    xml += "</array>";
    --depth;
  }
  void operator()(const plist::Value::Dictionary& members) {
    deepest = std::max(deepest, ++depth);
    xml += "<dict>";
    for (const auto& [key, value] : members) {
      element("key", key);
      write(value);
    }
    xml += "</dict>";
    --depth;
    for (std::size_t i = 1; i < std::min<std::size_t>(members.size(), 50); ++i)
      for (std::size_t j = 0; j < i; ++j) isRepeated = isRepeated || members[i].first == members[j].first;
  }
};

inline std::string propertyListText(const plist::Value& value, PropertyListWriter& writer) {
  writer.xml = "<plist>";
  writer.write(value);
  writer.xml += "</plist>";
  return writer.xml;
}

/// The first rule that `bytes` break, as a sentence; nothing when all hold.
inline std::optional<std::string> brokenPropertyListRule(std::string_view bytes) {
  try {
    const auto value = plist::parse(bytes);
    PropertyListWriter writer;
    const auto text = propertyListText(value, writer);
    if (!writer.isText) return "a text is not UTF-8";
    if (writer.isRepeated) return "a key is there twice";
    if (writer.deepest > plist::maximumDepth) return "the value is too deep";
    PropertyListWriter again;
    // Texts are compared, not values: a number that is none is unequal to itself.
    if (propertyListText(plist::parse(text), again) != text)
      return "the value changes on its way through XML";
  } catch (const plist::ParseError& error) {
    if (error.description().empty()) return "a property list is refused without a reason";
    if (!platform::locale::isValidUTF8(error.description())) return "a reason is not UTF-8";
    if (error.description().size() > 1000) return "a reason is too long";
  }
  return std::nullopt;
}

}  // namespace orvik::fuzz
