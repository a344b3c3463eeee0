#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "OrvikCore/Explore/ObjectDescriber.h"
#include "OrvikCore/Jamf/JSONTree.h"

namespace orvik::test {

/// A variant's name and its JSON text.
using VariantText = std::pair<std::string, std::string>;

/// The description of an object that is given as text, "Lab" by name.
inline ObjectDescription described(std::string_view section, const std::vector<VariantText>& texts,
                                   const std::optional<FileRef>& file = {}) {
  std::vector<JSONTree> trees;
  std::vector<ObjectDescriber::Variant> variants;
  for (const auto& [name, json] : texts) {
    trees.push_back(JSONTree::parse(json));
    variants.push_back({name, *trees.back().raw()});
  }
  return ObjectDescriber::describe(section, "Lab", variants, file);
}
/// One variant, of the modern API.
inline ObjectDescription described(std::string_view section, const std::string& json) {
  return described(section, {{"pro", json}});
}

/// Facts and entries as text, so that a failing test shows them.
inline std::vector<std::string> factLines(const ObjectDescription& description) {
  std::vector<std::string> lines;
  for (const auto& [label, value] : description.facts) lines.push_back(label + ": " + value);
  return lines;
}
inline std::vector<std::string> listLines(const ObjectDescription& description) {
  std::vector<std::string> lines;
  for (const auto& [title, entries] : description.lists)
    for (const auto& entry : entries) lines.push_back(title + ": " + entry);
  return lines;
}

}  // namespace orvik::test
