#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Format/BackupManifest.h"
#include "OrvikCore/Format/InstanceDescriptor.h"
#include "OrvikCore/Format/SectionIndex.h"
#include "OrvikCore/Security/BackupCipher.h"
#include "OrvikCore/Store/CleanupResult.h"
#include "OrvikCore/Store/ObjectStore.h"
#include "Platform/Date.h"

namespace orvik {

/// The view of one instance folder as a set of backups: which exist, which are complete, which were
/// interrupted.
///
/// A plain value that holds no open handle; any thread may call. What can't be read or decoded doesn't exist:
/// reading operations answer nothing or an empty list. Reading needs no lock, since a backup is seen only
/// once its folder is published with its manifest in place. Names in the folder that begin with "." are
/// invisible.
struct BackupRepository {
  using Path = std::filesystem::path;

  Path instanceDirectory;

  explicit BackupRepository(Path directory) : instanceDirectory(std::move(directory)) {}
  BackupRepository(const Path& root, std::string_view slug) : instanceDirectory(root / slug) {}

  /// The instances that have a folder below `root`, by name in the user's sorting. An instance's own folder
  /// may begin with ".".
  static std::vector<InstanceDescriptor> discoverInstances(const Path& root);

  std::optional<InstanceDescriptor> descriptor() const;
  /// Throws `platform::files::FileError`.
  void writeDescriptor(const InstanceDescriptor& instance) const;

  Path backupsDirectory() const;
  /// The folder of a published backup and of an unfinished run. Requires: `isBackupName(id)`.
  Path backupDirectory(std::string_view id) const;
  Path partialDirectory(std::string_view id) const;

  /// Whether `id` can name a backup: not empty, no path, no leading ".", no ending ".partial".
  static bool isBackupName(std::string_view id) noexcept;

  /// A store of this folder without overlay and cipher.
  ObjectStore store() const;
  /// The cipher that is unlocked for this folder, if any.
  std::optional<BackupCipher> cipher() const;
  /// True when the instance is sealed and no key is available. Nothing to do with the lock file.
  bool isLocked() const;

  /// A manifest by the name of its folder, whatever ID it states itself.
  std::optional<BackupManifest> manifest(std::string_view id) const;

  /// A finished backup: the name of its folder, where its files are read, and its manifest.
  struct Backup {
    std::string id;
    BackupManifest manifest;
  };

  /// All finished backups, newest first: folders with a manifest that decodes.
  std::vector<Backup> completeBackups() const;
  std::optional<Backup> latestComplete() const;
  /// The IDs of unfinished runs, ascending.
  std::vector<std::string> partialBackupIDs() const;

  std::optional<SectionIndex> index(std::string_view backupID, std::string_view section) const;
  /// The same below any backup's or run's folder.
  std::optional<SectionIndex> indexIn(const Path& folder, std::string_view section) const;

  /// An index in plain bytes, not looked at; nothing when it isn't there or can't be opened.
  std::optional<platform::Bytes> plainIndex(const Path& folder, std::string_view section) const;

  /// What an index says of one object.
  struct Lookup {
    std::optional<IndexItem> item;
    std::optional<ItemError> error;
    std::optional<RemovedItem> removed;
  };
  /// Looks an ID up in an index without building its other items. Nothing where `indexIn` gives nothing.
  std::optional<Lookup> lookUp(const Path& folder, std::string_view section, std::string_view id) const;

  /// Writes an index, sealed when there is a cipher. Throws `FileError` or the cipher's error.
  static void writeIndex(const SectionIndex& index, const Path& path,
                         const std::optional<BackupCipher>& cipher);
  /// The index of a section below a backup's or a run's folder; `cipher` is needed only when it is sealed.
  static std::optional<SectionIndex> loadIndex(const Path& folder, std::string_view section,
                                               const std::optional<BackupCipher>& cipher);

  /// The allocated size of the whole folder in bytes.
  std::int64_t diskUsage() const noexcept;

  // What follows changes the folder; the caller holds its lock. Each looks at `stop` while it works and
  // throws `platform::CancellationError`; what is left then is whole.

  using CleanupResult = orvik::CleanupResult;

  /// Deletes the finished backups that the limits let go, then collects garbage, in any case. The newest
  /// backup always stays. Throws `FileError` at the first folder that can't be deleted.
  CleanupResult applyRetention(int keepCount, int keepDays, platform::Date now,
                               const std::stop_token& stop = {}) const;

  /// Deletes what no backup and no interrupted run refers to, and writes packs anew that are garbage by half.
  /// Deletes nothing, and reports zeros, unless every index could be read. Throws as `carryOut`.
  CleanupResult collectGarbage(const std::stop_token& stop = {}) const;

  /// Deletes one finished backup, then collects garbage. (`delete` is taken by the language.) Throws
  /// `FileError`, also for an ID that no backup has.
  CleanupResult deleteBackup(std::string_view id, const std::stop_token& stop = {}) const;

  /// What was moved into a pack.
  struct Packed {
    std::int64_t objects = 0;
    std::int64_t bytes = 0;  ///< of all single object files that were there
    bool operator==(const Packed&) const = default;
  };

  /// Moves single object files into one pack file. A file whose content doesn't reproduce its name, or can't
  /// be checked for lack of a key, stays; so does one of which a pack holds a damaged copy. A file that lies
  /// intact in a pack already, as a packing leaves it that was broken off, goes and counts as moved. Throws
  /// what `PackStore::write` throws, and all others stay.
  Packed packLooseObjects(const std::stop_token& stop = {}) const;

 private:
  /// Ascending as bytes.
  std::vector<std::string> backupFolderNames() const;
};

}  // namespace orvik
