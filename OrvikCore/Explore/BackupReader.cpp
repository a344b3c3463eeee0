#include "OrvikCore/Explore/BackupReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <string_view>
#include <utility>

#include "OrvikCore/Explore/JSONDiff.h"
#include "OrvikCore/Explore/NaturalOrder.h"
#include "OrvikCore/Explore/ObjectDescriber.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Files/Files.h"
#include "TuvCore/Error.h"

namespace orvik {

namespace files = platform::files;

namespace {

using Variant = ObjectDescriber::Variant;

BackupManifest readManifest(const BackupRepository& repository, std::string_view backupID) {
  if (!BackupRepository::isBackupName(backupID))
    throw tuv::Error(fmt::format("\"{}\" can't be the ID of a backup.", backupID));
  const auto path = repository.backupDirectory(backupID) / BackupFormat::manifestFile;
  platform::Bytes bytes;
  files::read(path, bytes, BackupFormat::manifestLimit);
  try {
    return BackupFormat::makeDecoder().decode<BackupManifest>(bytes);
  } catch (const platform::Error& error) {
    throw tuv::Error(fmt::format("{} is no manifest of a backup: {}", path.string(), error.description()));
  }
}

// Entries of something that has no stored objects.

BackupReader::Entry entryOf(std::string_view sectionID, RemovedItem removed) {
  BackupReader::Entry entry;
  entry.sectionID = sectionID;
  entry.item.id = std::move(removed.id);
  entry.item.name = std::move(removed.name);
  entry.removed = true;
  return entry;
}

BackupReader::Entry entryOf(std::string_view sectionID, ItemError error) {
  BackupReader::Entry entry;
  entry.sectionID = sectionID;
  entry.item.id = std::move(error.id);
  entry.item.name = std::move(error.name);
  entry.error = std::move(error.message);
  return entry;
}

/// The payloads of a profile that are in `from` and not in `to`.
std::vector<std::string> missingPayloads(const std::vector<std::string>& from,
                                         const std::vector<std::string>& to) {
  const std::set<std::string_view> there(to.begin(), to.end());
  std::vector<std::string> missing;
  for (const auto& name : from)
    if (!there.contains(name)) missing.push_back(name);
  return missing;
}

std::optional<std::string_view> payloadXML(const std::optional<ObjectDescriber::Value>& value) {
  if (!value) return std::nullopt;
  const auto node = ObjectDescriber::node({"general", "payloads"}, *value);
  return node ? node->string() : std::nullopt;
}

/// Which payloads of a configuration profile came and went.
std::vector<FieldChange> payloadChanges(const std::optional<ObjectDescriber::Value>& from,
                                        const std::optional<ObjectDescriber::Value>& to) {
  const auto oldXML = payloadXML(from);
  const auto newXML = payloadXML(to);
  if (!oldXML || !newXML || *oldXML == *newXML) return {};
  const auto old = ObjectDescriber::payloadSummary(*oldXML);
  const auto now = ObjectDescriber::payloadSummary(*newXML);
  std::vector<FieldChange> changes;
  for (auto& name : missingPayloads(old, now)) changes.push_back({"Payloads", std::move(name), {}});
  for (auto& name : missingPayloads(now, old)) changes.push_back({"Payloads", {}, std::move(name)});
  return changes;
}

std::optional<std::string> digestOf(const IndexItem& item) {
  return item.file ? item.file->sha256 : std::nullopt;
}

std::optional<std::string> digestText(const std::optional<std::string>& sha256) {
  if (!sha256) return std::nullopt;
  return "SHA-256 " + sha256->substr(0, 12) + "…";
}

bool hasSameContent(const BackupReader& reader, const IndexItem& from, const IndexItem& to) {
  return std::ranges::equal(from.objects, to.objects, [&](const auto& old, const auto& now) {
    if (old == now) return true;
    try {
      return old.first == now.first && reader.rawJSON(old.second) == reader.rawJSON(now.second);
    } catch (const tuv::Error&) {
      return false;
    }
  });
}

std::optional<ObjectDescriber::Value> unwrapped(const JSONTree& tree) {
  if (!tree.raw()) return std::nullopt;
  return ObjectDescriber::unwrap(*tree.raw());
}

}  // namespace

std::string BackupReader::Entry::id() const {
  return fmt::format("{}:{}{}", sectionID, removed ? "removed:" : error ? "error:" : "", item.id);
}

std::string BackupReader::Entry::displayNameOf(const IndexItem& item) {
  if (item.name && !item.name->empty()) return *item.name;
  return item.id == "settings" ? "Settings" : "#" + item.id;
}

BackupReader::ChangeKind BackupReader::Entry::change() const {
  if (removed) return ChangeKind::removed;
  if (error) return ChangeKind::failed;
  switch (item.change) {
    case IndexItem::Change::new_:
      return ChangeKind::new_;
    case IndexItem::Change::changed:
      return ChangeKind::changed;
    case IndexItem::Change::unchanged:
      break;
  }
  return ChangeKind::unchanged;
}

BackupReader::BackupReader(BackupRepository folder, std::string_view backupID)
    : repository(std::move(folder)), manifest(readManifest(repository, backupID)) {
  // The name of its folder is what tells a backup, whatever ID it states itself.
  if (manifest.backupID != backupID) overrideDirectory = repository.backupDirectory(backupID);
}

BackupReader::BackupReader(BackupRepository folder, BackupManifest record, std::optional<Path> directory)
    : repository(std::move(folder)), manifest(std::move(record)), overrideDirectory(std::move(directory)) {}

BackupReader::Path BackupReader::directory() const {
  return overrideDirectory ? *overrideDirectory : repository.backupDirectory(manifest.backupID);
}

bool BackupReader::isLocked() const { return repository.isLocked(); }

std::vector<BackupReader::Section> BackupReader::sections() const {
  std::vector<Section> sections;
  for (const auto& summary : manifest.sections) {
    const auto* definition = SectionCatalog::definition(summary.id);
    sections.push_back({summary, definition ? definition->group : SectionDefinition::Group::secondary});
  }
  std::ranges::stable_sort(sections, {},
                           [](const Section& each) { return SectionCatalog::position(each.summary.id); });
  return sections;
}

std::optional<SectionIndex> BackupReader::index(std::string_view sectionID) const {
  return repository.indexIn(directory(), sectionID);
}

std::vector<BackupReader::Entry> BackupReader::entries(std::string_view sectionID) const {
  auto found = index(sectionID);
  if (!found) return {};
  std::vector<Entry> entries;
  entries.reserve(found->items.size() + found->removed.size() + found->errors.size());
  for (auto& item : found->items) entries.push_back({std::string(sectionID), std::move(item), false, {}});
  for (auto& removed : found->removed) entries.push_back(entryOf(sectionID, std::move(removed)));
  for (auto& error : found->errors) entries.push_back(entryOf(sectionID, std::move(error)));
  return inNaturalOrder(std::move(entries), &Entry::displayName);
}

std::optional<IndexItem> BackupReader::item(std::string_view sectionID, std::string_view id) const {
  const auto found = repository.lookUp(directory(), sectionID, id);
  return found ? found->item : std::nullopt;
}

std::optional<BackupReader::Entry> BackupReader::entry(std::string_view sectionID,
                                                       std::string_view id) const {
  auto found = repository.lookUp(directory(), sectionID, id);
  if (!found) return std::nullopt;
  if (found->item) return Entry{std::string(sectionID), std::move(*found->item), false, {}};
  if (found->error) return entryOf(sectionID, std::move(*found->error));
  if (found->removed) return entryOf(sectionID, std::move(*found->removed));
  return std::nullopt;
}

JSONTree BackupReader::json(std::string_view hash) const {
  const auto bytes = rawJSON(hash);
  try {
    return JSONTree::parse(bytes);
  } catch (const platform::json::ParseError& error) {
    throw platform::json::ParseError(fmt::format("The object {} is not JSON: {}", hash, error.description()));
  }
}

platform::Bytes BackupReader::rawJSON(std::string_view hash) const { return repository.store().object(hash); }

ObjectDescription BackupReader::describe(const Entry& entry) const {
  std::vector<JSONTree> documents;
  std::vector<Variant> variants;
  for (const auto& [variant, hash] : entry.item.objects) {
    try {
      documents.push_back(json(hash));
      variants.push_back({variant, documents.back().raw().value()});
    } catch (const tuv::Error&) {
      // What can't be read is left out; the others may say enough.
    }
  }
  auto description =
      ObjectDescriber::describe(entry.sectionID, entry.displayName(), std::move(variants), entry.item.file);
  if (entry.change() != ChangeKind::changed || !manifest.parentBackupID) return description;
  if (!BackupRepository::isBackupName(*manifest.parentBackupID)) return description;
  const auto parent =
      repository.lookUp(repository.backupDirectory(*manifest.parentBackupID), entry.sectionID, entry.item.id);
  if (parent && parent->item) description.changes = changes(*parent->item, entry.item);
  return description;
}

std::vector<FieldChange> BackupReader::changes(const IndexItem& from, const IndexItem& to) const {
  std::set<std::string> variants;
  for (const auto* item : {&from, &to})
    for (const auto& object : item->objects) variants.insert(object.first);
  const bool isNamed = from.objects.size() > 1 || to.objects.size() > 1;
  const auto treeOf = [this](const IndexItem& item, const std::string& variant) {
    const auto object = item.objects.find(variant);
    if (object == item.objects.end()) return JSONTree();
    try {
      return json(object->second);
    } catch (const tuv::Error&) {
      return JSONTree();
    }
  };

  std::vector<FieldChange> found;
  for (const auto& variant : variants) {
    const auto before = from.objects.find(variant);
    const auto after = to.objects.find(variant);
    const bool isInBoth = before != from.objects.end() && after != to.objects.end();
    if (isInBoth && before->second == after->second) continue;
    const auto oldTree = treeOf(from, variant);
    const auto newTree = treeOf(to, variant);
    const auto old = unwrapped(oldTree);
    const auto now = unwrapped(newTree);
    std::ranges::move(JSONDiff::changes(old, now, isNamed ? ObjectDescriber::variantTitle(variant) : ""),
                      std::back_inserter(found));
    std::ranges::move(payloadChanges(old, now), std::back_inserter(found));
  }
  if (digestOf(from) != digestOf(to))
    found.push_back({"File content", digestText(digestOf(from)), digestText(digestOf(to))});
  return found;
}

std::optional<std::vector<FieldChange>> BackupReader::difference(const IndexItem& from,
                                                                 const IndexItem& to) const {
  if (from.objects == to.objects && digestOf(from) == digestOf(to)) return std::nullopt;
  auto found = changes(from, to);
  if (found.empty() && hasSameContent(*this, from, to)) return std::nullopt;
  return found;
}

}  // namespace orvik
