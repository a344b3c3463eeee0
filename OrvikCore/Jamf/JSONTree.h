#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Bytes.h"
#include "Platform/JSON/View.h"

namespace orvik {

/// A walker for decoded JSON of unknown shape. Holds its document alive; cheap to copy; any thread may use
/// it.
class JSONTree {
 public:
  /// The empty tree: no value at all.
  JSONTree() = default;

  /// Bare strings, numbers and literals parse too. Throws `platform::json::ParseError`.
  static JSONTree parse(std::string_view bytes);

  /// The value itself, if there is one.
  const std::optional<platform::json::View>& raw() const noexcept { return raw_; }
  bool isObject() const { return raw_ && raw_->isObject(); }

  /// The member of a JSON object; an empty tree for anything else.
  JSONTree operator[](std::string_view key) const;
  /// The members' values of an object, in the document's order; none for anything else.
  std::vector<std::pair<std::string_view, JSONTree>> members() const;

  /// A JSON string, or a number or truth value in its text form.
  std::optional<std::string> string() const;
  /// A number's integer value, or a string read as a decimal integer.
  std::optional<std::int64_t> integer() const;
  /// The elements, when the value is an array.
  std::optional<std::vector<JSONTree>> array() const;

  using KeyPath = std::vector<std::string_view>;
  /// The first of these paths that leads to a string that is not empty, or to a number, as text.
  std::optional<std::string> first(const std::vector<KeyPath>& paths) const;

  /// The value as JSON bytes, compact, in its own order, also for a bare scalar; nothing for an empty tree.
  std::optional<platform::Bytes> serialized() const;

 private:
  JSONTree(std::shared_ptr<const platform::json::Document> document, platform::json::View raw)
      : document_(std::move(document)), raw_(raw) {}

  std::shared_ptr<const platform::json::Document> document_;
  std::optional<platform::json::View> raw_;
};

}  // namespace orvik
