#include "OrvikCore/Store/BackupVerifier.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Format/SectionIndex.h"
#include "OrvikCore/Store/FileHasher.h"
#include "OrvikCore/Store/ObjectStore.h"
#include "OrvikCore/Store/PackCache.h"
#include "OrvikCore/Store/PackStore.h"
#include "OrvikCore/Store/Shelves.h"
#include "Platform/Concurrency/Cancellation.h"
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

Finding look(const Check& check, const Shelves& shelves, platform::Bytes& buffer) noexcept {
  const auto& store = shelves.store();
  try {
    if (check.isFile) {
      if (!store.hasFile(*check.hash)) return Finding::missing;
      return FileHasher::sha256(store.fileURL(*check.hash)) == *check.hash ? Finding::intact
                                                                           : Finding::corrupt;
    }
    if (!shelves.read(*check.hash, buffer)) return Finding::missing;
    // Whether there is a key was asked once; a keychain is not asked again for each object.
    if (!store.cipher && BackupCipher::isSealed(buffer)) return Finding::corrupt;
    return store.isIntact(*check.hash, buffer) ? Finding::intact : Finding::corrupt;
  } catch (const std::exception&) {  // memory may run out too, for a file that is no object of ours
    return Finding::missing;
  }
}

/// The positions of the checks in the order in which their bytes lie: single files first, then pack by pack.
std::vector<std::size_t> readingOrder(const std::vector<Check>& checks, const Shelves& shelves) {
  std::vector<std::size_t> order;
  std::vector<std::pair<PackCache::Place, std::size_t>> packed;
  for (std::size_t i = 0; i < checks.size(); ++i) {
    const auto place =
        checks[i].isFile ? std::nullopt : PackCache::shared().place(*checks[i].hash, shelves.packs());
    if (place)
      packed.emplace_back(*place, i);
    else
      order.push_back(i);
  }
  std::ranges::sort(packed);
  for (const auto& [place, i] : packed) order.push_back(i);
  return order;
}

std::vector<Finding> lookAtAll(const std::vector<Check>& checks, const Shelves& shelves) {
  const auto order = readingOrder(checks, shelves);
  std::vector<Finding> findings(checks.size());
  std::atomic<std::size_t> next{0};
  const auto work = [&] {
    platform::Bytes buffer;
    for (std::size_t begin; (begin = next.fetch_add(checksPerBatch)) < checks.size();)
      for (std::size_t i = begin; i < std::min(begin + checksPerBatch, checks.size()); ++i)
        findings[order[i]] = look(checks[order[i]], shelves, buffer);
  };
  const std::size_t batches = (checks.size() + checksPerBatch - 1) / checksPerBatch;
  const std::size_t cores = std::max(std::thread::hardware_concurrency(), 1U);
  std::vector<std::jthread> others;
  for (std::size_t i = 1; i < std::min(cores, batches); ++i) others.emplace_back(work);
  work();
  others.clear();
  return findings;
}

/// Something that is not as it should be. Owns its texts, since the index that it was found in is gone when
/// it is told.
struct Problem {
  std::string section;
  std::string item;                 ///< of an object its ID, of a file its name
  std::optional<std::string> hash;  ///< nothing for an index
  bool isFile = false;
  Finding finding = Finding::missing;

  bool isMissingObject() const { return finding == Finding::missing && !isFile && hash; }
  std::string sentence() const;
};

std::string Problem::sentence() const {
  if (!hash) return section + ": index missing";
  if (isFile)
    return finding == Finding::missing ? fmt::format("file {}: {} missing", item, *hash)
                                       : fmt::format("file {}: corrupt", item);
  return fmt::format("{}/{}: object {} {}", section, item, *hash,
                     finding == Finding::missing ? "missing" : "corrupt");
}

/// Looks again at the objects that were missing: one that was just moved into a pack, or from pack to pack,
/// is found once the packs are listed anew. A listing can itself miss what moves while it goes on, so there
/// is another one a second later, and more as long as the packs change.
void lookAgain(std::vector<Problem>& problems, const Shelves& shelves) {
  constexpr int mostRounds = 5;
  const auto lookOnce = [&] {
    PackCache::shared().invalidate(shelves.packs());
    platform::Bytes buffer;
    for (auto& problem : problems)
      if (problem.isMissingObject())
        problem.finding = look({nullptr, &*problem.hash, false}, shelves, buffer);
    return std::ranges::none_of(problems, &Problem::isMissingObject);
  };
  // Where nothing was ever packed nothing can have been moved.
  if (std::ranges::none_of(problems, &Problem::isMissingObject) ||
      !platform::files::isDirectory(shelves.packs()))
    return;
  auto known = PackStore::indexNames(shelves.packs());
  if (lookOnce()) return;
  for (int round = 0; round < mostRounds; ++round) {
    platform::sleep(std::chrono::seconds(1), {});
    auto names = PackStore::indexNames(shelves.packs());
    if (lookOnce() || names == known) return;
    known = std::move(names);
  }
}

}  // namespace

VerifyResult verifyBackup(const BackupRepository& repository, const BackupRepository::Backup& backup,
                          const std::function<void(const std::string&)>& onProblem) {
  auto store = repository.store();
  store.cipher = repository.cipher();
  const Shelves shelves(std::move(store));
  const auto folder = repository.backupDirectory(backup.id);
  VerifyResult result;
  std::vector<Problem> problems;
  for (const auto& section : backup.manifest.sections) {
    const auto index = BackupRepository::loadIndex(folder, section.id, shelves.store().cipher);
    if (!index) {
      if (section.index) problems.push_back({section.id, {}, {}});
      continue;
    }
    const auto checks = checksOf(*index);
    const auto findings = lookAtAll(checks, shelves);
    result.checked += checks.size();
    for (std::size_t i = 0; i < checks.size(); ++i) {
      if (findings[i] == Finding::intact) continue;
      const auto& [item, hash, isFile] = checks[i];
      problems.push_back({section.id, isFile ? item->file->fileName : item->id, *hash, isFile, findings[i]});
    }
  }
  lookAgain(problems, shelves);
  for (const auto& problem : problems) {
    if (problem.finding == Finding::intact) continue;
    ++result.problems;
    onProblem(problem.sentence());
  }
  return result;
}

}  // namespace orvik
