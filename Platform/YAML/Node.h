#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Error.h"

/// YAML 1.1: documents of mappings, sequences and scalars.
namespace platform::yaml {

/// The longest document that is read, in bytes.
inline constexpr std::size_t maximumSize = std::size_t{128} << 20;
/// The most nodes of a document, and the most that are decoded from one, with aliases followed.
inline constexpr std::size_t maximumNodes = 2'000'000;
/// The deepest nesting that is read.
inline constexpr std::size_t maximumDepth = 128;

/// Text that is not YAML, or more of it than is read. Names the line.
class ParseError : public Error {
 public:
  using Error::Error;
};

/// One value of a document. Immutable and shared where the document names it by an alias, so that a small
/// document never becomes large in memory.
struct Node {
  enum class Kind { scalar, sequence, mapping };

  Kind kind = Kind::scalar;
  /// Of a scalar, as it was written, without its quotes. What it means is up to who asks for a value: a plain
  /// `07:30` is a text and a number.
  std::string text = {};
  bool isPlain = true;  ///< without quotes and without a tag that makes it a text
  std::vector<std::shared_ptr<const Node>> elements = {};
  /// In the document's order, each key once; what `<<` merges in stands behind, and never hides a key.
  std::vector<std::pair<std::string, std::shared_ptr<const Node>>> members = {};
  std::size_t line = 0;  ///< from 1

  const Node* member(std::string_view key) const;

  bool isNull() const;
  /// Nothing for a scalar that is no such value, and for all that is no scalar.
  std::optional<bool> boolean() const;
  std::optional<std::int64_t> integer() const;
};

/// Reads the one document of a UTF-8 text; a byte order mark may stand in front. Throws `ParseError`, also
/// for a repeated key, a key that is no scalar, an alias inside of what it names, and a second document.
std::shared_ptr<const Node> parse(std::string_view text);

/// Whether a plain scalar of that text would be read as something else than a text.
bool isSpecialPlain(std::string_view text);

}  // namespace platform::yaml
