#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "Platform/Bytes.h"
#include "Platform/JSON/View.h"
#include "Platform/JSON/Writer.h"

namespace platform::json {

/// A JSON value that is built or changed. Objects keep the order in which their members were set.
///
/// Texts are UTF-8, which is not checked. Equality compares objects in their own order, and a number that was
/// written as an integer differs from one that was not.
class Value {
 public:
  using Array = std::vector<Value>;
  using Object = std::vector<std::pair<std::string, Value>>;

  Value() = default;
  Value(std::nullptr_t) {}
  Value(bool value) : value_(value) {}
  /// As when it is read: a signed integer where it fits, whatever its type.
  template <std::integral Integer>
  Value(Integer value) {
    if (std::in_range<std::int64_t>(value))
      value_ = static_cast<std::int64_t>(value);
    else
      value_ = static_cast<std::uint64_t>(value);
  }
  Value(double value) : value_(value) {}
  Value(const char* value) : value_(std::string(value)) {}
  Value(std::string_view value) : value_(std::string(value)) {}
  Value(std::string value) : value_(std::move(value)) {}
  Value(Array value) : value_(std::move(value)) {}
  Value(Object value) : value_(std::move(value)) {}

  /// An object of these members, `Value::object({{"id", 1}, {"name", "x"}})`.
  static Value object(Object members = {}) { return Value(std::move(members)); }
  static Value array(Array elements = {}) { return Value(std::move(elements)); }

  /// A changeable copy of a parsed value; of a repeated key the last member stays.
  static Value from(View view);

  bool isNull() const { return std::holds_alternative<std::monostate>(value_); }
  const bool* boolean() const { return std::get_if<bool>(&value_); }
  const std::int64_t* integer() const { return std::get_if<std::int64_t>(&value_); }
  const std::uint64_t* unsignedInteger() const { return std::get_if<std::uint64_t>(&value_); }
  const double* number() const { return std::get_if<double>(&value_); }
  const std::string* string() const { return std::get_if<std::string>(&value_); }
  const Array* array_() const { return std::get_if<Array>(&value_); }
  Array* array_() { return std::get_if<Array>(&value_); }
  const Object* object_() const { return std::get_if<Object>(&value_); }
  Object* object_() { return std::get_if<Object>(&value_); }

  /// The member of that name, or nothing. It is valid until the object changes.
  const Value* find(std::string_view key) const;
  Value* find(std::string_view key);
  /// Sets a member of an object, in place when it exists, else at the end. A value that is no object becomes
  /// one. Returns this value.
  Value& set(std::string_view key, Value value);
  /// Adds an element to an array. A value that is no array becomes one. Returns this value.
  Value& append(Value value);

  /// The value as text, members in their own order. Both throw `Error` for what `Writer` refuses.
  Bytes text(Rendering rendering = Rendering::compact) const;
  /// The value as text with keys ascending at every depth.
  Bytes sortedText(Rendering rendering) const;

  bool operator==(const Value&) const = default;

 private:
  std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, std::string, Array, Object> value_;
};

}  // namespace platform::json
