#include "OrvikCore/Explore/JSONDiff.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "OrvikCore/Explore/ObjectDescriber.h"

namespace orvik {

namespace {

using Value = JSONDiff::Value;

constexpr std::string_view separator = " › ";
constexpr std::string_view elementStart = " › [";

/// The leaves of one or two values by their paths. A path is a chain of numbered steps, each of which stands
/// once however many leaves lie below it.
class FlatTable {
 public:
  enum class Side { old, now };

  struct Leaf {
    std::uint32_t path = 0;
    std::optional<Value> old;
    std::optional<Value> now;
  };

  /// An empty prefix is none.
  explicit FlatTable(std::string_view prefix = {}) : start_(prefix.empty() ? root : below(root, prefix)) {}

  void add(Value value, Side side) { flatten(value, start_, side); }

  /// In the order of their first appearance.
  const std::vector<Leaf>& leaves() const { return leaves_; }

  std::string pathText(std::uint32_t path) const {
    std::vector<std::string_view> components;
    for (; path != root; path = steps_[path].above) components.push_back(steps_[path].component);
    std::string text;
    for (auto each = components.rbegin(); each != components.rend(); ++each) {
      if (!text.empty()) text += separator;
      text += *each;
    }
    return text;
  }

 private:
  static constexpr std::uint32_t root = 0;
  static constexpr std::uint32_t noLeaf = std::numeric_limits<std::uint32_t>::max();

  struct Step {
    std::uint32_t above = root;
    std::uint32_t leaf = noLeaf;  ///< its place in `leaves_`
    std::string_view component;   ///< of the key in `numbers_`
  };
  struct Key {
    std::uint32_t above;
    std::string component;
    bool operator==(const Key&) const = default;
  };
  struct KeyHash {
    std::size_t operator()(const Key& key) const noexcept {
      return std::hash<std::string_view>()(key.component) ^ (key.above * std::size_t{0x9E3779B97F4A7C15});
    }
  };

  std::uint32_t below(std::uint32_t above, std::string_view component) {
    const auto [entry, isNew] =
        numbers_.try_emplace(Key{above, std::string(component)}, static_cast<std::uint32_t>(steps_.size()));
    if (isNew) steps_.push_back({above, noLeaf, entry->first.component});
    return entry->second;
  }

  void flatten(Value value, std::uint32_t path, Side side) {
    if (value.isNull()) return;
    if (value.isObject()) return flattenObject(value, path, side);
    if (value.isArray()) return flattenList(value, path, side);
    if (steps_[path].leaf == noLeaf) {
      steps_[path].leaf = static_cast<std::uint32_t>(leaves_.size());
      leaves_.push_back({path, {}, {}});
    }
    auto& leaf = leaves_[steps_[path].leaf];
    (side == Side::old ? leaf.old : leaf.now) = value;
  }

  void flattenObject(Value value, std::uint32_t path, Side side) {
    for (const auto& [key, member] : value.sortedMembers())
      flatten(member, below(path, ObjectDescriber::label(key)), side);
  }

  void flattenList(Value value, std::uint32_t path, Side side) {
    std::size_t position = 0;
    for (const Value element : value.elements()) {
      ++position;
      auto name = usableName(element);
      flatten(element, below(path, "[" + (name ? std::move(*name) : std::to_string(position)) + "]"), side);
    }
  }

  /// What tells an element from its neighbours, wherever it stands: a plain value, since the text of a list
  /// is that of all that lies in it.
  static std::optional<std::string> usableName(Value element) {
    for (const std::string_view key : {"name", "id"}) {
      const auto value = element[key];
      if (!value || value->isObject() || value->isArray()) continue;
      auto name = ObjectDescriber::text(value);
      if (name && !name->empty()) return name;
    }
    return std::nullopt;
  }

  std::unordered_map<Key, std::uint32_t, KeyHash> numbers_;
  std::vector<Step> steps_{Step{}};
  std::vector<Leaf> leaves_;
  std::uint32_t start_;
};

/// A leaf in its text form.
std::optional<std::string> leafText(const std::optional<Value>& leaf) {
  if (!leaf) return std::nullopt;
  return ObjectDescriber::text(leaf).value_or("");
}

/// Texts that are the same need not be put into their form for people.
bool areTheSameText(const std::optional<Value>& old, const std::optional<Value>& now) {
  if (!old || !now) return false;
  const auto text = old->string();
  return text && text == now->string();
}

/// The list element that a path leads into.
struct ElementPath {
  std::string_view parent;   ///< the list's path, empty for a list at the top
  std::string_view element;  ///< the path up to the bracket that closes the element's name
  std::string key;           ///< its name
};

std::optional<ElementPath> elementOf(std::string_view path) {
  const auto last = path.rfind(elementStart);
  const bool isTop = last == path.npos;
  if (isTop && !path.starts_with('[')) return std::nullopt;
  const auto name = isTop ? 1 : last + elementStart.size();
  const auto close = path.find(']', name);
  if (close == path.npos) return std::nullopt;
  auto key = std::string(path.substr(name, close - name)).append(path.substr(close + 1));
  if (const auto field = key.find(separator); field != key.npos) key.resize(field);
  return ElementPath{path.substr(0, isTop ? 0 : last), path.substr(0, close + 1), std::move(key)};
}

}  // namespace

std::vector<FieldChange> JSONDiff::changes(const std::optional<Value>& old, const std::optional<Value>& now,
                                           std::string_view prefix, std::size_t limit) {
  FlatTable table(prefix);
  if (old) table.add(*old, FlatTable::Side::old);
  if (now) table.add(*now, FlatTable::Side::now);
  std::vector<FieldChange> found;
  for (const auto& leaf : table.leaves()) {
    if (found.size() >= limit) break;
    if (areTheSameText(leaf.old, leaf.now)) continue;
    auto before = leafText(leaf.old);
    auto after = leafText(leaf.now);
    if (before == after) continue;
    found.push_back({table.pathText(leaf.path), std::move(before), std::move(after)});
  }
  return collapse(std::move(found));
}

void JSONDiff::forEachLeaf(Value value, const OnLeaf& onLeaf) {
  FlatTable table;
  table.add(value, FlatTable::Side::now);
  for (const auto& leaf : table.leaves())
    if (!onLeaf([&] { return table.pathText(leaf.path); }, *leaf.now)) return;
}

std::vector<FieldChange> JSONDiff::collapse(std::vector<FieldChange> changes) {
  struct Sides {
    bool old = false;
    bool now = false;
  };
  std::vector<std::optional<ElementPath>> elements;
  std::unordered_map<std::string_view, Sides> groups;
  for (const auto& change : changes) {
    const auto& element = elements.emplace_back(elementOf(change.path));
    if (!element) continue;
    auto& sides = groups[element->element];
    sides.old |= change.old.has_value();
    sides.now |= change.new_.has_value();
  }

  std::unordered_set<std::string_view> visited;
  std::vector<FieldChange> folded;
  for (std::size_t i = 0; i < changes.size(); ++i) {
    const auto& element = elements[i];
    const auto sides = element ? groups.at(element->element) : Sides{true, true};
    if (sides.old && sides.now) {
      folded.push_back(changes[i]);
      continue;
    }
    if (!visited.insert(element->element).second) continue;
    FieldChange whole{element->parent.empty() ? "List" : std::string(element->parent), {}, {}};
    (sides.old ? whole.old : whole.new_) = element->key;
    folded.push_back(std::move(whole));
  }
  return folded;
}

}  // namespace orvik
