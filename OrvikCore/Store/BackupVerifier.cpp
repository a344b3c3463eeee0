#include "OrvikCore/Store/BackupVerifier.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <thread>
#include <utility>
#include <vector>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Format/SectionIndex.h"
#include "OrvikCore/Store/FileHasher.h"
#include "OrvikCore/Store/ObjectStore.h"
#include "Platform/Files/Files.h"
#include "Platform/Hex.h"

namespace orvik {

namespace {

enum class Finding : unsigned char { intact, missing, corrupt };

/// One thing to look at; the index that it points into outlives it.
struct Check {
  const IndexItem* item;
  const std::string* hash;
  bool isFile;
};

/// Fewer checks than that are not worth a thread.
constexpr std::size_t checksPerBatch = 64;

std::vector<Check> checksOf(const SectionIndex& index) {
  std::vector<Check> checks;
  checks.reserve(index.items.size());
  for (const auto& item : index.items) {
    for (const auto& [variant, hash] : item.objects) checks.push_back({&item, &hash, false});
    if (item.file && item.file->sha256) checks.push_back({&item, &*item.file->sha256, true});
  }
  return checks;
}

/// Where the bytes of one backup are looked for.
struct Shelves {
  ObjectStore store;
  platform::files::FolderReader loose{store.instanceDirectory};

  void read(const std::string& hash, platform::Bytes& buffer) const {
    const bool isLoose = platform::isLowerHex64(hash) &&
                         loose.tryRead(BackupFormat::objectPathText(hash), buffer, BackupFormat::objectLimit);
    if (!isLoose) store.readStored(hash, buffer);
  }
};

Finding look(const Check& check, const Shelves& shelves, platform::Bytes& buffer) noexcept {
  const auto& store = shelves.store;
  try {
    if (check.isFile) {
      if (!store.hasFile(*check.hash)) return Finding::missing;
      return FileHasher::sha256(store.fileURL(*check.hash)) == *check.hash ? Finding::intact
                                                                           : Finding::corrupt;
    }
    shelves.read(*check.hash, buffer);
    // Whether there is a key was asked once; a keychain is not asked again for each object.
    if (!store.cipher && BackupCipher::isSealed(buffer)) return Finding::corrupt;
    return store.isIntact(*check.hash, buffer) ? Finding::intact : Finding::corrupt;
  } catch (const std::exception&) {  // memory may run out too, for a file that is no object of ours
    return Finding::missing;
  }
}

std::vector<Finding> lookAtAll(const std::vector<Check>& checks, const Shelves& shelves) {
  std::vector<Finding> findings(checks.size());
  std::atomic<std::size_t> next{0};
  const auto work = [&] {
    platform::Bytes buffer;
    for (std::size_t begin; (begin = next.fetch_add(checksPerBatch)) < checks.size();)
      for (std::size_t i = begin; i < std::min(begin + checksPerBatch, checks.size()); ++i)
        findings[i] = look(checks[i], shelves, buffer);
  };
  const std::size_t batches = (checks.size() + checksPerBatch - 1) / checksPerBatch;
  const std::size_t cores = std::max(std::thread::hardware_concurrency(), 1U);
  std::vector<std::jthread> others;
  for (std::size_t i = 1; i < std::min(cores, batches); ++i) others.emplace_back(work);
  work();
  others.clear();
  return findings;
}

std::string sentence(const SectionSummary& section, const Check& check, Finding finding) {
  if (check.isFile) {
    const auto& name = check.item->file->fileName;
    return finding == Finding::missing ? fmt::format("file {}: {} missing", name, *check.hash)
                                       : fmt::format("file {}: corrupt", name);
  }
  return fmt::format("{}/{}: object {} {}", section.id, check.item->id, *check.hash,
                     finding == Finding::missing ? "missing" : "corrupt");
}

}  // namespace

VerifyResult verifyBackup(const BackupRepository& repository, const BackupRepository::Backup& backup,
                          const std::function<void(const std::string&)>& onProblem) {
  auto store = repository.store();
  store.cipher = repository.cipher();
  const Shelves shelves{std::move(store)};
  const auto folder = repository.backupDirectory(backup.id);
  VerifyResult result;
  const auto report = [&](const std::string& problem) {
    ++result.problems;
    onProblem(problem);
  };
  for (const auto& section : backup.manifest.sections) {
    const auto index = BackupRepository::loadIndex(folder, section.id, shelves.store.cipher);
    if (!index) {
      if (section.index) report(section.id + ": index missing");
      continue;
    }
    const auto checks = checksOf(*index);
    const auto findings = lookAtAll(checks, shelves);
    result.checked += checks.size();
    for (std::size_t i = 0; i < checks.size(); ++i)
      if (findings[i] != Finding::intact) report(sentence(section, checks[i], findings[i]));
  }
  return result;
}

}  // namespace orvik
