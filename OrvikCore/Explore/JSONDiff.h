#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Explore/FieldChange.h"
#include "Platform/JSON/View.h"

namespace orvik {

/// Compares JSON values field by field, for people: keys in words, list elements by their names, so that
/// neither the order of keys nor that of named elements counts. Any thread may call.
///
/// The path of a leaf is its keys' labels and "[name]" for each list element, joined with " › ". Of leaves
/// with the same path the last counts. Memory and time are linear in the documents, however deep they are.
struct JSONDiff {
  using Value = platform::json::View;

  static constexpr std::size_t defaultLimit = 300;

  JSONDiff() = delete;

  /// What differs between two values, either of which may be missing; at most `limit` leaves, of which those
  /// of a list element that came or went as a whole are one. `prefix`, unless empty, begins every path.
  static std::vector<FieldChange> changes(const std::optional<Value>& old, const std::optional<Value>& now,
                                          std::string_view prefix = {}, std::size_t limit = defaultLimit);

  /// Calls `onLeaf` for every path of a value in the order of their first appearance, with the path's text
  /// made on demand, until it returns false.
  using OnLeaf = std::function<bool(const std::function<std::string()>& path, Value leaf)>;
  static void forEachLeaf(Value value, const OnLeaf& onLeaf);

  /// Folds the changes of list elements that came or went as a whole into one each.
  static std::vector<FieldChange> collapse(std::vector<FieldChange> changes);
};

}  // namespace orvik
