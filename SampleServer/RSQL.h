#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "Platform/Error.h"
#include "Platform/JSON/Value.h"

/// The filter expressions of the Pro interface: `name=="Set *" and (priority!=AFTER or categoryId==3)`.
///
/// `==` and `!=` compare a field, a dotted path into the object, with a value: in quotes, single or double,
/// where a backslash takes the next character as it is, or bare up to the next delimiter. "*" stands for any
/// text. Texts are compared without case; a field that is null or absent is the empty text. "and" or ";"
/// binds tighter than "or" or ","; brackets group.
namespace sample {

/// Says what is wrong, as the server's answer does.
class RSQLError : public platform::Error {
 public:
  using Error::Error;
};

class RSQLFilter {
 public:
  /// The deepest nesting of brackets.
  static constexpr std::size_t maximumDepth = 64;

  /// Throws `RSQLError` for bad syntax and for a field that is none of `fields`.
  RSQLFilter(std::string_view text, std::span<const std::string_view> fields);
  ~RSQLFilter();
  RSQLFilter(RSQLFilter&&) noexcept;
  RSQLFilter& operator=(RSQLFilter&&) noexcept;

  bool matches(const platform::json::Value& object) const;

 private:
  struct Node;
  class Parser;

  std::unique_ptr<const Node> root_;
};

/// What stands at a dotted path, as text; empty for what is null, absent, a list or an object.
std::string fieldText(const platform::json::Value& object, std::string_view path);

}  // namespace sample
