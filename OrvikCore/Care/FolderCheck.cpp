#include "OrvikCore/Care/FolderCheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>

#include "OrvikCore/Care/RecordsExam.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/PackStore.h"
#include "OrvikCore/Store/StoreLeftovers.h"
#include "Platform/Locale/Text.h"

namespace orvik {

namespace {

using Kind = Finding::Kind;

/// The key of a single file's name, by its path.
std::optional<ObjectKey> keyIn(const std::string& path) {
  auto name = std::string_view(path).substr(path.rfind('/') + 1);
  if (name.ends_with(BackupFormat::objectSuffix)) name.remove_suffix(BackupFormat::objectSuffix.size());
  return ObjectKey::parse(name);
}

/// Puts to the store's findings who needs what they are about.
void nameWhoNeeds(std::vector<Finding>& findings, const BackupsExam& backups) {
  for (auto& finding : findings) {
    const bool isFile = finding.kind == Kind::fileDamaged || finding.kind == Kind::fileUnreadable;
    const auto& needs = isFile ? backups.fileNeeds : backups.needs;
    const auto key = finding.object ? finding.object : keyIn(finding.path);
    if (const auto found = key ? needs.find(*key) : needs.end(); found != needs.end())
      finding.need = found->second;
  }
}

void tellUnreferenced(FolderCheck& check, const BackupRepository& repository) {
  constexpr std::int64_t longest = BackupFormat::objectLimit;
  std::int64_t objects = 0;
  std::int64_t files = 0;
  std::int64_t bytes = 0;
  const auto count = [&](std::int64_t& number, const NameSet& wanted, const ObjectKey& key,
                         std::int64_t size) {
    if (wanted.contains(key)) return;
    ++number;
    bytes += size;
  };
  const auto& wanted = check.backups.objects;
  for (const auto& [key, size] : check.store.objects) count(objects, wanted, key, size);
  for (const auto& [key, size] : check.store.files) count(files, check.backups.files, key, size);
  PackStore::indexes(repository.store().packsDirectory(), [&](const auto&, const PackIndex& index) {
    for (const auto& [key, range] : index.objects.entries)
      count(objects, wanted, key, std::clamp<std::int64_t>(range.length, 0, longest));
  });
  if (objects + files == 0) return;
  check.findings.push_back({Kind::unreferenced,
                            std::string(BackupFormat::storeFolder),
                            fmt::format("No backup refers to some of what is stored: objects {}, package "
                                        "files {}; {}. orvik gc deletes it.",
                                        objects, files, platform::locale::byteCount(bytes)),
                            {},
                            {}});
}

void tellLeftovers(FolderCheck& check, const BackupRepository& repository, platform::Date now,
                   const std::stop_token& stop) {
  using File = StoreLeftovers::File;
  const auto found = findLeftovers(repository, now, stop);
  const auto tell = [&](const File& file, std::string_view what) {
    const bool isPack = file.kind == File::Kind::packWithoutIndex;
    check.findings.push_back(
        {isPack ? Kind::packWithoutIndex : Kind::leftover, file.path, std::string(what), {}, {}});
  };
  for (const auto& file : found.old)
    tell(file, file.kind == File::Kind::temporary
                   ? "A temporary file that a crash left more than a day ago. orvik gc deletes it."
                   : "No index names this pack, so nobody finds what it holds; no backup needs it.");
  for (const auto& file : found.recent)
    if (file.kind == File::Kind::packWithoutIndex)
      tell(file, "No index names this pack, so nobody finds what it holds.");
  for (const auto& file : found.needed)
    tell(file, "No index names this pack, so nobody finds what it holds; it may hold what a backup needs.");
}

}  // namespace

std::size_t FolderCheck::damage() const {
  return static_cast<std::size_t>(std::ranges::count_if(findings, &Finding::isDamage));
}

std::size_t FolderCheck::storedObjects() const {
  std::size_t count = store.objects.size();
  for (const auto& pack : store.packs) count += pack.entries;
  return count;
}

FolderCheck checkFolder(const BackupRepository& repository, const std::optional<BackupCipher>& cipher,
                        const Reading& reading, platform::Date now, const CareProgress& progress,
                        const std::stop_token& stop) {
  FolderCheck check;
  const ContentProof proof(cipher);
  check.findings = examineRecords(repository, cipher.has_value(), now);
  check.store = examineStore(repository, proof, reading, progress, stop);
  check.backups = examineBackups(repository, cipher, check.store, now, progress, stop);
  nameWhoNeeds(check.store.findings, check.backups);
  for (auto* findings : {&check.backups.findings, &check.store.findings}) {
    std::ranges::move(*findings, std::back_inserter(check.findings));
    findings->clear();
  }
  progress.step("Looking for what lies about");
  if (check.backups.isComplete) tellUnreferenced(check, repository);
  tellLeftovers(check, repository, now, stop);
  return check;
}

}  // namespace orvik
