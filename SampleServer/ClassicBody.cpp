#include "SampleServer/ClassicBody.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <iterator>

#include "Platform/JSON/View.h"
#include "SampleServer/Route.h"
#include "SampleServer/Templates/NewRecords.h"
#include "SampleServer/WrittenRecord.h"

namespace sample {
namespace {

using platform::json::Value;
using platform::xml::Element;

Value parsed(std::string_view json) { return Value::from(platform::json::Document::parse(json)->root()); }

/// The texts that a member may have, the default first. "computer=System": the one is stored for the other.
struct Enumeration {
  std::string_view path;
  std::string_view choices;
};
constexpr Enumeration enumerations[] = {
    {"general.trigger", "EVENT|USER_INITIATED"},
    {"general.frequency",
     "Once per computer|Once per user per computer|Once per user|Once every day|Once every week|Once every "
     "month|Ongoing"},
    {"general.retry_event", "none|trigger|check-in"},
    {"general.distribution_method", "Install Automatically|Make Available in Self Service"},
    {"general.level", "System|computer=System|Computer Level=System|User|user=User|User Level=User"},
    {"general.redeploy_on_update", "Newly Assigned|All"},
    {"package.action", "Install|Cache|Install Cached|Uninstall"},
    {"script.priority", "After|Before"},
};

std::string choose(std::string_view path, const std::string& text) {
  const auto found = std::ranges::find(enumerations, path, &Enumeration::path);
  if (found == std::end(enumerations)) return text;
  std::string_view first;
  for (std::string_view rest = found->choices; !rest.empty();) {
    const std::string_view choice = rest.substr(0, rest.find('|'));
    rest.remove_prefix(std::min(rest.size(), choice.size() + 1));
    const std::size_t equals = choice.find('=');
    const std::string_view stored = equals == std::string_view::npos ? choice : choice.substr(equals + 1);
    if (equalIgnoringCase(choice.substr(0, equals), text)) return std::string(stored);
    if (first.empty()) first = stored;
  }
  return std::string(first);
}

/// The lists of a scope, and the sections that their elements are of. An empty section: people of a
/// directory, of whom the server knows the names alone.
struct TargetList {
  std::string_view list;
  std::string_view element;
  std::string_view section;
};
constexpr TargetList targetLists[] = {
    {"computers", "computer", "computers"},
    {"computer_groups", "computer_group", "computerGroups"},
    {"buildings", "building", "buildings"},
    {"departments", "department", "departments"},
    {"network_segments", "network_segment", "networkSegments"},
    {"ibeacons", "ibeacon", "ibeacons"},
    {"jss_users", "user", "users"},
    {"jss_user_groups", "user_group", "userGroups"},
    {"users", "user", ""},
    {"user_groups", "user_group", ""},
};

std::string childText(const Element& element, std::string_view child) {
  const Element* found = element.find(child);
  return found ? found->text : std::string();
}

std::optional<std::int64_t> wholeNumber(std::string_view text) {
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

Value nothing(std::string_view name) { return Value::object({{"id", -1}, {"name", name}}); }

/// The object that an element speaks of, as `{"id":3,"name":"Productivity"}`; nothing where it leads nowhere.
std::optional<Value> resolve(const Fleet& fleet, std::string_view section, const Element& element) {
  const std::size_t number = *sectionNumber(section);
  auto id = std::optional(childText(element, "id"));
  if (id->empty()) id = fleet.idOfName(number, childText(element, "name"));
  const auto name = id ? fleet.currentName(number, *id) : std::nullopt;
  if (!name) return std::nullopt;
  return Value::object({{"id", *wholeNumber(*id)}, {"name", *name}});
}

/// Whether an element speaks of nothing in so many words.
bool isNothing(const Element& element, std::string_view name) {
  const std::string id = childText(element, "id");
  if (!id.empty()) return id == "-1";
  const std::string given = childText(element, "name");
  return given.empty() || given == "None" || given == name;
}

}  // namespace

void requireJSON(const Request& request) {
  const auto accept = request.header("Accept");
  if (accept && accept->find("application/json") != std::string_view::npos) return;
  throw Refusal{classicFailure(406, "Not Acceptable",
                               "This server answers with JSON only; ask with Accept: application/json")};
}

Element readRoot(const Request& request, std::string_view root) {
  const std::string_view type = request.header("Content-Type").value_or("");
  std::string_view kind = type.substr(0, type.find(';'));
  while (kind.ends_with(' ')) kind.remove_suffix(1);
  if (!equalIgnoringCase(kind, "application/xml") && !equalIgnoringCase(kind, "text/xml"))
    throw Refusal{classicFailure(415, "Unsupported Media Type", "The body of a write has to be XML")};
  try {
    Element sent = platform::xml::parse(request.body);
    if (sent.name == root) return sent;
  } catch (const platform::xml::ParseError&) {
    // Answered like a document of another kind.
  }
  throw Refusal{classicFailure(400, "Bad Request", fmt::format("The body is no XML with the root {}", root))};
}

void refuseConflict(std::string_view sentence) {
  throw Refusal{classicFailure(409, "Conflict", fmt::format("Error: {}", sentence))};
}

ClassicBody::ClassicBody(const Fleet& fleet, std::string_view usual) : fleet_(fleet), usual_(parsed(usual)) {}

void ClassicBody::apply(const Element& sent, Value& record) const { merge(sent, record, usual_, {}); }

void ClassicBody::merge(const Element& sent, Value& target, const Value& usual,
                        const std::string& path) const {
  for (const Element& child : sent.children) {
    const Value* shape = usual.find(child.name);
    if (!shape || child.name == "id") continue;
    const Value* old = target.find(child.name);
    target.set(child.name, merged(child, old ? *old : *shape, *shape, path + child.name));
  }
}

Value ClassicBody::merged(const Element& sent, const Value& old, const Value& usual,
                          const std::string& path) const {
  if (path == "scope") return readScope(sent, usual);
  if (path == "general.category") return readCategory(sent);
  if (path == "general.site") return readSite(sent);
  if (path == "package_configuration.packages")
    return readItems(sent, "packages", templates::newPolicyPackage);
  if (path == "scripts") return readItems(sent, "scripts", templates::newPolicyScript);
  if (usual.string()) return choose(path, sent.text);
  if (usual.boolean()) return equalIgnoringCase(sent.text, "true");
  if (usual.integer()) {
    const auto number = wholeNumber(sent.text);
    return number ? Value(*number) : usual;
  }
  Value made = old;
  if (usual.object_()) merge(sent, made, usual, path + ".");
  return made;
}

Value ClassicBody::readScope(const Element& sent, const Value& usual) const {
  Value made = usual;
  for (auto& [key, member] : *made.object_()) {
    const Element* child = sent.find(key);
    if (!child) continue;
    if (member.boolean()) member = Value(equalIgnoringCase(child->text, "true"));
    if (member.object_()) member = readScope(*child, member);
    if (member.array_()) member = readTargets(*child, key);
  }
  return made;
}

Value ClassicBody::readTargets(const Element& sent, std::string_view list) const {
  const TargetList& kind = *std::ranges::find(targetLists, list, &TargetList::list);
  Value made = Value::array();
  for (const Element& child : sent.children) {
    if (child.name != kind.element) continue;
    if (kind.section.empty()) {
      made.append(Value::object({{"name", childText(child, "name")}}));
      continue;
    }
    auto target = resolve(fleet_, kind.section, child);
    if (!target) {
      std::string shown(kind.element);
      std::ranges::replace(shown, '_', ' ');
      refuseConflict(fmt::format("Problem with {} in scope", shown));
    }
    if (kind.section == "computers") {
      const auto record = fleet_.recordValue(*sectionNumber(kind.section), plainText(target->find("id")));
      target->set("udid", record ? textOf(*record, "udid") : std::string());
    }
    made.append(*std::move(target));
  }
  return made;
}

Value ClassicBody::readCategory(const Element& sent) const {
  constexpr std::string_view none = "No category assigned";
  if (isNothing(sent, none)) return nothing(none);
  auto found = resolve(fleet_, "categories", sent);
  if (!found) refuseConflict("Problem with category");
  return *std::move(found);
}

Value ClassicBody::readSite(const Element& sent) const {
  if (isNothing(sent, "None")) return nothing("None");
  auto found = resolve(fleet_, "sites", sent);
  if (!found) refuseConflict("Problem with site");
  return *std::move(found);
}

/// Elements that name an object of a section and say more of it: `<script><id>6</id><priority>...`.
Value ClassicBody::readItems(const Element& sent, std::string_view section, std::string_view usual) const {
  const std::string_view element = section.substr(0, section.size() - 1);
  const Value shape = parsed(usual);
  Value made = Value::array();
  for (const Element& child : sent.children) {
    if (child.name != element) continue;
    const auto found = resolve(fleet_, section, child);
    if (!found) refuseConflict(fmt::format("Problem with {}", element));
    Value item = shape;
    merge(child, item, shape, std::string(element) + ".");
    item.set("id", *found->find("id")).set("name", *found->find("name"));
    made.append(std::move(item));
  }
  return made;
}

}  // namespace sample
