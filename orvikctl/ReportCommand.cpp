#include "orvikctl/ReportCommand.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Reports/BackupReports.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Security/BackupEncryptionError.h"
#include "OrvikCore/Store/BackupLock.h"
#include "Platform/Files/Files.h"
#include "Platform/Host.h"
#include "orvikctl/Driver.h"
#include "orvikctl/FolderCommands.h"

namespace orvik::ctl {

namespace {

BackupReader readerOf(const BackupRepository& repository, const std::string& backupID) try {
  return {repository, backupID};
} catch (const platform::Error&) {
  fail("no such backup");
}

ReportContext contextOf(const BackupManifest& manifest) {
  ReportContext context;
  context.user = platform::userWithFullName();
  context.host = BackupLock::currentHost();
  context.orvikVersion = "orvikctl";
  context.clientID = manifest.instance.clientID.value_or("unknown");
  context.credentialSource = "— (report created later with orvikctl)";
  return context;
}

std::vector<std::string> keyIDsOf(const BackupReader& reader) {
  auto ids = BackupEncryption::keyIDs(reader.repository.instanceDirectory);
  return ids.empty() && reader.manifest.encryption ? reader.manifest.encryption->keyIDs : ids;
}

void writeIntoBackup(const BackupReader& reader, const std::string& backupID, const ReportContext& context,
                     std::ostream& out) {
  const auto failures = BackupReports::writeReports(reader.repository, backupID, context);
  if (!failures.empty()) fail(fmt::format("{}", fmt::join(failures, "\n")));
  out << "reports written to " << reader.directory().string()
      << (reader.manifest.encryption ? " (encrypted, *.enc)" : "") << '\n';
}

void writePlain(const BackupReader& reader, const std::filesystem::path& folder, const ReportContext& context,
                std::ostream& out) {
  const auto& instance = reader.repository.instanceDirectory;
  if (BackupReports::isLocked(reader.repository, reader.manifest))
    throw BackupEncryptionError::locked(keyIDsOf(reader));
  platform::files::createDirectories(folder);
  const auto write = [&](std::string_view name, const platform::Bytes& document) {
    const auto path = folder / name;
    platform::files::atomicWrite(document, path);
    out << path.string() << '\n';
  };
  write(BackupReports::backupReportFile, BackupReports::backupReport(reader, context));
  write(BackupReports::securityReportFile,
        BackupReports::securityReport(reader.manifest, AuditTrail::in(reader.directory()), instance, context,
                                      false));
}

}  // namespace

int report(const Arguments& arguments, std::ostream& out) {
  const auto positionals = positional(arguments);
  const auto repository = repositoryOf(positionals);
  const auto backup = backupOf(repository, positionals);
  const auto reader = readerOf(repository, backup.id);
  const auto context = contextOf(reader.manifest);
  if (const auto folder = option("--out", arguments))
    writePlain(reader, *folder, context, out);
  else
    writeIntoBackup(reader, backup.id, context, out);
  return 0;
}

}  // namespace orvik::ctl
