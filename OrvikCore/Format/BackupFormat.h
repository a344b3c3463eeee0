#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Date.h"
#include "Platform/JSON/Codable.h"

/// The names, numbers and codecs of a backup folder. Every value here reaches the disk: never rename, never
/// renumber. No literal folder or file name stands elsewhere.
///
///     <root>/<slug>/                            the instance folder
///       instance.json  encryption.json  backup.lock
///       backups/<backupID>/                     a published backup
///         manifest.json  audit.jsonl  sections/<sectionID>.json  *.pdf[.enc]
///       backups/<backupID>.partial/             a run that has not finished
///         state.json  journal.jsonl  summaries.json  audit.jsonl  sections/
///       store/objects/<2 hex>/<hash>.json       one object
///       store/files/<2 hex>/<sha256>            one package file
///       store/packs/<name>.pack, <name>.idx
///       store/downloads/                        downloads in progress
namespace orvik::BackupFormat {

using Path = std::filesystem::path;

inline constexpr std::string_view instanceFile = "instance.json";
inline constexpr std::string_view encryptionFile = "encryption.json";
inline constexpr std::string_view lockFile = "backup.lock";

inline constexpr std::string_view backupsFolder = "backups";
inline constexpr std::string_view partialSuffix = ".partial";
inline constexpr std::string_view manifestFile = "manifest.json";
inline constexpr std::string_view sectionsFolder = "sections";
inline constexpr std::string_view sectionSuffix = ".json";
inline constexpr std::string_view auditFile = "audit.jsonl";
inline constexpr std::string_view reportFile = "backup-report.pdf";
inline constexpr std::string_view securityReportFile = "security-report.pdf";
/// Behind the name of a report that is sealed.
inline constexpr std::string_view encryptedSuffix = ".enc";

inline constexpr std::string_view journalFile = "journal.jsonl";
inline constexpr std::string_view stateFile = "state.json";
/// The summaries of the sections that an unfinished run has behind it.
inline constexpr std::string_view summariesFile = "summaries.json";

inline constexpr std::string_view storeFolder = "store";
inline constexpr std::string_view objectsFolder = "objects";
inline constexpr std::string_view filesFolder = "files";
inline constexpr std::string_view packsFolder = "packs";
inline constexpr std::string_view partSuffix = ".part";  ///< of a download in progress
inline constexpr std::string_view downloadsFolder = "downloads";
inline constexpr std::string_view objectSuffix = ".json";
inline constexpr std::string_view packSuffix = ".pack";
inline constexpr std::string_view packIndexSuffix = ".idx";

/// The longest files, in bytes, that are read whole. What is longer counts as unreadable: a foreign or
/// hostile file must not fill the memory.
inline constexpr std::uint64_t recordLimit = 1 << 20;       ///< instance, lock, run state, audit line
inline constexpr std::uint64_t encryptionLimit = 64 << 20;  ///< the wrapped keys of some 200,000 recipients
inline constexpr std::uint64_t objectLimit = 1 << 30;       ///< as stored; longer ones are not taken either
inline constexpr std::uint64_t manifestLimit = 64 << 20;
inline constexpr std::uint64_t indexLimit = 1 << 30;  ///< also of journal and audit log

/// `formatVersion` of a plain backup and of a sealed one.
inline constexpr int formatVersion = 2;
inline constexpr int encryptedFormatVersion = 3;

/// Pretty, keys sorted, slashes literal, dates as ISO 8601 in UTC at whole seconds.
platform::json::Encoder makeEncoder();
/// One line, keys sorted, slashes literal, dates as above: the lines of journal and audit log.
platform::json::Encoder makeLineEncoder();
/// Dates as ISO 8601 in the same form; unknown keys are ignored.
platform::json::Decoder makeDecoder();

/// The ID of a backup that starts then: "2025-03-04T091500Z". IDs sort chronologically as plain strings.
std::string backupID(platform::Date date);
/// The inverse; nothing for a name that is no ID.
std::optional<platform::Date> dateFromBackupID(std::string_view id);

/// "sections/<sectionID>.json": an index's path below its backup's folder.
std::string sectionPath(std::string_view sectionID);

/// "store/objects/<first two of hash>/<hash>.json", relative to the instance folder.
/// Requires: `hash` is 64 lower-case hexadecimal digits.
Path objectPath(std::string_view hash);
/// The same as text, for roads where taking a path apart would cost more than opening the file.
std::string objectPathText(std::string_view hash);
/// "store/files/<first two of sha256>/<sha256>", relative to the instance folder. Requires the same.
Path filePath(std::string_view sha256);

}  // namespace orvik::BackupFormat
