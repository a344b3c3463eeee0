#include "OrvikCore/Store/CollectionPreflight.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Store/BackupJournal.h"
#include "OrvikCore/Store/GarbageCollection.h"
#include "OrvikCore/Store/PackCache.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace {

namespace files = platform::files;
using Kind = CollectionRefused::Kind;
using Path = std::filesystem::path;

[[noreturn]] void refuse(Kind kind, std::string_view what, std::string_view whatToDo) {
  throw CollectionRefused(kind, fmt::format("{}, so nothing is deleted. {}", what, whatToDo));
}

/// The visible names of a folder; none when it isn't there. One that can't be listed is a refusal: an error
/// is not emptiness.
std::vector<std::string> namesIn(const Path& folder) try {
  return files::listVisible(folder);
} catch (const files::FileError& error) {
  if (error.kind() == files::FileErrorKind::notFound && !files::exists(folder)) return {};
  refuse(Kind::incomplete, error.description(), "Try again when the folder can be read.");
}

bool storeIsEmpty(const BackupRepository& repository) {
  const auto store = repository.instanceDirectory / BackupFormat::storeFolder;
  for (const auto folder : {BackupFormat::objectsFolder, BackupFormat::filesFolder})
    for (const auto& shard : namesIn(store / folder))
      if (!files::visibleNames(store / folder / shard).empty()) return false;
  return namesIn(store / BackupFormat::packsFolder).empty();
}

bool isPartial(const std::string& name) { return name.ends_with(BackupFormat::partialSuffix); }

/// Whether marking finds an index there: a visible ".json" right below "sections".
bool isIndexPath(const std::string& path) {
  const auto folder = std::string(BackupFormat::sectionsFolder) + "/";
  if (!path.starts_with(folder) || !path.ends_with(BackupFormat::sectionSuffix)) return false;
  const auto name = path.substr(folder.size());
  return !name.starts_with('.') && name.find('/') == std::string::npos &&
         name.find('\0') == std::string::npos;
}

class Check {
 public:
  Check(const BackupRepository& repository, const std::stop_token& stop)
      : repository_(repository), stop_(stop) {}

  void look(const std::vector<std::string>& folders, UnfinishedRuns unfinished) {
    requireRecord();
    requireStore();
    for (const auto& name : folders) {
      platform::throwIfCancelled(stop_);
      const auto folder = repository_.backupsDirectory() / name;
      if (!files::isDirectory(folder)) continue;
      if (isPartial(name))
        lookAtRun(folder, unfinished);
      else
        lookAtBackup(name, folder);
    }
    if (!hasFinished_ && !storeIsEmpty(repository_)) refuseToEmptyTheStore();
  }

 private:
  Path record() const { return repository_.instanceDirectory / BackupFormat::encryptionFile; }

  /// A store that shows a part of itself is no store to clean up.
  void requireStore() const {
    const auto store = repository_.instanceDirectory / BackupFormat::storeFolder;
    for (const auto folder :
         {BackupFormat::objectsFolder, BackupFormat::filesFolder, BackupFormat::packsFolder})
      namesIn(store / folder);
  }

  void requireRecord() const {
    if (files::exists(record()) && !BackupEncryption::isEncrypted(repository_.instanceDirectory))
      refuse(Kind::sealed,
             fmt::format("The folder is sealed, but {} can't be read, and nobody can tell what its "
                         "backups need",
                         record().string()),
             "Put the file back from a copy.");
    if (repository_.isLocked())
      refuse(
          Kind::sealed,
          fmt::format("{} is sealed and no key at hand opens it, and nobody can tell what its backups need",
                      repository_.instanceDirectory.string()),
          "Make the organisation's private key available.");
  }

  /// For a backup or run that says it is sealed.
  void requireRecordFor(const Path& folder) const {
    if (BackupEncryption::isEncrypted(repository_.instanceDirectory)) return;
    refuse(Kind::sealed,
           fmt::format("{} is sealed, but {} is missing, and nobody can tell what it needs", folder.string(),
                       record().string()),
           "Put the file back from a copy.");
  }

  void lookAtBackup(const std::string& name, const Path& folder) {
    const auto manifest = repository_.manifest(name);
    const auto file = folder / BackupFormat::manifestFile;
    if (!manifest && !files::exists(file)) return;  // no finished backup; its indexes protect what they name
    if (!manifest)
      refuse(Kind::incomplete, fmt::format("{} can't be read", file.string()),
             "Put the file back from a copy, or delete the backup's folder if you can do without that "
             "backup.");
    hasFinished_ = true;
    if (manifest->encryption) requireRecordFor(folder);
    requireIndexes(manifest->sections, folder, file);
  }

  void lookAtRun(const Path& folder, UnfinishedRuns unfinished) const {
    if (unfinished == UnfinishedRuns::refuse)
      refuse(Kind::unfinished, fmt::format("The interrupted run {} waits to be taken up", folder.string()),
             "Let a backup finish it first.");
    const auto state = PartialBackupState::load(folder);
    if (state && state->encrypted.value_or(false)) requireRecordFor(folder);
    const auto file = folder / BackupFormat::summariesFile;
    if (!files::exists(file)) return;
    const auto bytes = files::tryRead(file, BackupFormat::manifestLimit);
    const auto summaries =
        bytes ? BackupFormat::makeDecoder().tryDecode<std::vector<SectionSummary>>(*bytes) : std::nullopt;
    if (!summaries)
      refuse(Kind::incomplete, fmt::format("{} can't be read", file.string()),
             "Let a backup take the interrupted run up.");
    requireIndexes(*summaries, folder, file);
  }

  void requireIndexes(const std::vector<SectionSummary>& summaries, const Path& folder,
                      const Path& declaredBy) const {
    for (const auto& summary : summaries) {
      platform::throwIfCancelled(stop_);
      if (!summary.index || (isIndexPath(*summary.index) && files::isFile(folder / *summary.index))) continue;
      refuse(Kind::incomplete,
             fmt::format("The index {} is missing, though {} names it", (folder / *summary.index).string(),
                         declaredBy.string()),
             "Put the file back from a copy, or wait until the folder is synchronised.");
    }
  }

  [[noreturn]] void refuseToEmptyTheStore() const {
    const auto backups = repository_.backupsDirectory();
    refuse(Kind::incomplete,
           fmt::format("{} {}, while the store is not empty", backups.string(),
                       files::exists(backups) ? "holds no finished backup" : "is missing"),
           "If backups should be there, put them back; if not, delete the whole folder yourself.");
  }

  const BackupRepository& repository_;
  const std::stop_token& stop_;
  bool hasFinished_ = false;
};

/// That the store holds what a plan keeps.
class ContentCheck {
 public:
  ContentCheck(const BackupRepository& repository, const std::stop_token& stop)
      : repository_(repository),
        store_(repository.store()),
        packs_(store_.packsDirectory()),
        stop_(stop),
        cipher_(repository.cipher()) {}

  void requireObjects(const NameSet& names) const {
    PackCache::shared().invalidate(packs_);
    names.forEach([&](const std::string& name) {
      platform::throwIfCancelled(stop_);
      if (!PackCache::shared().holds(name, packs_) &&
          !store_.hasContent(name, ObjectStore::IncludingOverlay::no))
        refuseFor("object", name);
    });
  }

  void requireFiles(const NameSet& digests) const {
    digests.forEach([&](const std::string& digest) {
      platform::throwIfCancelled(stop_);
      if (!store_.hasFile(digest)) refuseFor("package file", digest);
    });
  }

  /// Each item of the section of package files says which file it means, where it has one.
  void requireDigests(const Path& folder) const {
    const auto index = BackupRepository::loadIndex(folder, filesSection, cipher_);
    if (!index) return;  // the section wasn't read
    using enum FileRef::Status;
    const auto isOdd = [](const IndexItem& item) {
      return !item.file ||
             (!item.file->sha256 && (item.file->status == downloaded || item.file->status == reused));
    };
    const auto odd = std::ranges::find_if(index->items, isOdd);
    if (odd == index->items.end()) return;
    refuse(Kind::incomplete,
           fmt::format("{} doesn't say which package file {} is",
                       (folder / BackupFormat::sectionPath(filesSection)).string(), odd->id),
           "Put the index back from a copy.");
  }

 private:
  static constexpr std::string_view filesSection = "packageFiles";

  [[noreturn]] void refuseFor(std::string_view kind, const std::string& name) const {
    refuse(Kind::incomplete,
           fmt::format("The {} {} is missing from {}, though a backup refers to it", kind, name,
                       repository_.instanceDirectory.string()),
           "It may lie there under a damaged name. orvik check tells all that is missing. Put it back from a "
           "copy, or let the next backup store it again.");
  }

  const BackupRepository& repository_;
  const ObjectStore store_;
  const Path packs_;
  const std::stop_token& stop_;
  const std::optional<BackupCipher> cipher_;
};

/// A name that only one of two listings has.
std::string differenceOf(const std::vector<std::string>& before, const std::vector<std::string>& now) {
  std::vector<std::string> changed;
  std::ranges::set_symmetric_difference(before, now, std::back_inserter(changed));
  return changed.empty() ? std::string() : changed.front();
}

}  // namespace

CollectionPreflight CollectionPreflight::check(const BackupRepository& repository, UnfinishedRuns unfinished,
                                               const std::stop_token& stop) {
  CollectionPreflight preflight{namesIn(repository.backupsDirectory())};
  Check(repository, stop).look(preflight.folders, unfinished);
  preflight.requireUnchanged(repository);
  return preflight;
}

void CollectionPreflight::requireContent(const CollectionPlan& plan, const BackupRepository& repository,
                                         const std::set<std::string>& without,
                                         const std::stop_token& stop) const {
  if (plan.expected() == CleanupResult()) return;
  const ContentCheck check(repository, stop);
  check.requireObjects(plan.keep.objects);
  check.requireFiles(plan.keep.files);
  if (plan.files.empty()) return;
  for (const auto& name : folders)
    if (!without.contains(name)) check.requireDigests(repository.backupsDirectory() / name);
}

void CollectionPreflight::requireUnchanged(const BackupRepository& repository) const {
  const auto now = namesIn(repository.backupsDirectory());
  if (now == folders) return;
  refuse(Kind::changing,
         fmt::format("{} changes while it is looked at: {} was not there both times",
                     repository.backupsDirectory().string(), differenceOf(folders, now)),
         "Try again when nobody writes there and the folder is synchronised.");
}

}  // namespace orvik
