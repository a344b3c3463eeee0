#include <fmt/format.h>
#include <fmt/ranges.h>

#include <array>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Reports/BackupReports.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "Platform/Files/SecretFile.h"

namespace orvik {

namespace files = platform::files;

namespace {

constexpr const char* lockedMessage =
    "Reports not created: the backup is encrypted and the organisation key is not on this Mac";

files::Path sealedPath(const files::Path& plain) {
  auto sealed = plain;
  return sealed += BackupReports::sealedSuffix;
}

/// The last component, also of a path that ends in "/".
std::string nameOf(const files::Path& folder) {
  return (folder.has_filename() ? folder : folder.parent_path()).filename().string();
}

/// A report stands in its folder once: plain, or sealed where there is a cipher.
void write(std::string_view document, const files::Path& path, const std::optional<BackupCipher>& cipher) {
  if (!cipher) return files::atomicWrite(document, path);
  files::atomicWrite(cipher->seal(document), sealedPath(path));
  files::tryRemove(path);
}

void recordInAudit(const files::Path& directory, const std::vector<std::string>& written, bool sealed,
                   const std::optional<CleanupResult>& retention) {
  AuditLog log(directory);
  if (!written.empty())
    log.recordLocal("WRITE", fmt::format("{}", fmt::join(written, ", ")),
                    sealed ? std::optional<std::string>("encrypted (.enc)") : std::nullopt);
  if (retention && retention->removedAnything())
    log.recordLocal(
        "DELETE",
        fmt::format("retention: {} objects, {} files no longer used", retention->removedObjects,
                    retention->removedFiles),
        retention->removedBackups.empty()
            ? std::nullopt
            : std::optional(fmt::format("backups deleted: {}", fmt::join(retention->removedBackups, ", "))));
  log.close();
}

std::string messageOf(const std::exception& error) {
  return fmt::format("Reports not created: {}", error.what());
}

}  // namespace

std::vector<std::string> BackupReports::writeReports(const BackupRepository& repository,
                                                     std::string_view backupID,
                                                     const ReportContext& context) try {
  const auto manifest =
      BackupRepository::isBackupName(backupID) ? repository.manifest(backupID) : std::nullopt;
  if (!manifest) return {fmt::format("Backup {} not found", backupID)};
  if (isLocked(repository, *manifest)) return {lockedMessage};
  const auto cipher = repository.cipher();
  const auto directory = repository.backupDirectory(backupID);
  const BackupReader reader(repository, *manifest, directory);
  const auto content = backupReport(reader, context);
  const auto security =
      securityReport(*manifest, AuditTrail::in(directory), repository.instanceDirectory, context, false);
  std::vector<std::string> written;
  std::vector<std::string> failures;
  for (const auto& [name, document] :
       {std::pair{backupReportFile, &content}, std::pair{securityReportFile, &security}}) {
    try {
      write(*document, directory / name, cipher);
      written.emplace_back(name);
    } catch (const std::exception& error) {
      failures.push_back(messageOf(error));
    }
  }
  recordInAudit(directory, written, cipher.has_value(), context.retention);
  return failures;
} catch (const std::exception& error) {
  return {messageOf(error)};
}

bool BackupReports::isLocked(const BackupRepository& repository, const BackupManifest& manifest) {
  const bool isSealed = manifest.encryption || BackupEncryption::isEncrypted(repository.instanceDirectory);
  return isSealed && !repository.cipher();
}

bool BackupReports::hasReport(std::string_view name, const Path& folder) {
  return files::isFile(folder / name) || files::isFile(sealedPath(folder / name));
}

std::optional<platform::Bytes> BackupReports::report(std::string_view name, const Path& folder,
                                                     const BackupRepository& repository) try {
  const auto path = folder / name;
  if (files::isFile(path)) return files::tryRead(path, BackupFormat::objectLimit);
  const auto sealed = files::tryRead(sealedPath(path), BackupFormat::objectLimit);
  const auto cipher = sealed ? repository.cipher() : std::nullopt;
  return cipher ? std::optional(cipher->open(*sealed)) : std::nullopt;
} catch (const std::exception&) {
  return std::nullopt;
}

std::optional<BackupReports::Path> BackupReports::readableReport(std::string_view name, const Path& folder,
                                                                 const BackupRepository& repository,
                                                                 const Path& temporaryFolder) try {
  auto plain = folder / name;
  if (files::isFile(plain)) return plain;
  auto opened = report(name, folder, repository);
  if (!opened) return std::nullopt;
  const platform::SecretString document(std::move(*opened));
  auto copy = temporaryFolder / fmt::format("{}-{}", nameOf(folder), name);
  files::tryRemove(copy);
  files::writeSecretFile(copy, document);
  return copy;
} catch (const std::exception&) {
  return std::nullopt;
}

}  // namespace orvik
