// Our side of compare-peers, which runs it: makes the corpus, stores it as a run does, lets old backups go.
//   PeerBench corpus TREE COUNT GENERATION    see PeerCorpus.h
//   PeerBench store FOLDER TREE [threads]     one backup of all files of the tree into an instance folder
//   PeerBench drop FOLDER COUNT               lets all backups but the newest go, by the rules of retention,
//   and
//                                             leaves the garbage to `orvikctl gc`
#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <future>
#include <map>
#include <string>
#include <thread>
#include <utility>

#include "OrvikCore/Engine/SectionDelta.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/BackupJournal.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "OrvikCore/Store/Retention.h"
#include "Platform/Files/Files.h"
#include "bench/PeerCorpus.h"

using namespace orvik;
namespace files = platform::files;

namespace {

/// The finished backups' IDs are a second apart, whatever the clock says.
std::string nextID(const std::optional<BackupRepository::Backup>& parent) {
  const auto last = parent ? BackupFormat::dateFromBackupID(parent->id) : std::nullopt;
  const auto now = platform::now();
  return BackupFormat::backupID(last ? std::max(now, *last + std::chrono::seconds(1)) : now);
}

/// One section of the corpus, from its files to its index.
SectionSummary storeSection(const std::string& section, const std::vector<bench::CorpusFile>& objects,
                            const ObjectStore& store, BackupJournal& journal, const SectionIndex* parent,
                            const std::filesystem::path& partial, std::size_t threads) {
  SectionIndex index;
  index.sectionID = index.title = section;
  index.items.resize(objects.size());
  std::atomic<std::size_t> next{0};
  const auto work = [&] {
    for (std::size_t i; (i = next++) < objects.size();) {
      auto& item = index.items[i];
      item.id = objects[i].id;
      item.name = section + " " + item.id;
      item.objects["json"] = store.put(files::read(objects[i].path));
      journal.append({section, item});
    }
  };
  std::vector<std::future<void>> others;
  for (std::size_t i = 1; i < std::min(threads, objects.size()); ++i)
    others.push_back(std::async(std::launch::async, work));
  work();
  for (auto& other : others) other.get();
  SectionSummary summary;
  summary.id = summary.title = section;
  summary.counts = applyDelta(index, parent);
  summary.index = BackupFormat::sectionPath(section);
  BackupRepository::writeIndex(index, partial / *summary.index, std::nullopt);
  return summary;
}

BackupManifest manifestOf(const std::string& id, const std::optional<BackupRepository::Backup>& parent,
                          std::vector<SectionSummary> sections) {
  BackupManifest manifest;
  manifest.formatVersion = BackupFormat::formatVersion;
  manifest.backupID = id;
  manifest.instance = {platform::UUID::random(), "bench", "https://bench.example.com", "bench", {}};
  manifest.orvikVersion = "bench";
  manifest.startedAt = manifest.finishedAt = BackupFormat::dateFromBackupID(id).value();
  if (parent) manifest.parentBackupID = parent->id;
  manifest.sections = std::move(sections);
  for (const auto& summary : manifest.sections) {
    manifest.totals.objects += summary.counts.total;
    manifest.totals.newOrChangedObjects += summary.counts.new_ + summary.counts.changed;
  }
  return manifest;
}

/// What a run does between its requests: journal, objects, indexes, manifest, flush, publication.
void store(const std::filesystem::path& folder, const std::filesystem::path& tree, std::size_t threads) {
  const BackupRepository repository(folder);
  const auto parent = repository.latestComplete();
  const auto id = nextID(parent);
  const auto partial = repository.partialDirectory(id);
  files::createDirectories(partial / BackupFormat::sectionsFolder);
  BackupJournal journal(partial);

  std::map<std::string, std::vector<bench::CorpusFile>> sections;
  for (auto& file : bench::corpusFiles(tree)) sections[file.section].push_back(std::move(file));
  std::vector<SectionSummary> summaries;
  for (const auto& [section, objects] : sections) {
    const auto before = parent ? repository.index(parent->id, section) : std::nullopt;
    summaries.push_back(storeSection(section, objects, repository.store(), journal,
                                     before ? &*before : nullptr, partial, threads));
  }
  journal.close();
  const auto manifest = manifestOf(id, parent, std::move(summaries));
  ObjectStore::atomicWrite(BackupFormat::makeEncoder().encode(manifest),
                           partial / BackupFormat::manifestFile);
  files::tryRemove(partial / BackupFormat::journalFile);
  files::syncFileSystem(partial);
  files::renameWithoutReplacing(partial, repository.backupDirectory(id));
  fmt::print("{}: {} objects, {} new or changed\n", id, manifest.totals.objects,
             manifest.totals.newOrChangedObjects);
}

void drop(const BackupRepository& repository, int count) {
  for (const auto& verdict : planRetention(repository, {count, 0}, platform::now()))
    if (verdict.goes()) files::removeTree(repository.backupDirectory(verdict.id));
}

}  // namespace

int main(int count, char** arguments) {
  const std::vector<std::string> words(arguments + 1, arguments + count);
  const auto number = [&](std::size_t place) { return std::strtoul(words[place].c_str(), nullptr, 10); };
  if (words.size() == 4 && words[0] == "corpus") {
    fmt::print("{} bytes\n", bench::writeCorpus(words[1], number(2), number(3)));
  } else if (words.size() >= 3 && words[0] == "store") {
    store(words[1], words[2], words.size() > 3 ? number(3) : std::thread::hardware_concurrency());
  } else if (words.size() == 3 && words[0] == "drop") {
    drop(BackupRepository(words[1]), static_cast<int>(number(2)));
  } else {
    fmt::print(stderr, "PeerBench is run by compare-peers\n");
    return 1;
  }
}
