#include "OrvikCore/Store/BackupRepository.h"

#include <algorithm>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "Platform/Files/Files.h"
#include "Platform/JSON/Walk.h"
#include "Platform/Locale/Text.h"
#include "TuvCore/Error.h"

namespace orvik {

namespace files = platform::files;
namespace json = platform::json;

namespace {

template <class Record>
std::optional<Record> load(const std::filesystem::path& path, std::uint64_t limit) {
  const auto bytes = files::tryRead(path, limit);
  return bytes ? BackupFormat::makeDecoder().tryDecode<Record>(*bytes) : std::nullopt;
}

std::string partialName(std::string_view id) { return std::string(id).append(BackupFormat::partialSuffix); }

/// All names in a folder, ascending as bytes, those that begin with "." too; empty when it can't be read.
std::vector<std::string> allNames(const std::filesystem::path& folder) {
  try {
    auto names = files::list(folder);
    std::ranges::sort(names);
    return names;
  } catch (const files::FileError&) {
    return {};
  }
}

/// The bytes of an index, sealed or not. A section whose name would lead elsewhere or be invisible has none.
std::optional<platform::Bytes> indexBytes(const std::filesystem::path& folder, std::string_view section) {
  const bool isPlainName = !section.empty() && !section.starts_with('.') &&
                           section.find('/') == std::string_view::npos &&
                           section.find('\0') == std::string_view::npos;
  if (!isPlainName) return std::nullopt;
  return files::tryRead(folder / BackupFormat::sectionPath(section), BackupFormat::indexLimit);
}

/// Nothing for sealed bytes that `cipher` doesn't open.
std::optional<platform::Bytes> opened(platform::Bytes bytes, const std::optional<BackupCipher>& cipher) {
  if (!BackupCipher::isSealed(bytes)) return bytes;
  if (!cipher) return std::nullopt;
  try {
    return cipher->open(bytes);
  } catch (const tuv::Error&) {
    return std::nullopt;
  }
}

std::optional<SectionIndex> decodedIndex(const std::optional<platform::Bytes>& bytes) {
  return bytes ? BackupFormat::makeDecoder().tryDecode<SectionIndex>(*bytes) : std::nullopt;
}

/// The element of a list of records that bears an ID; of several the first.
template <class Record>
std::optional<Record> recordWithID(const std::optional<json::View>& list, std::string_view id) {
  if (!list) return std::nullopt;
  for (const json::View element : list->elements()) {
    const auto own = element["id"];
    if (own && own->string() == id) return json::decodeValue<Record>(element);
  }
  return std::nullopt;
}

}  // namespace

std::vector<InstanceDescriptor> BackupRepository::discoverInstances(const Path& root) {
  std::vector<std::pair<std::string, InstanceDescriptor>> found;
  for (const auto& name : allNames(root))
    if (auto descriptor = BackupRepository(root, name).descriptor()) {
      auto key = platform::locale::sortKey(descriptor->name);
      found.emplace_back(std::move(key), std::move(*descriptor));
    }
  std::ranges::stable_sort(found, {}, [](const auto& entry) -> const std::string& { return entry.first; });

  std::vector<InstanceDescriptor> instances;
  for (auto& [key, descriptor] : found) instances.push_back(std::move(descriptor));
  return instances;
}

std::optional<InstanceDescriptor> BackupRepository::descriptor() const {
  return load<InstanceDescriptor>(instanceDirectory / BackupFormat::instanceFile, BackupFormat::recordLimit);
}

void BackupRepository::writeDescriptor(const InstanceDescriptor& instance) const {
  ObjectStore::atomicWrite(BackupFormat::makeEncoder().encode(instance),
                           instanceDirectory / BackupFormat::instanceFile);
}

BackupRepository::Path BackupRepository::backupsDirectory() const {
  return instanceDirectory / BackupFormat::backupsFolder;
}

BackupRepository::Path BackupRepository::backupDirectory(std::string_view id) const {
  return backupsDirectory() / id;
}

BackupRepository::Path BackupRepository::partialDirectory(std::string_view id) const {
  return backupsDirectory() / partialName(id);
}

bool BackupRepository::isBackupName(std::string_view id) noexcept {
  return !id.empty() && !id.starts_with('.') && id.find('/') == std::string_view::npos &&
         id.find('\0') == std::string_view::npos && !id.ends_with(BackupFormat::partialSuffix);
}

ObjectStore BackupRepository::store() const { return {instanceDirectory, {}, {}}; }

std::optional<BackupCipher> BackupRepository::cipher() const {
  return BackupEncryption::cipherFor(instanceDirectory);
}

bool BackupRepository::isLocked() const {
  return BackupEncryption::isEncrypted(instanceDirectory) && !cipher();
}

std::vector<std::string> BackupRepository::backupFolderNames() const {
  return files::visibleNames(backupsDirectory());
}

std::optional<BackupManifest> BackupRepository::manifest(std::string_view id) const {
  if (!isBackupName(id)) return std::nullopt;
  return load<BackupManifest>(backupDirectory(id) / BackupFormat::manifestFile, BackupFormat::manifestLimit);
}

std::vector<BackupRepository::Backup> BackupRepository::completeBackups() const {
  std::vector<Backup> backups;
  for (auto& name : backupFolderNames())
    if (auto found = manifest(name)) backups.push_back({std::move(name), std::move(*found)});
  std::ranges::reverse(backups);
  return backups;
}

std::optional<BackupRepository::Backup> BackupRepository::latestComplete() const {
  auto names = backupFolderNames();
  for (auto name = names.rbegin(); name != names.rend(); ++name)
    if (auto found = manifest(*name)) return Backup{std::move(*name), std::move(*found)};
  return std::nullopt;
}

std::vector<std::string> BackupRepository::partialBackupIDs() const {
  std::vector<std::string> ids;
  for (auto& name : backupFolderNames())
    if (name.ends_with(BackupFormat::partialSuffix))
      ids.push_back(name.substr(0, name.size() - BackupFormat::partialSuffix.size()));
  std::ranges::sort(ids);
  return ids;
}

std::optional<SectionIndex> BackupRepository::index(std::string_view backupID,
                                                    std::string_view section) const {
  return isBackupName(backupID) ? indexIn(backupDirectory(backupID), section) : std::nullopt;
}

std::optional<SectionIndex> BackupRepository::indexIn(const Path& folder, std::string_view section) const {
  return decodedIndex(plainIndex(folder, section));
}

std::optional<BackupRepository::Lookup> BackupRepository::lookUp(const Path& folder, std::string_view section,
                                                                 std::string_view id) const {
  const auto bytes = plainIndex(folder, section);
  if (!bytes) return std::nullopt;
  Lookup found;
  try {
    json::lookAt(*bytes, [&](json::View root) {
      json::walkValue<SectionIndex>(root, [](const auto&, json::View) {});
      found = {recordWithID<IndexItem>(root["items"], id), recordWithID<ItemError>(root["errors"], id),
               recordWithID<RemovedItem>(root["removed"], id)};
    });
  } catch (const platform::Error&) {
    return std::nullopt;
  }
  return found;
}

std::optional<platform::Bytes> BackupRepository::plainIndex(const Path& folder,
                                                            std::string_view section) const {
  auto bytes = indexBytes(folder, section);
  if (!bytes) return std::nullopt;
  // Asked for only when it is needed: getting a key may cost a look into the keychain.
  const auto opener = BackupCipher::isSealed(*bytes) ? cipher() : std::nullopt;
  return opened(std::move(*bytes), opener);
}

void BackupRepository::writeIndex(const SectionIndex& index, const Path& path,
                                  const std::optional<BackupCipher>& cipher) {
  const auto bytes = BackupFormat::makeEncoder().encode(index);
  if (cipher)
    ObjectStore::atomicWrite(cipher->seal(bytes), path);
  else
    ObjectStore::atomicWrite(bytes, path);
}

std::optional<SectionIndex> BackupRepository::loadIndex(const Path& folder, std::string_view section,
                                                        const std::optional<BackupCipher>& cipher) {
  auto bytes = indexBytes(folder, section);
  return bytes ? decodedIndex(opened(std::move(*bytes), cipher)) : std::nullopt;
}

std::int64_t BackupRepository::diskUsage() const noexcept { return files::allocatedSize(instanceDirectory); }

}  // namespace orvik
