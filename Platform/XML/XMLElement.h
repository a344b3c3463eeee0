#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/XML/XMLEvents.h"

namespace platform::xml {

/// The deepest nesting of elements that is read.
inline constexpr std::size_t maximumDepth = 64;
/// The most elements that are read, since each takes more memory than the four bytes that make one.
inline constexpr std::size_t maximumElements = 250'000;

/// An element of a small document, with what is in it. Attributes and comments are left out. Texts are UTF-8.
struct Element {
  std::string name;
  std::string text;  ///< all of it that stands directly in the element, as it stands there
  std::vector<Element> children;

  /// The first child of that name; null where there is none.
  const Element* find(std::string_view child) const;

  bool operator==(const Element&) const = default;
};

/// Reads a document: its outermost element. Throws `ParseError`, which names the line, also for one that is
/// longer than `maximumSize`, deeper than `maximumDepth` or has more than `maximumElements`.
Element parse(std::string_view xml);

}  // namespace platform::xml
