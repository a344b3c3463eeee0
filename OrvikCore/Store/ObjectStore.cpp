#include "OrvikCore/Store/ObjectStore.h"

#include <cerrno>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Store/PackCache.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/Files/Files.h"
#include "Platform/Hex.h"
#include "Platform/JSON/Canonical.h"

namespace orvik {

namespace files = platform::files;

std::optional<platform::Bytes> ObjectStore::canonicalJSON(const Bytes& data) {
  return platform::json::canonical(data);
}

std::string ObjectStore::sha256(std::string_view data) { return platform::sha256Hex(data); }

ObjectStore::Stored ObjectStore::store(const Bytes& data) const {
  const auto canonical = canonicalJSON(data);
  const Bytes& plain = canonical ? *canonical : data;
  Stored result{cipher ? cipher->name(plain) : sha256(plain), canonical.has_value()};

  const bool maybeEmpty = plain.empty() && !cipher;
  const bool isThere =
      maybeEmpty ? has(result.name, IncludingOverlay::yes) : hasContent(result.name, IncludingOverlay::yes);
  if (isThere) return result;

  const Path target = overlay.value_or(instanceDirectory) / BackupFormat::objectPath(result.name);
  const Bytes sealed = cipher ? cipher->seal(plain) : Bytes();
  const Bytes& stored = cipher ? sealed : plain;
  if (stored.size() > BackupFormat::objectLimit) files::throwFileError("write", target, EFBIG);
  atomicWrite(stored, target);
  return result;
}

bool ObjectStore::has(std::string_view hash, IncludingOverlay includingOverlay) const noexcept try {
  if (!platform::isLowerHex64(hash)) return false;
  if (includingOverlay == IncludingOverlay::yes && overlay &&
      files::isFile(*overlay / BackupFormat::objectPath(hash)))
    return true;
  return PackCache::shared().contains(hash, packsDirectory()) || files::isFile(objectURL(hash));
} catch (...) {
  return false;
}

bool ObjectStore::hasContent(std::string_view hash, IncludingOverlay includingOverlay) const noexcept try {
  if (!platform::isLowerHex64(hash)) return false;
  const auto path = BackupFormat::objectPath(hash);
  if (includingOverlay == IncludingOverlay::yes && overlay)
    if (const auto size = files::size(*overlay / path)) return *size > 0;
  if (const auto size = files::size(instanceDirectory / path)) return *size > 0;
  return PackCache::shared().holds(hash, packsDirectory());
} catch (...) {
  return false;
}

platform::Bytes ObjectStore::stored(std::string_view hash) const {
  Bytes bytes;
  readStored(hash, bytes);
  return bytes;
}

void ObjectStore::readStored(std::string_view hash, Bytes& buffer) const {
  if (!platform::isLowerHex64(hash))
    files::throwFileError("read the object", instanceDirectory / BackupFormat::storeFolder, ENOENT);
  if (overlay) {
    if (auto bytes = files::tryRead(*overlay / BackupFormat::objectPath(hash), BackupFormat::objectLimit)) {
      buffer = std::move(*bytes);
      return;
    }
  }
  const auto loose = objectURL(hash);
  if (auto bytes = files::tryRead(loose, BackupFormat::objectLimit)) {
    buffer = std::move(*bytes);
    return;
  }
  // The loose file's failure counts when the object is nowhere; looking again gives it, or what came
  // meanwhile.
  if (!PackCache::shared().read(hash, packsDirectory(), buffer))
    files::read(loose, buffer, BackupFormat::objectLimit);
}

const BackupCipher* ObjectStore::anyCipher(std::optional<BackupCipher>& found) const noexcept {
  if (cipher) return &*cipher;
  found = BackupEncryption::cipherFor(instanceDirectory);
  return found ? &*found : nullptr;
}

platform::Bytes ObjectStore::object(std::string_view hash) const {
  Bytes bytes = stored(hash);
  if (!BackupCipher::isSealed(bytes)) return bytes;
  std::optional<BackupCipher> found;
  if (const auto* opener = anyCipher(found)) return opener->open(bytes);
  throw BackupEncryptionError::locked(BackupEncryption::keyIDs(instanceDirectory));
}

bool ObjectStore::isIntact(std::string_view hash, std::string_view stored) const noexcept try {
  if (!BackupCipher::isSealed(stored)) return sha256(stored) == hash;
  std::optional<BackupCipher> found;
  const auto* opener = anyCipher(found);
  if (!opener) return false;
  thread_local Bytes plain;  // kept, so that a verification takes memory once
  opener->open(stored, plain);
  return opener->name(plain) == hash;
} catch (...) {
  return false;
}

std::optional<ObjectStore::Location> ObjectStore::location(std::string_view hash) const noexcept try {
  if (!platform::isLowerHex64(hash)) return std::nullopt;
  if (auto loose = objectURL(hash); files::isFile(loose)) return loose;
  if (auto packed = PackCache::shared().location(hash, packsDirectory())) return std::move(*packed);
  return std::nullopt;
} catch (...) {
  return std::nullopt;
}

ObjectStore::Path ObjectStore::objectURL(std::string_view hash) const {
  return instanceDirectory / BackupFormat::objectPath(hash);
}

ObjectStore::Path ObjectStore::fileURL(std::string_view sha256) const {
  return instanceDirectory / BackupFormat::filePath(sha256);
}

ObjectStore::Path ObjectStore::packsDirectory() const {
  return instanceDirectory / BackupFormat::storeFolder / BackupFormat::packsFolder;
}

ObjectStore::Path ObjectStore::downloadsDirectory() const {
  return overlay.value_or(instanceDirectory) / BackupFormat::storeFolder / BackupFormat::downloadsFolder;
}

bool ObjectStore::hasFile(std::string_view sha256) const noexcept try {
  return platform::isLowerHex64(sha256) && files::isFile(fileURL(sha256));
} catch (...) {
  return false;
}

void ObjectStore::adoptFile(const Path& source, std::string_view sha256, const std::stop_token& stop) const {
  if (!platform::isLowerHex64(sha256)) files::throwFileError("store the file", source, EINVAL);
  if (hasFile(sha256)) return files::remove(source);
  const Path target = fileURL(sha256);
  files::createDirectories(target.parent_path());
  files::move(source, target, stop);
}

void ObjectStore::atomicWrite(std::string_view data, const Path& path) { files::atomicWrite(data, path); }

}  // namespace orvik
