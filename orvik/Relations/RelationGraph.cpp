#include "orvik/Relations/RelationGraph.h"

#include <fmt/format.h>

#include <set>
#include <string_view>

#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"

namespace orvik::host::relationGraph {

namespace {

/// A name in quotes. A backslash would begin an escape of the language.
std::string quoted(std::string_view text) {
  std::string name = "\"";
  for (const char c : visibleLine(text)) {
    if (c == '"' || c == '\\') name += '\\';
    name += c;
  }
  return name += '"';
}

/// Gathers nodes and edges, each once.
class Drawing {
 public:
  std::string node(std::string_view kind, const auto& id, std::string_view label, std::string_view shape) {
    auto name = fmt::format("\"{} {}\"", kind, id);
    if (nodes_.insert(name).second)
      text_ += fmt::format("  {} [label={}, shape={}];\n", name, quoted(label), shape);
    return name;
  }
  void edge(const std::string& from, const std::string& to) {
    if (edges_.emplace(from, to).second) text_ += fmt::format("  {} -> {};\n", from, to);
  }
  std::string finished() const {
    return "digraph relations {\n  rankdir=LR;\n  node [fontname=\"sans-serif\"];\n" + text_ + "}";
  }

 private:
  std::string text_;
  std::set<std::string> nodes_;
  std::set<std::pair<std::string, std::string>> edges_;
};

std::string computers(std::size_t count) {
  return wording::counted(static_cast<std::int64_t>(count), "computer");
}

}  // namespace

std::string drawing(const Relations& relations) {
  Drawing made;
  std::vector<std::string> groups;
  for (const auto& group : relations.groups)
    groups.push_back(made.node(group.isSmart ? "smart group" : "static group", group.id, group.name, "box"));
  if (!relations.devices.empty()) {
    const auto& first = relations.devices.front();
    const auto count = relations.devices.size();
    const auto device = count == 1 ? made.node("computer", first.id, first.name, "ellipse")
                                   : made.node("computers", count, computers(count), "ellipse");
    for (const auto& group : groups) made.edge(device, group);
  }
  for (const auto& attribute : relations.attributes) {
    const auto node = made.node("attribute", attribute.id, attribute.name, "note");
    for (const auto& group : groups) made.edge(node, group);
  }
  for (const auto& policy : relations.policies) {
    const auto node = made.node("policy", policy.summary.id, policy.summary.name, "component");
    for (const auto group : policy.groups) made.edge(groups[group], node);
    for (const auto& each : policy.contents.packages)
      made.edge(node, made.node("package", each.id, each.name, "box3d"));
    for (const auto& each : policy.contents.scripts)
      made.edge(node, made.node("script", each.id, each.name, "note"));
  }
  for (const auto& profile : relations.profiles) {
    const auto node = made.node("profile", profile.summary.id, profile.summary.name, "tab");
    for (const auto group : profile.groups) made.edge(groups[group], node);
  }
  return made.finished();
}

std::string drawing(const std::string& attribute, const jamf::ExtensionAttributeValuesResult& values) {
  Drawing made;
  const auto root = made.node("attribute", "", attribute, "note");
  for (std::size_t place = 0; place < values.groups.size(); ++place) {
    const auto& group = values.groups[place];
    made.edge(root,
              made.node("value", place, fmt::format("{}: {}", group.value, computers(group.devices.size())),
                        "ellipse"));
  }
  return made.finished();
}

}  // namespace orvik::host::relationGraph
