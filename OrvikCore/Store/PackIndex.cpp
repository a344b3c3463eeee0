#include "OrvikCore/Store/PackIndex.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

namespace orvik {

namespace json = platform::json;

namespace {

PackRange decodeRange(json::View view) {
  if (!view.isArray()) throw json::DecodingError("", "not an array");
  PackRange range;
  std::size_t count = 0;
  for (const auto element : view.elements()) {
    const auto number = json::decodeValue<std::int64_t>(element);
    if (count == 0) range.offset = number;
    range.length = number;
    ++count;
  }
  range.isPair = count == 2;
  return range;
}

/// Sorts, and of each name keeps what was read last.
template <class Entries, class Name>
void settle(Entries& entries, Name nameOf) {
  if (std::ranges::adjacent_find(entries, std::ranges::greater_equal(), nameOf) == entries.end()) return;
  std::ranges::stable_sort(entries, {}, nameOf);
  std::ranges::reverse(entries);
  const auto repeated = std::ranges::unique(entries, {}, nameOf);
  entries.erase(repeated.begin(), repeated.end());
  std::ranges::reverse(entries);
}

}  // namespace

const PackRange* PackObjects::find(const ObjectKey& key) const noexcept {
  const auto found = std::ranges::lower_bound(entries, key, {}, &Entry::key);
  return found != entries.end() && found->key == key ? &found->range : nullptr;
}

void PackObjects::encode(json::Writer& writer) const {
  if (!others.empty()) throw std::logic_error("a pack holds a name that is no object's");
  writer.beginObject();
  for (const auto& entry : entries) {
    writer.key(entry.key.text());
    writer.beginArray();
    writer.integer(entry.range.offset);
    writer.integer(entry.range.length);
    writer.endArray();
  }
  writer.endObject();
}

PackObjects PackObjects::decode(json::View view) {
  if (!view.isObject()) throw json::DecodingError("", "not an object");
  PackObjects objects;
  const auto members = view.members();
  objects.entries.reserve(members.count());
  for (const auto& [name, value] : members) {
    const auto key = ObjectKey::parse(name);
    try {
      if (key)
        objects.entries.push_back({*key, decodeRange(value)});
      else
        objects.others.emplace_back(name, decodeRange(value));
    } catch (const json::DecodingError& error) {
      throw error.below(name);
    }
  }
  settle(objects.entries, &Entry::key);
  settle(objects.others, [](const auto& other) -> const std::string& { return other.first; });
  return objects;
}

bool PackIndex::namesPlainFile() const noexcept {
  return !pack.empty() && !pack.starts_with('.') && pack.find('/') == std::string::npos &&
         pack.find('\0') == std::string::npos;
}

}  // namespace orvik
