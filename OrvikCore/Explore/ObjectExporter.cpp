#include "OrvikCore/Explore/ObjectExporter.h"

#include <algorithm>
#include <array>
#include <unordered_map>
#include <utility>

#include "OrvikCore/Explore/ExportNames.h"
#include "OrvikCore/Explore/ObjectDescriber.h"
#include "OrvikCore/Jamf/DownloadError.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Security/BackupEncryptionError.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace {

namespace files = platform::files;
using namespace std::string_view_literals;
using Entry = BackupReader::Entry;
using Path = std::filesystem::path;

constexpr std::array profileSections{"computerConfigurationProfiles"sv, "mobileConfigurationProfiles"sv};
constexpr std::array scriptSections{"scripts"sv, "computerExtensionAttributes"sv,
                                    "mobileExtensionAttributes"sv, "userExtensionAttributes"sv};
constexpr auto packagesSection = "packages"sv;
constexpr auto filesSection = "packageFiles"sv;

constexpr std::filesystem::perms executableMode{0755};
constexpr std::filesystem::perms plainMode{0644};

template <class Names>
bool contains(const Names& names, std::string_view name) {
  return std::ranges::find(names, name) != names.end();
}

/// A stored object of an entry. Holds its document, which `variant` looks into.
struct Record {
  platform::Bytes bytes;
  JSONTree tree;
  ObjectDescriber::Variant variant;  ///< unwrapped
};

Record recordOf(const std::string& variant, platform::Bytes bytes) {
  auto tree = JSONTree::parse(bytes);
  const auto value = ObjectDescriber::unwrap(tree.raw().value());
  return {std::move(bytes), std::move(tree), {variant, value}};
}

/// Nothing for one that can't be read or is no JSON.
std::optional<Record> readRecord(const std::string& variant, const std::string& hash,
                                 const BackupReader& reader) {
  try {
    return recordOf(variant, reader.rawJSON(hash));
  } catch (const tuv::Error&) {
    return std::nullopt;
  }
}

/// The names of an entry's variants and objects by rank.
std::vector<std::pair<std::string, std::string>> rankedObjects(const Entry& entry) {
  std::vector<std::pair<std::string, std::string>> objects(entry.item.objects.begin(),
                                                           entry.item.objects.end());
  std::ranges::stable_sort(objects, {},
                           [](const auto& object) { return ObjectDescriber::variantRank(object.first); });
  return objects;
}

std::vector<Record> readRecords(const Entry& entry, const BackupReader& reader) {
  std::vector<Record> records;
  for (const auto& [variant, hash] : rankedObjects(entry))
    if (auto record = readRecord(variant, hash, reader)) records.push_back(*std::move(record));
  return records;
}

/// The text of the first record that has one there.
std::optional<std::string> firstText(const std::vector<Record>& records, const ObjectDescriber::Path& path) {
  for (const auto& record : records) {
    const auto node = ObjectDescriber::node(path, record.variant.value);
    if (const auto text = node ? node->string() : std::nullopt; text && !text->empty())
      return std::string(*text);
  }
  return std::nullopt;
}

std::optional<ObjectExport> profileExport(const Entry& entry, const std::vector<Record>& records) {
  auto xml = firstText(records, {"general", "payloads"});
  if (!xml) return std::nullopt;
  return ObjectExport{
      "Configuration profile (.mobileconfig)",
      ObjectExporter::fileName(ObjectExporter::safeName(entry.displayName()) + ".mobileconfig"),
      ObjectExport::Data{*std::move(xml), false}};
}

std::optional<ObjectExport> scriptExport(const Entry& entry, const std::vector<Record>& records) {
  const auto* spec = ObjectDescriber::spec(entry.sectionID);
  if (!spec) return std::nullopt;
  std::vector<ObjectDescriber::Variant> variants;
  for (const auto& record : records) variants.push_back(record.variant);
  auto texts = ObjectDescriber::texts(*spec, variants);
  const auto script = std::ranges::find_if(texts, &ObjectDescription::Text::isCode);
  if (script == texts.end()) return std::nullopt;
  auto name = ObjectExporter::fileName(ObjectExporter::scriptFileName(entry.displayName(), script->text));
  const auto extension = FileNameParts::of(name).extension;
  auto title = "Script (" + std::string(extension.empty() ? "file" : extension) + ")";
  return ObjectExport{std::move(title), std::move(name), ObjectExport::Data{std::move(script->text), true}};
}

ObjectExport jsonExport(const Entry& entry, Record record) {
  const bool isOnly = entry.item.objects.size() == 1;
  const auto& variant = record.variant.name;
  auto title = isOnly ? "JSON" : "JSON (" + ObjectDescriber::variantTitle(variant) + ")";
  auto name = ObjectExporter::safeName(entry.displayName()) + (isOnly ? "" : "." + variant) + ".json";
  return {std::move(title), ObjectExporter::fileName(name),
          ObjectExport::Data{std::move(record.bytes), false}};
}

/// The package files of a backup by their names. Read once, when the first is looked for.
class PackageFiles {
 public:
  explicit PackageFiles(const BackupReader& reader) : reader_(reader) {}

  const FileRef* find(const std::string& fileName) {
    if (!files_) read();
    const auto found = files_->find(fileName);
    return found == files_->end() ? nullptr : &found->second;
  }

 private:
  void read() {
    files_.emplace();
    if (const auto index = reader_.index(filesSection))
      for (const auto& item : index->items)
        if (item.file) files_->emplace(item.file->fileName, *item.file);
  }

  const BackupReader& reader_;
  std::optional<std::unordered_map<std::string, FileRef>> files_;
};

std::optional<Path> storedFile(const FileRef* file, const BackupReader& reader,
                               const std::vector<Path>& roots) {
  if (!file || !file->sha256) return std::nullopt;
  std::vector<ObjectStore> stores{reader.repository.store()};
  for (const auto& root : roots) stores.push_back(BackupRepository(root).store());
  for (const auto& store : stores)
    if (store.hasFile(*file->sha256)) return store.fileURL(*file->sha256);
  return std::nullopt;
}

std::optional<ObjectExport> packageExport(const Entry& entry, const std::vector<Record>& records,
                                          const BackupReader& reader, const std::vector<Path>& roots,
                                          PackageFiles& known) {
  const FileRef* file = entry.item.file ? &*entry.item.file : nullptr;
  auto name = file ? file->fileName : firstText(records, {"fileName"}).value_or("");
  if (name.empty()) return std::nullopt;
  if (entry.sectionID == packagesSection)
    if (const auto* found = known.find(name)) file = found;
  auto exported = ObjectExporter::fileName(name);
  if (auto path = storedFile(file, reader, roots))
    return ObjectExport{"Package file", std::move(exported), ObjectExport::StoredFile{*std::move(path)}};
  return ObjectExport{"Package file (not in this backup)", std::move(exported),
                      ObjectExport::NotInBackup{std::move(name), file ? file->size : std::nullopt}};
}

bool isText(std::string_view sectionID) {
  return contains(profileSections, sectionID) || contains(scriptSections, sectionID);
}

/// Requires: `isText` of the entry's section.
std::optional<ObjectExport> textExport(const Entry& entry, const std::vector<Record>& records) {
  return contains(profileSections, entry.sectionID) ? profileExport(entry, records)
                                                    : scriptExport(entry, records);
}

std::optional<ObjectExport> nativeExport(const Entry& entry, const std::vector<Record>& records,
                                         const BackupReader& reader, PackageFiles& known) {
  if (isText(entry.sectionID)) return textExport(entry, records);
  return packageExport(entry, records, reader, {}, known);
}

/// What a section's export writes of an entry.
std::optional<ObjectExport> firstExport(const Entry& entry, const BackupReader& reader, PackageFiles& known) {
  if (ObjectExporter::hasNativeExport(entry.sectionID))
    return nativeExport(entry, readRecords(entry, reader), reader, known);
  for (const auto& [variant, hash] : rankedObjects(entry))
    if (auto record = readRecord(variant, hash, reader)) return jsonExport(entry, *std::move(record));
  return std::nullopt;
}

bool canBeWritten(const std::optional<ObjectExport>& object) {
  return object && !std::holds_alternative<ObjectExport::NotInBackup>(object->content);
}

/// What is sealed reads as nothing; that must not pass for a section without objects.
void requireReadable(std::string_view sectionID, const BackupReader& reader) {
  if (reader.isLocked() && !reader.index(sectionID))
    throw BackupEncryptionError::locked(BackupEncryption::keyIDs(reader.repository.instanceDirectory));
}

/// Writes what an export holds.
struct Writing {
  const Path& destination;
  const std::stop_token& stop;

  void operator()(const ObjectExport::Data& data) const {
    files::atomicWrite(data.data, destination, files::Flush::no,
                       data.executable ? std::optional(executableMode) : std::nullopt);
  }
  void operator()(const ObjectExport::StoredFile& file) const {
    if (destination.has_parent_path()) files::createDirectories(destination.parent_path());
    files::copyReplacing(file.path, destination, plainMode, stop);
  }
  [[noreturn]] void operator()(const ObjectExport::NotInBackup& file) const {
    throw DownloadError::noSource(file.fileName + " is not in this backup");
  }
};

}  // namespace

bool ObjectExporter::hasNativeExport(std::string_view sectionID) {
  return isText(sectionID) || sectionID == packagesSection || sectionID == filesSection;
}

std::vector<ObjectExporter::NamedJSON> ObjectExporter::storedJSON(const BackupReader::Entry& entry,
                                                                  const BackupReader& reader) {
  std::vector<NamedJSON> stored;
  for (const auto& [variant, hash] : rankedObjects(entry)) stored.push_back({variant, reader.rawJSON(hash)});
  return stored;
}

std::optional<ObjectExport> ObjectExporter::nativeText(const BackupReader::Entry& entry,
                                                       const std::vector<NamedJSON>& stored) {
  if (!isText(entry.sectionID)) return std::nullopt;
  std::vector<Record> records;
  for (const auto& [variant, bytes] : stored) records.push_back(recordOf(variant, bytes));
  return textExport(entry, records);
}

std::vector<ObjectExport> ObjectExporter::exports(const BackupReader::Entry& entry,
                                                  const BackupReader& reader) {
  std::vector<ObjectExport> exports;
  auto records = readRecords(entry, reader);
  if (hasNativeExport(entry.sectionID)) {
    PackageFiles known(reader);
    if (auto native = nativeExport(entry, records, reader, known)) exports.push_back(*std::move(native));
  }
  for (auto& record : records) exports.push_back(jsonExport(entry, std::move(record)));
  return exports;
}

std::optional<ObjectExport> ObjectExporter::packageFile(const BackupReader::Entry& entry,
                                                        const BackupReader& reader,
                                                        const std::vector<Path>& roots) {
  PackageFiles known(reader);
  return packageExport(entry, readRecords(entry, reader), reader, roots, known);
}

void ObjectExporter::write(const ObjectExport& object, const Path& destination, const std::stop_token& stop) {
  std::visit(Writing{destination, stop}, object.content);
}

ObjectExporter::SectionExportResult ObjectExporter::exportSection(
    std::string_view sectionID, const BackupReader& reader, const Path& folder, const OnWritten& onWritten,
    const Accepts& accepts, const std::stop_token& stop) {
  requireReadable(sectionID, reader);
  files::createDirectories(folder);
  SectionExportResult result;
  PackageFiles known(reader);
  ExportNames names;
  for (const auto& entry : reader.entries(sectionID)) {
    platform::throwIfCancelled(stop);
    if (!entry.isStored()) continue;
    const auto object = accepts && !accepts(entry) ? std::nullopt : firstExport(entry, reader, known);
    if (!canBeWritten(object)) {
      result.skipped.push_back(entry.displayName());
      continue;
    }
    const Path path = folder / names.take(object->fileName);
    write(*object, path, stop);
    ++result.written;
    if (onWritten) onWritten(entry, path);
  }
  return result;
}

}  // namespace orvik
