#pragma once

#include <array>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "OrvikCore/Explore/FieldChange.h"
#include "OrvikCore/Explore/ObjectDescription.h"
#include "OrvikCore/Format/BackupManifest.h"
#include "OrvikCore/Format/SectionIndex.h"
#include "OrvikCore/Jamf/JSONTree.h"
#include "OrvikCore/Jamf/SectionCatalog.h"
#include "OrvikCore/Store/BackupRepository.h"

namespace orvik {

struct SearchHit;

/// Reads one stored backup: its sections, its objects with what happened to them, and searches in it.
///
/// An immutable value without an open handle; any thread may call. It remembers the order of what it
/// searched, so keep one for searches that follow each other. Reading is forgiving: an index, an object or a
/// parent that can't be read leaves the entry out or the comparison empty. What throws says so.
struct BackupReader {
  using Path = std::filesystem::path;

  struct Section {
    SectionSummary summary;
    SectionDefinition::Group group = SectionDefinition::Group::secondary;
  };

  /// What happened to an object since the parent backup.
  enum class ChangeKind { new_, changed, unchanged, removed, failed };

  /// An object of a section, or what stands for one that was removed or could not be read: those have no
  /// stored objects.
  struct Entry {
    std::string sectionID;
    IndexItem item;
    bool removed = false;
    std::optional<std::string> error;  ///< why it could not be read

    /// Unique in a backup, also for an object that is there and counts as removed.
    std::string id() const;
    /// The name, "Settings" for a section's only record, or "#" and the ID.
    std::string displayName() const { return displayNameOf(item); }
    static std::string displayNameOf(const IndexItem& item);
    ChangeKind change() const;
    /// Whether a stored object stands behind it.
    bool isStored() const { return !removed && !error; }
  };

  BackupRepository repository;
  BackupManifest manifest;
  std::optional<Path> overrideDirectory;  ///< the backup's folder, where it isn't its ID's in the repository

  /// Throws `platform::files::FileError` when the manifest can't be read and `platform::Error` when it can't
  /// be decoded.
  BackupReader(BackupRepository repository, std::string_view backupID);
  /// Reads nothing.
  BackupReader(BackupRepository repository, BackupManifest manifest, std::optional<Path> directory);

  Path directory() const;
  /// The instance is sealed and no key is available.
  bool isLocked() const;

  /// In catalog order, those unknown to the catalog last.
  std::vector<Section> sections() const;
  /// Nothing when it isn't there, can't be opened or decoded.
  std::optional<SectionIndex> index(std::string_view sectionID) const;
  /// The entries of a section by name, in the natural order of the user's locale.
  std::vector<Entry> entries(std::string_view sectionID) const;
  /// The stored item with that ID, or nothing, without building the others.
  std::optional<IndexItem> item(std::string_view sectionID, std::string_view id) const;
  /// The same for any entry: the stored one, else one that could not be read, else one that was removed.
  std::optional<Entry> entry(std::string_view sectionID, std::string_view id) const;

  /// Both throw what the store throws for an object that is missing or sealed without a key; `json` also
  /// `platform::json::ParseError` for one that is no JSON.
  JSONTree json(std::string_view hash) const;
  platform::Bytes rawJSON(std::string_view hash) const;

  /// The object as a document, with what changed since the parent backup. A variant that can't be read is
  /// left out.
  ObjectDescription describe(const Entry& entry) const;

  /// Entries whose name contains the query, in any case, or whose ID is it.
  std::vector<Entry> search(std::string_view query, std::size_t limit) const;

  using IsCancelled = std::function<bool()>;
  /// The position and the number of all entries.
  using SearchProgress = std::function<void(std::size_t position, std::size_t total)>;
  /// Stored objects with a text or number that contains the query, in any case, or that `search` would find;
  /// in the order of sections and names, with up to three excerpts each. Works on all processors; the
  /// callbacks, either of which may be empty, are called on the calling thread, once in 200 entries. When
  /// cancelled it returns what it has found so far.
  std::vector<SearchHit> searchContents(std::string_view query, std::size_t limit,
                                        const IsCancelled& isCancelled = {},
                                        const SearchProgress& progress = {}) const;

  /// What differs between two versions of an object that this folder stores, for people.
  std::vector<FieldChange> changes(const IndexItem& from, const IndexItem& to) const;

  /// The same; nothing when both hold the same, which their names in the store tell without reading, or else
  /// their content, as that of an object before and after its folder was sealed. No changes: the two differ
  /// in what `changes` passes over, such as the order of something.
  std::optional<std::vector<FieldChange>> difference(const IndexItem& from, const IndexItem& to) const;

 private:
  class Searched;
  static std::shared_ptr<Searched> newSearched();

  std::shared_ptr<Searched> searched_ = newSearched();  ///< shared by copies; synchronises itself
};

/// What was found, and where its text contains the query: "Path: …text…".
struct SearchHit {
  BackupReader::Entry entry;
  std::vector<std::string> excerpts;

  std::string id() const { return entry.id(); }
};

/// The texts that people see.
constexpr auto enumTexts(BackupReader::ChangeKind) {
  using enum BackupReader::ChangeKind;
  using namespace std::string_view_literals;
  return std::array{std::pair{new_, "New"sv}, std::pair{changed, "Changed"sv},
                    std::pair{unchanged, "Unchanged"sv}, std::pair{removed, "Removed"sv},
                    std::pair{failed, "Not readable"sv}};
}

}  // namespace orvik
