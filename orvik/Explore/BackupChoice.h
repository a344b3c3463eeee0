#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "OrvikCore/Explore/BackupReader.h"
#include "orvik/Arguments.h"

/// What the commands that read a backup are told to read.
namespace orvik::host {

/// A finished backup by its ID, or the newest. Throws `NotFoundError` when there is none, and `tuv::Error`
/// for one whose manifest can't be read.
BackupReader chosenBackup(const BackupRepository& repository, const std::optional<std::string>& id);

/// The folder and in it the backup, opened with the folder's key. Throws what `instanceFolder`,
/// `chosenBackup` and `unlockFolder` throw, and `CredentialError` for a sealed backup that nothing opens.
BackupReader openedBackup(const FolderArguments& at, const std::optional<std::string>& id);

/// The ID, which is the name of the backup's folder.
std::string idOf(const BackupReader& backup);
/// "2025-03-05T091500Z, 5 Mar 2025, 09:15".
std::string titleOf(const BackupReader& backup);

/// Throws `UsageError` for a section that neither the catalog nor the backup knows.
void requireSection(const BackupReader& backup, const std::string& sectionID);
/// Whether the backup read the section.
bool readsSection(const BackupReader& backup, std::string_view sectionID);
/// Throws as `requireSection`, and `tuv::Error` for a section that the backup did not read: why.
void requireReadSection(const BackupReader& backup, const std::string& sectionID);

/// The entries of a section that was read. Throws `tuv::Error` when its index can't be read.
std::vector<BackupReader::Entry> readEntries(const BackupReader& backup, const std::string& sectionID);

/// Why a stored object can't be read, or not be relied on: its bytes don't reproduce its name, as those of a
/// sealed object don't that another one's were put in place of. Nothing when all is well.
std::optional<std::string> troubleWith(const BackupReader& backup, const std::string& hash);
/// Whether what is stored of one of the entry's objects is not what its name says.
bool isDamaged(const BackupReader& backup, const BackupReader::Entry& entry);

/// The entry with that ID, or else with that name; when none has it, in whatever case. Of several with the
/// name those that the backup still has count. Nothing when there is none, or the index can't be read. Throws
/// `tuv::Error` when there are several, with their IDs.
std::optional<BackupReader::Entry> foundEntry(const BackupReader& backup, const std::string& sectionID,
                                              const std::string& item);
/// The same, and throws `tuv::Error` when there is none or the index can't be read.
BackupReader::Entry requiredEntry(const BackupReader& backup, const std::string& sectionID,
                                  const std::string& item);

/// What `BackupReader::search` finds, as hits without excerpts.
std::vector<SearchHit> hitsByName(const BackupReader& backup, const std::string& query, std::size_t limit);

/// The newest backup before this one that holds the object.
std::optional<std::string> lastVersionBefore(const BackupReader& backup, const BackupReader::Entry& entry);
/// The sentence that says where to look instead.
std::string lastVersionText(const std::optional<std::string>& backupID);

}  // namespace orvik::host
