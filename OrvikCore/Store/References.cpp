#include "OrvikCore/Store/References.h"

#include <fmt/format.h>

#include <cerrno>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Format/SectionIndex.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Store/BackupJournal.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "Platform/JSON/Walk.h"

namespace orvik {

namespace files = platform::files;
namespace json = platform::json;

void NameSet::insert(std::string_view name) {
  if (const auto key = ObjectKey::parse(name))
    keys_.insert(*key);
  else if (!others_.contains(name))
    others_.emplace(name);
}

bool NameSet::contains(std::string_view name) const {
  const auto key = ObjectKey::parse(name);
  return key ? keys_.contains(*key) : others_.contains(name);
}

namespace {

/// The visible names of a folder, ascending; none when it doesn't exist. What is there and can't be listed
/// hides references.
std::vector<std::string> namesIn(const std::filesystem::path& folder) {
  try {
    return files::listVisible(folder);
  } catch (const files::FileError& error) {
    if ((error.code() == ENOENT || error.code() == ENOTDIR) && !files::exists(folder)) return {};
    throw IncompleteReferences(error.description());
  }
}

/// Takes the references out of an index as it is walked.
class Collector {
 public:
  explicit Collector(References& references) : references_(references) {}

  void operator()(const json::Field<IndexItem, std::map<std::string, std::string>>&,
                  json::View objects) const {
    for (const auto& [variant, hash] : objects.members()) references_.objects.insert(hash.string().value());
  }
  void operator()(const json::Field<IndexItem, std::optional<FileRef>>&, json::View file) const {
    // The file's name is required of it, so whatever has a digest is a reference.
    const auto digest = file["sha256"];
    if (const auto text = digest ? digest->string() : std::nullopt) references_.files.insert(*text);
  }
  void operator()(const auto&, json::View) const {}

 private:
  References& references_;
};

/// Reads the indexes of one folder after another, with buffers that are used again.
class Marker {
 public:
  Marker(const BackupRepository& repository, const std::stop_token& stop)
      : repository_(repository), cipher_(repository.cipher()), stop_(stop) {}

  References readAll(const std::set<std::string>& without) {
    const auto& instance = repository_.instanceDirectory;
    if (files::exists(instance / BackupFormat::encryptionFile)) requireKey(instance);
    for (const auto& name : namesIn(repository_.backupsDirectory()))
      if (!without.contains(name)) readFolder(repository_.backupsDirectory() / name);
    return std::move(references_);
  }

 private:
  /// For what is sealed.
  void requireKey(const std::filesystem::path& path) const {
    if (!cipher_)
      throw IncompleteReferences(fmt::format("{} is sealed and no key for it is at hand.", path.string()));
  }

  void readFolder(const std::filesystem::path& folder) {
    const auto sections = folder / BackupFormat::sectionsFolder;
    for (const auto& name : namesIn(sections)) {
      platform::throwIfCancelled(stop_);
      if (name.ends_with(BackupFormat::sectionSuffix)) readIndex(sections / name);
    }
    if (folder.native().ends_with(BackupFormat::partialSuffix)) readJournal(folder);
  }

  void readIndex(const std::filesystem::path& path) {
    try {
      files::read(path, stored_, BackupFormat::indexLimit);
      if (BackupCipher::isSealed(stored_)) {
        requireKey(path);
        cipher_->open(stored_, plain_);
        walk(plain_);
      } else {
        walk(stored_);
      }
    } catch (const IncompleteReferences&) {
      throw;
    } catch (const platform::Error& error) {
      throw IncompleteReferences(fmt::format("{} can't be read: {}", path.string(), error.description()));
    }
  }

  void walk(const platform::Bytes& bytes) {
    json::lookAt(bytes,
                 [&](json::View root) { json::walkValue<SectionIndex>(root, Collector(references_)); });
  }

  void readJournal(const std::filesystem::path& folder) {
    // A sealed run whose key record is gone names its objects in lines that nobody can read.
    const auto state = PartialBackupState::load(folder);
    if (state && state->encrypted.value_or(false)) requireKey(folder);
    for (const auto& entry : BackupJournal::read(folder, cipher_)) {
      for (const auto& [variant, hash] : entry.item.objects) references_.objects.insert(hash);
      if (entry.item.file && entry.item.file->sha256) references_.files.insert(*entry.item.file->sha256);
    }
  }

  const BackupRepository& repository_;
  const std::optional<BackupCipher> cipher_;
  const std::stop_token stop_;
  References references_;
  platform::Bytes stored_;
  platform::Bytes plain_;
};

}  // namespace

References readReferences(const BackupRepository& repository, const std::set<std::string>& without,
                          const std::stop_token& stop) {
  return Marker(repository, stop).readAll(without);
}

}  // namespace orvik
