#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "Platform/Bytes.h"
#include "Platform/Date.h"
#include "Platform/Error.h"
#include "Platform/XML/XMLEvents.h"

/// Property lists in XML (DTD "PropertyList-1.0"): dictionaries, arrays and six kinds of plain values.
namespace platform::plist {

/// The deepest nesting of dictionaries and arrays that is read.
inline constexpr std::size_t maximumDepth = 256;
/// The longest document that is read, in bytes.
inline constexpr std::size_t maximumSize = xml::maximumSize;

/// Says what is wrong and in which line.
class ParseError : public Error {
 public:
  using Error::Error;
};

/// A value of a property list. Texts are UTF-8.
class Value {
 public:
  struct Data {
    Bytes bytes;
    bool operator==(const Data&) const = default;
  };
  using Array = std::vector<Value>;
  /// In the document's order; of a repeated key the last counts.
  using Dictionary = std::vector<std::pair<std::string, Value>>;
  using Content =
      std::variant<bool, std::int64_t, std::uint64_t, double, std::string, Date, Data, Array, Dictionary>;

  Value(Content content) : content_(std::move(content)) {}

  const Content& content() const { return content_; }
  const bool* boolean() const { return std::get_if<bool>(&content_); }
  const std::string* string() const { return std::get_if<std::string>(&content_); }
  const Array* array() const { return std::get_if<Array>(&content_); }
  const Dictionary* dictionary() const { return std::get_if<Dictionary>(&content_); }

  /// The value of a dictionary's key; null for any other value.
  const Value* find(std::string_view key) const;

  bool operator==(const Value&) const = default;

 private:
  Content content_;
};

/// Reads a document. A declaration of an entity is refused, and no external entity is ever looked at. Throws
/// `ParseError`.
Value parse(std::string_view document);

}  // namespace platform::plist
