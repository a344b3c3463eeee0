#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/PropertyList/PropertyList.h"
#include "Platform/XML/XMLEvents.h"

namespace platform::plist::detail {

/// Makes a value of the elements and texts of a document, in their order. What is no property list is refused
/// where it appears: each call throws `ParseError`, which doesn't know the line.
class Builder final : public xml::Events {
 public:
  void begin(std::string_view element) override;
  void text(std::string_view piece) override;
  void end(std::string_view element) override;

  /// Requires: every element was ended, at least one was begun.
  Value finish() { return *std::move(value_); }

 private:
  /// A dictionary or an array that was begun.
  struct Container {
    bool isDictionary = false;
    Value::Array elements;
    Value::Dictionary members;
    std::optional<std::string> key;  ///< of the value that comes next
  };

  void expectPlaceFor(std::string_view element) const;
  void add(Value value);
  static Value closed(Container container);

  bool isBegun_ = false;
  std::vector<Container> open_;
  std::optional<std::string> plain_;  ///< the text of the plain element that is open
  std::string plainName_;
  std::optional<Value> value_;
};

}  // namespace platform::plist::detail
