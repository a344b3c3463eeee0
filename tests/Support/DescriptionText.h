#pragma once

#include <string>
#include <string_view>

#include <fmt/format.h>

#include "OrvikCore/Explore/ObjectDescription.h"

namespace orvik::test {

/// Line ends as they can be seen, and of a long text the beginning: the outline repeats what stands in full
/// among the texts.
inline std::string inOneLine(std::string_view text) {
  constexpr std::size_t most = 300;
  std::string line;
  for (const char c : text.substr(0, most)) line += c == '\n' ? std::string("⏎") : std::string(1, c);
  return text.size() <= most ? line : fmt::format("{}… ({} bytes)", line, text.size());
}

inline void appendOutline(std::string& out, const std::vector<ObjectDescription::OutlineNode>& nodes,
                          std::size_t depth) {
  for (const auto& node : nodes) {
    out += fmt::format("{:{}}{}", "", 2 * depth, node.children ? "+ " : "- ");
    out += inOneLine(node.label);
    if (node.value) out += " = " + inOneLine(*node.value);
    out += "  [" + node.id() + "]\n";
    if (node.children) appendOutline(out, *node.children, depth + 1);
  }
}

/// A description for people who review it. Changes are left out.
inline std::string descriptionText(const ObjectDescription& description) {
  std::string out = fmt::format("{}\n{}\n\nFacts\n", description.title, description.kind);
  for (const auto& [label, value] : description.facts) out += fmt::format("  {}: {}\n", label, value);
  for (const auto& [title, entries] : description.lists) {
    out += fmt::format("\nList: {}\n", title);
    for (const auto& entry : entries) out += fmt::format("  {}\n", inOneLine(entry));
  }
  for (const auto& [title, text, isCode] : description.texts)
    out += fmt::format("\n{}: {}\n{}\n", isCode ? "Code" : "Text", title, text);
  out += "\nOutline\n";
  appendOutline(out, description.outline, 1);
  return out;
}

}  // namespace orvik::test
