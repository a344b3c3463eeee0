#include "orvik/Explore/Tree/ObjectFiles.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>
#include <variant>

#include "OrvikCore/Explore/ExportNames.h"
#include "OrvikCore/Explore/ObjectExporter.h"
#include "orvik/Explore/BackupChoice.h"
#include "orvik/Explore/Tree/TreeNames.h"

namespace orvik::host {

namespace {

using Entry = BackupReader::Entry;

/// Why the first of the entry's objects that can't be relied on can't be.
std::optional<std::string> troubleOf(const Entry& entry, const BackupReader& backup) {
  for (const auto& [variant, hash] : entry.item.objects)
    if (auto trouble = troubleWith(backup, hash)) return trouble;
  return std::nullopt;
}

ObjectFile nativeFile(const Entry& entry, ObjectExport text) {
  const auto [base, extension] = FileNameParts::of(text.fileName);
  auto& data = std::get<ObjectExport::Data>(text.content);
  return {treeNames::file(base, entry.item.id, extension), std::move(data.data), data.executable};
}

/// The stored objects are canonical, but for those that another program stored.
platform::Bytes textOf(const platform::Bytes& bytes) {
  auto text = ObjectStore::canonicalJSON(bytes).value_or(bytes);
  text += '\n';
  return text;
}

}  // namespace

ObjectFiles ObjectFiles::of(const Entry& entry, const BackupReader& backup) {
  ObjectFiles result;
  result.trouble = troubleOf(entry, backup);
  if (result.trouble) return result;
  const auto stored = ObjectExporter::storedJSON(entry, backup);
  if (auto native = ObjectExporter::nativeText(entry, stored))
    result.files.push_back(nativeFile(entry, *std::move(native)));
  bool isFirst = true;
  for (const auto& [variant, bytes] : stored) {
    const auto extension = isFirst ? ".json" : fmt::format(".{}.json", treeNames::word(variant));
    result.files.push_back(
        {treeNames::file(entry.displayName(), entry.item.id, extension), textOf(bytes), false});
    isFirst = false;
  }
  return result;
}

std::string ObjectFiles::sourceOf(const Entry& entry) {
  std::string source = entry.displayName();
  for (const auto& [variant, hash] : entry.item.objects) {
    source += '\0';
    source += variant;
    source += '\0';
    source += hash;
  }
  return source;
}

}  // namespace orvik::host
