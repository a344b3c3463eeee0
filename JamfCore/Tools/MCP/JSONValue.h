#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "Platform/JSON/View.h"
#include "Platform/JSON/Writer.h"

namespace jamf {

/// A value as handlers of tools get it, without a schema. JSON's numbers are always floating points here,
/// even whole ones; an integer comes from callers of this program alone.
struct AnyValue {
  /// The marker of a JSON null.
  struct Null {
    bool operator==(const Null&) const = default;
  };
  using List = std::vector<AnyValue>;
  using Map = std::map<std::string, AnyValue>;

  std::variant<Null, std::string, double, std::int64_t, bool, List, Map> value;

  template <class T>
  const T* as() const {
    return std::get_if<T>(&value);
  }
  bool operator==(const AnyValue&) const = default;
};

/// JSON of any shape, as a client of the tool server sends it. A number is a 64-bit floating point in any
/// case: an integer beyond 2^53 is the nearest one. Compared case by case.
struct JSONValue {
  struct Null {
    bool operator==(const Null&) const = default;
  };
  using Array = std::vector<JSONValue>;
  using Object = std::map<std::string, JSONValue>;

  std::variant<std::string, double, bool, Array, Object, Null> value;

  static JSONValue string(std::string text) { return {std::move(text)}; }
  static JSONValue number(double number) { return {number}; }
  static JSONValue boolean(bool value) { return {value}; }
  static JSONValue array(Array elements) { return {std::move(elements)}; }
  static JSONValue object(Object members) { return {std::move(members)}; }
  static JSONValue null() { return {Null{}}; }

  /// A member of an object; null for a missing one, and for all that is no object.
  const JSONValue* operator[](std::string_view key) const;
  /// The text of a string and of nothing else.
  const std::string* stringValue() const { return std::get_if<std::string>(&value); }
  const Object* objectValue() const { return std::get_if<Object>(&value); }

  AnyValue anyValue() const;

  /// Whole numbers without a point.
  void encode(platform::json::Writer& writer) const;
  static JSONValue decode(platform::json::View view);

  bool operator==(const JSONValue&) const = default;
};

}  // namespace jamf
