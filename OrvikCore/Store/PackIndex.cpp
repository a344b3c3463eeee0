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
  const auto sameName = [&](const auto& a, const auto& b) {
    return std::invoke(nameOf, a) == std::invoke(nameOf, b);
  };
  std::ranges::stable_sort(entries, {}, nameOf);
  std::ranges::reverse(entries);
  entries.erase(std::unique(entries.begin(), entries.end(), sameName), entries.end());
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

bool PackIndex::readsBackFrom(const platform::Bytes& text) const noexcept try {
  bool isSame = false;
  json::lookAt(text, [&](json::View root) {
    const auto version = root["formatVersion"];
    const auto name = root["pack"];
    const auto entries = root["objects"];
    if (!version || !name || !entries || json::decodeValue<int>(*version) != formatVersion ||
        name->string() != pack || !objects.others.empty())
      return;
    auto expected = objects.entries.begin();
    for (const auto& [hash, range] : entries->members()) {
      if (expected == objects.entries.end() || ObjectKey::parse(hash) != expected->key ||
          decodeRange(range) != expected->range)
        return;
      ++expected;
    }
    isSame = expected == objects.entries.end();
  });
  return isSame;
} catch (const std::exception&) {
  return false;
}

}  // namespace orvik
