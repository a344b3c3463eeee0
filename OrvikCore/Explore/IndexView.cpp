#include "OrvikCore/Explore/IndexView.h"

#include "OrvikCore/Explore/BackupReader.h"
#include "Platform/JSON/Codable.h"

namespace orvik {

namespace json = platform::json;

namespace {

/// The members of an item that a comparison looks at, taken in one walk.
struct Parts {
  std::optional<json::View> id;
  std::optional<json::View> objects;
  std::optional<json::View> file;

  static Parts of(json::View item) {
    Parts parts;
    for (const auto& [key, value] : item.members()) {
      if (key == "id") parts.id = value;
      if (key == "objects") parts.objects = value;
      if (key == "file") parts.file = value;
    }
    return parts;
  }
};

std::optional<std::string_view> digestOf(const std::optional<json::View>& file) {
  const auto digest = file ? (*file)["sha256"] : std::nullopt;
  return digest ? digest->string() : std::nullopt;
}

/// Members in the same order with the same texts; the files of the store have them sorted.
bool areTheSame(json::View one, json::View other) {
  const auto these = one.members();
  const auto those = other.members();
  auto a = these.begin();
  auto b = those.begin();
  for (; a != these.end() && b != those.end(); ++a, ++b)
    if ((*a).key != (*b).key || (*a).value.string() != (*b).value.string()) return false;
  return a == these.end() && b == those.end();
}

}  // namespace

std::optional<IndexView> IndexView::of(const BackupReader& reader, std::string_view sectionID) try {
  const auto bytes = reader.repository.plainIndex(reader.directory(), sectionID);
  if (!bytes) return std::nullopt;
  IndexView index;
  index.document_ = json::Document::parse(*bytes);
  const auto root = index.document_->root();
  const auto items = root["items"];
  const auto removed = root["removed"];
  const auto errors = root["errors"];
  if (!items || !items->isArray() || !removed || !errors) return std::nullopt;
  for (const json::View item : items->elements()) {
    const auto parts = Parts::of(item);
    const auto id = parts.id ? parts.id->string() : std::nullopt;
    if (!id || !parts.objects || !parts.objects->isObject()) return std::nullopt;
    index.items_.push_back({*id, item});
  }
  index.removed_ = json::decodeValue<std::vector<RemovedItem>>(*removed);
  index.errors_ = json::decodeValue<std::vector<ItemError>>(*errors);
  return index;
} catch (const platform::Error&) {
  return std::nullopt;
}

IndexItem IndexView::record(const Item& item) { return json::decodeValue<IndexItem>(item.value); }

bool IndexView::refersToTheSame(const Item& one, const Item& other) {
  const auto these = Parts::of(one.value);
  const auto those = Parts::of(other.value);
  return areTheSame(these.objects.value(), those.objects.value()) &&
         digestOf(these.file) == digestOf(those.file);
}

}  // namespace orvik
