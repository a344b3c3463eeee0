#include "orvikctl/FolderCommands.h"

#include <fmt/format.h>

#include <optional>
#include <string>

#include "OrvikCore/Store/BackupRepository.h"
#include "OrvikCore/Store/BackupVerifier.h"
#include "Platform/Locale/Text.h"
#include "orvikctl/Driver.h"

namespace orvik::ctl {

BackupRepository repositoryOf(const Arguments& positionals) {
  if (positionals.empty()) fail("instance folder required");
  return BackupRepository(positionals.front());
}

BackupRepository::Backup backupOf(const BackupRepository& repository, const Arguments& positionals) {
  std::optional<BackupRepository::Backup> backup;
  if (positionals.size() < 2) {
    backup = repository.latestComplete();
  } else if (auto manifest = repository.manifest(positionals[1])) {
    backup = BackupRepository::Backup{positionals[1], std::move(*manifest)};
  }
  if (!backup) fail("no such backup");
  return std::move(*backup);
}

int list(const Arguments& arguments, std::ostream& out) {
  const auto repository = repositoryOf(positional(arguments));
  for (const auto& [id, manifest] : repository.completeBackups())
    out << fmt::format("{}  {}  {} objects ({} new/changed)  {} files  Jamf Pro {}\n", id,
                       platform::json::textOf(manifest.status), manifest.totals.objects,
                       manifest.totals.newOrChangedObjects, manifest.totals.files,
                       manifest.jamfProVersion.value_or("?"));
  for (const auto& id : repository.partialBackupIDs())
    out << id << "  interrupted (resumes on the next run)\n";
  out << "disk usage: " << platform::locale::byteCount(repository.diskUsage()) << '\n';
  return 0;
}

int verify(const Arguments& arguments, std::ostream& out) {
  const auto positionals = positional(arguments);
  const auto repository = repositoryOf(positionals);
  const auto backup = backupOf(repository, positionals);
  const auto result =
      verifyBackup(repository, backup, [&](const std::string& problem) { out << "✗ " << problem << '\n'; });
  if (result.problems == 0) {
    out << fmt::format("✓ {}: {} objects and files intact\n", backup.id, result.checked);
    return 0;
  }
  out << fmt::format("{} problem(s) in {}\n", result.problems, backup.id);
  return 1;
}

}  // namespace orvik::ctl
