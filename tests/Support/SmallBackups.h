#pragma once

#include <optional>
#include <string>
#include <vector>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "OrvikCore/Store/BackupVerifier.h"
#include "tests/Support/Folders.h"
#include "tests/Support/SampleRecords.h"

namespace orvik::test {

/// How many problems a verification of one backup finds.
inline std::size_t problemsOf(const BackupRepository& repository, const std::string& id) {
  return verifyBackup(repository, {id, repository.manifest(id).value()}, [](const std::string&) {}).problems;
}

/// A backup of one section with one item for each object.
inline void writeBackup(const BackupRepository& repository, const std::string& id,
                        const std::vector<std::string>& hashes,
                        const std::string& finishedAt = "2025-03-04T09:15:07Z",
                        const std::optional<BackupCipher>& cipher = {}) {
  auto index = emptyIndex("policies");
  for (const auto& hash : hashes) {
    index.items.push_back(itemWithID(std::to_string(index.items.size())));
    index.items.back().objects = {{"json", hash}};
  }
  BackupRepository::writeIndex(index, repository.backupDirectory(id) / BackupFormat::sectionPath("policies"),
                               cipher);
  auto manifest = plainManifest(id);
  manifest.finishedAt = date(finishedAt.c_str());
  manifest.sections = {summaryOf("policies")};
  write(repository.backupDirectory(id) / BackupFormat::manifestFile,
        BackupFormat::makeEncoder().encode(manifest));
}

}  // namespace orvik::test
