#include <iterator>

#include "OrvikCore/Explore/ObjectDescriber.h"
#include "Platform/Locale/Text.h"

namespace orvik {

namespace {

namespace json = platform::json;
namespace locale = platform::locale;

using OutlineNode = ObjectDescription::OutlineNode;
using OutlinePath = ObjectDescription::OutlinePath;
using SharedPath = std::shared_ptr<const OutlinePath>;

/// Bytes of the label of a list's element. Without a limit the elements of lists in lists would repeat, at
/// each level, all that lies below.
constexpr std::size_t longestLabel = 256;

SharedPath below(const SharedPath& path, std::string step) {
  return std::make_shared<OutlinePath>(OutlinePath{path, std::move(step)});
}

/// A node with what `ObjectDescriber::text` says of its value, as far as a label shows it.
struct Built {
  OutlineNode node;
  std::optional<std::string> listed;  ///< of a table or list: the beginning of its text

  std::optional<std::string_view> text() const {
    const auto& whole = node.children ? listed : node.value;
    return whole ? std::optional<std::string_view>(*whole) : std::nullopt;
  }
};

/// One byte more than a label shows tells that something is cut off. Bytes, not characters: what was cut
/// already is cut again on the level above.
void appendBounded(std::string& text, std::string_view more) {
  if (text.size() > longestLabel) return;
  text += more.substr(0, longestLabel + 1 - text.size());
}

std::string elementLabel(const Built& element, std::size_t position) {
  const auto text = element.text();
  if (!text) return "[" + std::to_string(position + 1) + "]";
  if (text->size() <= longestLabel) return std::string(*text);
  return std::string(locale::beginning(*text, longestLabel)) + "…";
}

Built build(json::View value, const SharedPath& path, std::string label);

void buildMembers(Built& object, json::View value) {
  const auto members = value.sortedMembers();
  auto& children = object.node.children.emplace();
  children.reserve(members.size());
  std::optional<std::string> displayName;
  for (const auto& [key, member] : members) {
    auto built = build(member, below(object.node.path, std::string(key)), ObjectDescriber::label(key));
    const bool isName = key == "name";
    if (isName || key == "displayName") {
      if (const auto text = built.text())
        appendBounded((isName ? object.listed : displayName).emplace(), *text);
    }
    children.push_back(std::move(built.node));
  }
  if (!object.listed) object.listed = std::move(displayName);
  if (!object.listed) object.listed = std::to_string(members.size()) + " fields";
}

void buildElements(Built& list, json::View value) {
  auto& children = list.node.children.emplace();
  children.reserve(value.elements().count());
  for (const auto element : value.elements()) {
    const auto position = children.size();
    auto built = build(element, below(list.node.path, std::to_string(position)), {});
    if (const auto text = built.text()) {
      if (list.listed)
        appendBounded(*list.listed, ", ");
      else
        list.listed.emplace();
      appendBounded(*list.listed, *text);
    }
    built.node.label = elementLabel(built, position);
    children.push_back(std::move(built.node));
  }
  if (!list.listed && !children.empty()) list.listed = std::to_string(children.size()) + " items";
}

/// From the leaves up, so that every value is looked at once however deep it lies.
Built build(json::View value, const SharedPath& path, std::string label) {
  Built built{{path, std::move(label), {}, {}}, {}};
  if (value.isObject() || value.isArray()) {
    built.node.value = ObjectDescriber::summary(value);
    value.isObject() ? buildMembers(built, value) : buildElements(built, value);
  } else {
    built.node.value = ObjectDescriber::text(value);
  }
  return built;
}

/// "." stands between steps; in one, it has a backslash before it.
std::string escaped(std::string_view step) {
  std::string text;
  for (const char c : step) {
    if (c == '.' || c == '\\') text += '\\';
    text += c;
  }
  return text;
}

}  // namespace

std::string ObjectDescription::OutlineNode::id() const {
  std::vector<std::string_view> steps;
  for (const auto* each = path.get(); each; each = each->above.get()) steps.emplace_back(each->step);
  std::string id;
  for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
    if (step != steps.rbegin()) id += '.';
    id += escaped(*step);
  }
  return id;
}

std::vector<OutlineNode> ObjectDescriber::outline(Value value, const SharedPath& path) {
  return std::move(build(value, path, {}).node.children).value_or(std::vector<OutlineNode>());
}

std::vector<OutlineNode> ObjectDescriber::outline(const std::vector<Variant>& variants) {
  std::vector<OutlineNode> roots;
  for (const auto& [name, value] : variants)
    roots.push_back(build(value, below(nullptr, name), variantTitle(name)).node);
  const bool stands = roots.size() == 1 && roots.front().children;
  return stands ? std::exchange(roots.front().children, {}).value() : roots;
}

}  // namespace orvik
