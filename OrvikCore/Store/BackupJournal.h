#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Format/BackupOptions.h"
#include "OrvikCore/Format/SectionIndex.h"
#include "OrvikCore/Security/BackupCipher.h"
#include "OrvikCore/Store/LineFile.h"
#include "Platform/Date.h"
#include "Platform/JSON/Codable.h"
#include "TuvCore/Locked.h"

namespace orvik {

/// One finished item of a run.
struct JournalEntry {
  std::string section;  ///< section ID
  IndexItem item;       ///< hashes included

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("section", &JournalEntry::section), field("item", &JournalEntry::item));
  }
  bool operator==(const JournalEntry&) const = default;
};

/// "state.json" of an unfinished run: what run it is. Never sealed.
struct PartialBackupState {
  std::string backupID;      ///< kept by a resumed run
  platform::Date startedAt;  ///< start of the first attempt
  std::optional<std::string> parentBackupID;
  BackupOptions options;
  int requests = 0;               ///< made so far, over all attempts
  std::optional<bool> encrypted;  ///< the run seals its content; absent in files of earlier versions

  /// Nothing when the file is missing or doesn't decode: the folder can't be resumed then.
  static std::optional<PartialBackupState> load(const std::filesystem::path& directory) noexcept;
  /// Throws `platform::files::FileError`.
  void save(const std::filesystem::path& directory) const;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(
        field("backupID", &PartialBackupState::backupID), field("startedAt", &PartialBackupState::startedAt),
        field("parentBackupID", &PartialBackupState::parentBackupID),
        field("options", &PartialBackupState::options), field("requests", &PartialBackupState::requests),
        field("encrypted", &PartialBackupState::encrypted));
  }
  bool operator==(const PartialBackupState&) const = default;
};

/// "journal.jsonl" of an unfinished run: one line for each finished item, written at once, so that a crash
/// costs no more than the repetition of the last few items.
///
/// A plain line is the entry's JSON, compact, beginning with "{". With a cipher a line is the Base64 text of
/// the sealed JSON. Both kinds can stand in one file. Any thread may append; lines stay whole and in order of
/// arrival.
class BackupJournal {
 public:
  /// Nothing is touched yet.
  explicit BackupJournal(const std::filesystem::path& directory,
                         std::optional<BackupCipher> cipher = std::nullopt);

  /// Adds a line; makes and opens the file when needed. Throws `platform::files::FileError` or the cipher's
  /// error.
  void append(const JournalEntry& entry);

  /// Flushes to stable storage and closes; failures are ignored. A later `append` goes on at the file's end.
  void close() noexcept;

  /// The entries in file order. Lines that can't be decoded or opened are skipped; a missing file is empty.
  static std::vector<JournalEntry> read(const std::filesystem::path& directory,
                                        const std::optional<BackupCipher>& cipher = std::nullopt);
  /// The same for the content of such a file.
  static std::vector<JournalEntry> parse(std::string_view content,
                                         const std::optional<BackupCipher>& cipher = std::nullopt);

 private:
  std::optional<BackupCipher> cipher_;
  tuv::Locked<LineFile> file_;
};

}  // namespace orvik
