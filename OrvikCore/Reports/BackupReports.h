#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Explore/BackupReader.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Format/BackupManifest.h"
#include "OrvikCore/Reports/AuditTrail.h"
#include "OrvikCore/Reports/ReportContext.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Bytes.h"

namespace orvik {

/// The two PDF documents in the folder of a finished backup, sealed (".enc") on a sealed instance: what it
/// holds and what changed, and what the run did to the server. Any thread may call; each document is made in
/// memory.
struct BackupReports {
  using Path = std::filesystem::path;

  static constexpr std::string_view backupReportFile = BackupFormat::reportFile;
  static constexpr std::string_view securityReportFile = BackupFormat::securityReportFile;
  static constexpr std::string_view sealedSuffix = BackupFormat::encryptedSuffix;

  BackupReports() = delete;

  /// Makes and writes both reports of a finished backup and notes that in its audit log. Returns why a report
  /// was not written, as sentences for an administrator; empty when both were. Never throws for a failure of
  /// the folder, so a report that can't be made fails no backup.
  static std::vector<std::string> writeReports(const BackupRepository& repository, std::string_view backupID,
                                               const ReportContext& context);

  /// Whether a backup is sealed and no key for it is at hand: no report can tell what it holds.
  static bool isLocked(const BackupRepository& repository, const BackupManifest& manifest);

  /// Each a PDF document. Throw `platform::Error` on a machine without fonts.
  static platform::Bytes backupReport(const BackupReader& reader, const ReportContext& context);
  static platform::Bytes simulationReport(const BackupReader& reader, std::int64_t bytesToDownload,
                                          const ReportContext& context);
  /// `folder` is the instance folder; none for a simulation.
  static platform::Bytes securityReport(const BackupManifest& manifest, const AuditTrail& audit,
                                        const std::optional<Path>& folder, const ReportContext& context,
                                        bool simulation);

  /// Whether a report is there, plain or sealed. `name` is one of the two names above.
  static bool hasReport(std::string_view name, const Path& folder);

  /// The report as a PDF document. Nothing when it isn't there, or is sealed and can't be opened.
  static std::optional<platform::Bytes> report(std::string_view name, const Path& folder,
                                               const BackupRepository& repository);

  /// Where the report can be read: its place in the backup's folder when it is plain, else an opened copy in
  /// `temporaryFolder`, which the caller deletes. Nothing when it isn't there, or is sealed and can't be
  /// opened.
  static std::optional<Path> readableReport(std::string_view name, const Path& folder,
                                            const BackupRepository& repository, const Path& temporaryFolder);
};

}  // namespace orvik
