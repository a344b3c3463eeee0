#include "OrvikCore/Store/References.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
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

void NameSet::insertAll(const NameSet& other) {
  keys_.insertAll(other.keys_);
  others_.insert(other.others_.begin(), other.others_.end());
}

bool NameSet::contains(std::string_view name) const {
  const auto key = ObjectKey::parse(name);
  return key ? keys_.contains(*key) : others_.contains(name);
}

void NameFeed::insert(std::string_view name) {
  const auto key = ObjectKey::parse(name);
  if (!key) return names_.insert(name);
  auto& place = keys_[count_ % waiting];
  if (count_ >= waiting) names_.keys_.insert(place);
  place = *key;
  names_.keys_.prepare(place);
  ++count_;
}

void NameFeed::finish() {
  for (std::size_t i = 0; i < std::min(count_, waiting); ++i) names_.keys_.insert(keys_[i]);
}

namespace {

/// The visible names of a folder, ascending; none when it doesn't exist. What is there and can't be listed
/// hides references, and so does a listing that leaves a name out, as those of shares do now and then: two
/// have to agree.
std::vector<std::string> namesIn(const std::filesystem::path& folder) {
  try {
    auto names = files::listVisible(folder);
    if (names != files::listVisible(folder))
      throw IncompleteReferences(
          fmt::format("{} gives other names each time it is listed.", folder.string()));
    return names;
  } catch (const files::FileError& error) {
    if ((error.code() == ENOENT || error.code() == ENOTDIR) && !files::exists(folder)) return {};
    throw IncompleteReferences(error.description());
  }
}

/// Takes the references out of an index as it is walked.
class Collector {
 public:
  Collector(NameFeed& objects, NameFeed& files) : objects_(objects), files_(files) {}

  void operator()(const json::Field<IndexItem, std::map<std::string, std::string>>&,
                  json::View objects) const {
    for (const auto& [variant, hash] : objects.members()) objects_.insert(hash.string().value());
  }
  void operator()(const json::Field<IndexItem, std::optional<FileRef>>&, json::View file) const {
    // The file's name is required of it, so whatever has a digest is a reference.
    const auto digest = file["sha256"];
    if (const auto text = digest ? digest->string() : std::nullopt) files_.insert(*text);
  }
  void operator()(const auto&, json::View) const {}

 private:
  NameFeed& objects_;
  NameFeed& files_;
};

/// The files that hold references: indexes, and the folders of interrupted runs for their journals.
struct Places {
  std::vector<std::filesystem::path> indexes;
  std::vector<std::filesystem::path> runs;
};

Places placesIn(const BackupRepository& repository, const std::set<std::string>& without) {
  Places places;
  for (const auto& backup : namesIn(repository.backupsDirectory())) {
    if (without.contains(backup)) continue;
    const auto folder = repository.backupsDirectory() / backup;
    // A link to a disk that isn't mounted hides a whole backup.
    if (!files::isDirectory(folder) && !files::isFile(folder))
      throw IncompleteReferences(fmt::format("{} leads to no folder.", folder.string()));
    const auto sections = folder / BackupFormat::sectionsFolder;
    for (const auto& name : namesIn(sections))
      if (name.ends_with(BackupFormat::sectionSuffix)) places.indexes.push_back(sections / name);
    if (backup.ends_with(BackupFormat::partialSuffix)) places.runs.push_back(folder);
  }
  return places;
}

/// Reads one file after another into one set of references, with buffers that are used again. For one thread.
class Marker {
 public:
  explicit Marker(const std::optional<BackupCipher>& cipher) : cipher_(cipher) {}

  void readIndex(const std::filesystem::path& path);
  void readJournal(const std::filesystem::path& folder);
  /// For what is sealed.
  void requireKey(const std::filesystem::path& path) const;

  References references;

 private:
  void walk(const platform::Bytes& bytes);

  const std::optional<BackupCipher>& cipher_;
  platform::Bytes stored_;
  platform::Bytes plain_;
};

void Marker::requireKey(const std::filesystem::path& path) const {
  if (!cipher_)
    throw IncompleteReferences(fmt::format("{} is sealed and no key for it is at hand.", path.string()));
}

void Marker::readIndex(const std::filesystem::path& path) {
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

void Marker::walk(const platform::Bytes& bytes) {
  NameFeed objects(references.objects);
  NameFeed digests(references.files);
  json::lookAt(bytes,
               [&](json::View root) { json::walkValue<SectionIndex>(root, Collector(objects, digests)); });
  objects.finish();
  digests.finish();
}

void Marker::readJournal(const std::filesystem::path& folder) {
  // A sealed run whose key record is gone names its objects in lines that nobody can read.
  const auto state = PartialBackupState::load(folder);
  if (state && state->encrypted.value_or(false)) requireKey(folder);
  const auto path = folder / BackupFormat::journalFile;
  if (!files::exists(path)) return;
  try {
    files::read(path, stored_, BackupFormat::indexLimit);
  } catch (const files::FileError& error) {
    throw IncompleteReferences(error.description());
  }
  for (const auto& entry : BackupJournal::parse(stored_, cipher_)) {
    for (const auto& [variant, hash] : entry.item.objects) references.objects.insert(hash);
    if (entry.item.file && entry.item.file->sha256) references.files.insert(*entry.item.file->sha256);
  }
}

/// The first failure, by the order of the files, of several threads.
class FirstFailure {
 public:
  bool isThere() const noexcept { return isThere_; }
  void note(std::size_t position) noexcept {
    const std::lock_guard lock(mutex_);
    if (isThere_ && position_ < position) return;
    position_ = position;
    failure_ = std::current_exception();
    isThere_ = true;
  }
  void rethrow() const {
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  std::atomic<bool> isThere_{false};
  std::mutex mutex_;  // guards what follows
  std::size_t position_ = 0;
  std::exception_ptr failure_;
};

/// Reads all indexes, each once, into one marker for each thread.
void readAll(const std::vector<std::filesystem::path>& indexes, std::vector<Marker>& markers,
             const std::stop_token& stop) {
  std::atomic<std::size_t> next{0};
  FirstFailure failure;
  const auto work = [&](Marker& marker) {
    for (std::size_t i; !failure.isThere() && (i = next.fetch_add(1)) < indexes.size();) {
      try {
        platform::throwIfCancelled(stop);
        marker.readIndex(indexes[i]);
      } catch (...) {
        failure.note(i);
      }
    }
  };
  std::vector<std::jthread> others;
  for (std::size_t i = 1; i < markers.size(); ++i) others.emplace_back(work, std::ref(markers[i]));
  work(markers.front());
  others.clear();
  failure.rethrow();
}

/// Every thread has a set of its own, and the sets are nearly alike: more threads cost more memory.
std::size_t threadsFor(std::size_t indexes) {
  constexpr std::size_t most = 4;
  constexpr std::size_t worthAThread = 16;  // indexes
  const std::size_t cores = std::max(std::thread::hardware_concurrency(), 1U);
  return std::clamp<std::size_t>(indexes / worthAThread, 1, std::min(cores, most));
}

}  // namespace

References readReferences(const BackupRepository& repository, const std::set<std::string>& without,
                          const std::stop_token& stop) {
  const auto cipher = repository.cipher();
  const auto& instance = repository.instanceDirectory;
  Marker first(cipher);
  if (files::exists(instance / BackupFormat::encryptionFile)) first.requireKey(instance);

  const auto places = placesIn(repository, without);
  std::vector<Marker> markers(threadsFor(places.indexes.size()), first);
  readAll(places.indexes, markers, stop);
  for (const auto& run : places.runs) markers.front().readJournal(run);

  auto references = std::move(markers.front().references);
  for (std::size_t i = 1; i < markers.size(); ++i) {
    references.objects.insertAll(markers[i].references.objects);
    references.files.insertAll(markers[i].references.files);
  }
  return references;
}

}  // namespace orvik
