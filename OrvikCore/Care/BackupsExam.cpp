#include "OrvikCore/Care/BackupsExam.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <set>
#include <thread>
#include <utility>

#include "OrvikCore/Care/Clock.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/BackupJournal.h"
#include "OrvikCore/Store/PackCache.h"
#include "OrvikCore/Store/PackStore.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Concurrency/TaskGroup.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace {

namespace files = platform::files;
using Kind = Finding::Kind;
using Path = std::filesystem::path;

/// An index as it was found.
struct Loaded {
  enum class State { read, missing, unreadable, sealed };
  State state = State::missing;
  bool isPlain = false;
  std::unique_ptr<SectionIndex> index;
};

bool beginsSealed(const Path& path) try {
  files::FileReader reader(path);
  platform::Bytes begin;
  return reader.read(begin, BackupCipher::magic.size()) && BackupCipher::isSealed(begin);
} catch (const files::FileError&) {
  return false;
}

Loaded load(const Path& folder, const std::string& section, const std::optional<BackupCipher>& cipher) {
  const auto path = folder / BackupFormat::sectionPath(section);
  const bool isSealed = beginsSealed(path);
  if (isSealed && !cipher) return {Loaded::State::sealed, false, nullptr};
  if (auto index = BackupRepository::loadIndex(folder, section, cipher))
    return {Loaded::State::read, !isSealed, std::make_unique<SectionIndex>(std::move(*index))};
  return {files::exists(path) ? Loaded::State::unreadable : Loaded::State::missing, false, nullptr};
}

/// Something that backups refer to and that is not as it should be.
struct Trouble {
  Need need;
  std::string last;  ///< the backup that was counted last
  bool isMissing = false;
  std::int64_t expected = 0;  ///< bytes of a package file that has another length
};

class Walk {
 public:
  Walk(const BackupRepository& repository, const std::optional<BackupCipher>& cipher, const StoreExam& store,
       platform::Date now, const CareProgress& progress, const std::stop_token& stop)
      : repository_(repository),
        packs_(repository.store().packsDirectory()),
        cipher_(cipher),
        store_(store),
        now_(now),
        progress_(progress),
        stop_(stop) {}

  BackupsExam run() {
    progress_.step("Reading the indexes of the backups");
    packNames_ = PackStore::indexNames(packs_);
    auto names =
        listedNames(repository_.instanceDirectory, std::string(BackupFormat::backupsFolder), exam_.findings);
    // Newest first. What may lack objects comes last: a name counts where it is first seen.
    std::ranges::reverse(names);
    std::stable_partition(names.begin(), names.end(), [&](const auto& name) { return isFinished(name); });
    for (std::size_t i = 0; i < names.size(); ++i) {
      lookAt(names[i]);
      progress_.count(i + 1, names.size());
    }
    lookAgain();
    settle();
    return std::move(exam_);
  }

 private:
  static std::string below(const std::string& name) {
    return (Path(BackupFormat::backupsFolder) / name).native();
  }
  Path folder(const std::string& name) const { return repository_.backupsDirectory() / name; }
  void add(Kind kind, std::string path, std::string text) {
    exam_.findings.push_back({kind, std::move(path), std::move(text), {}, {}});
  }
  bool isFinished(const std::string& name) const {
    return BackupRepository::isBackupName(name) && files::exists(folder(name) / BackupFormat::manifestFile) &&
           repository_.manifest(name);
  }

  void lookAt(const std::string& name) {
    platform::throwIfCancelled(stop_);
    if (!files::isDirectory(folder(name))) {
      if (files::exists(folder(name)))
        add(Kind::stray, below(name), "Something stands here that is no backup's folder.");
    } else if (name.ends_with(BackupFormat::partialSuffix)) {
      lookAtRun(name);
    } else if (const auto manifest = repository_.manifest(name)) {
      lookAtBackup(name, *manifest);
    } else {
      lookAtTorso(name);
    }
  }

  void lookAtBackup(const std::string& name, const BackupManifest& manifest) {
    if (exam_.backups++ == 0 && liesAhead(name, manifest.finishedAt, now_))
      add(Kind::backupAhead, below(name),
          fmt::format(
              "The newest backup lies in the future (it finished at {}): the clock of this machine, or "
              "of the one that made it, is or was wrong.",
              platform::iso8601(manifest.finishedAt)));
    if (manifest.backupID != name)
      add(Kind::stray, below(name),
          fmt::format("The folder holds the backup {}: it is a copy, as a synchronising service makes one, "
                      "and counts as a backup of its own.",
                      manifest.backupID));
    std::vector<std::string> declared;
    for (const auto& section : manifest.sections)
      if (section.index) declared.push_back(section.id);
    walkIndexes(name, declared, manifest.encryption ? Part::ofSealedBackup : Part::ofBackup);
    walkUndeclared(name, {declared.begin(), declared.end()});
  }

  /// A folder without a manifest that can be read is no backup to any reader; what it names is kept.
  void lookAtTorso(const std::string& name) {
    if (!files::isDirectory(folder(name))) return;  // deleted just now
    const auto file = folder(name) / BackupFormat::manifestFile;
    add(files::exists(file) ? Kind::manifestUnreadable : Kind::manifestMissing,
        below(name) + "/" + std::string(BackupFormat::manifestFile),
        fmt::format(
            "The manifest {}, so that the backup can't be used. Put the file back from a copy, or delete "
            "the backup's folder if you can do without it.",
            files::exists(file) ? "can't be read" : "is missing"));
    walkIndexes(name, indexNames(name), Part::aside);
  }

  void lookAtRun(const std::string& name) {
    const auto state = PartialBackupState::load(folder(name));
    if (!state)
      add(Kind::runUnreadable, below(name) + "/" + std::string(BackupFormat::stateFile),
          "The interrupted run can't be taken up: what it says of itself can't be read. The next backup "
          "begins "
          "anew and deletes it.");
    walkIndexes(name, indexNames(name), Part::aside);
    if (state && state->encrypted.value_or(false) && !cipher_) exam_.isComplete = false;
    for (const auto& entry : BackupJournal::read(folder(name), cipher_)) takeReferences(entry.item);
  }

  /// The sections of the index files that are there.
  std::vector<std::string> indexNames(const std::string& name) {
    std::vector<std::string> sections;
    const auto path = below(name) + "/" + std::string(BackupFormat::sectionsFolder);
    const auto before = exam_.findings.size();
    for (auto& file : listedNames(repository_.instanceDirectory, path, exam_.findings)) {
      if (!file.ends_with(BackupFormat::sectionSuffix)) continue;
      file.resize(file.size() - BackupFormat::sectionSuffix.size());
      sections.push_back(std::move(file));
    }
    if (exam_.findings.size() != before) exam_.isComplete = false;
    return sections;
  }

  /// What indexes are part of: of a finished backup, or of none, so that nothing is lost with what they lack.
  enum class Part { ofBackup, ofSealedBackup, aside };

  void walkIndexes(const std::string& name, const std::vector<std::string>& sections, Part part) {
    const auto work = [&](std::size_t i, const std::stop_token& stop) {
      platform::throwIfCancelled(stop);
      return load(folder(name), sections[i], cipher_);
    };
    const auto take = [&](std::size_t i, Loaded loaded) {
      if (loaded.state != Loaded::State::read) return tellIndex(name, sections[i], loaded.state);
      ++exam_.indexes;
      if (loaded.index->sectionID != sections[i])
        add(Kind::indexForeign, pathOf(name, sections[i]),
            "The index is of another section: by what it says of itself it doesn't belong here. Put the "
            "right "
            "one back from a copy; otherwise the next backup has the section again.");
      if (part == Part::ofSealedBackup && loaded.isPlain)
        add(Kind::indexPlain, pathOf(name, sections[i]),
            "The backup is sealed and this index is not: anybody who can write to the folder could have put "
            "it "
            "there.");
      for (const auto& item : loaded.index->items)
        part == Part::aside ? takeReferences(item) : takeItem(name, sections[i], item);
    };
    platform::TaskGroup<Loaded>::run(sections.size(), std::thread::hardware_concurrency(), stop_, work, take);
  }

  static std::string pathOf(const std::string& name, const std::string& section) {
    return below(name) + "/" + BackupFormat::sectionPath(section);
  }

  void tellIndex(const std::string& name, const std::string& section, Loaded::State state) {
    if (!files::isDirectory(folder(name))) return;  // deleted just now
    exam_.isComplete = false;
    if (state == Loaded::State::sealed) {
      ++exam_.sealed;
      return;
    }
    const bool isMissing = state == Loaded::State::missing;
    add(isMissing ? Kind::indexMissing : Kind::indexUnreadable, pathOf(name, section),
        fmt::format("The index {}, so nobody knows what the section held. Put the file back from a copy; "
                    "otherwise the next backup has the section again.",
                    isMissing ? "is missing" : "can't be read"));
  }

  void walkUndeclared(const std::string& name, const std::set<std::string>& declared) {
    std::vector<std::string> others;
    for (auto& section : indexNames(name))
      if (!declared.contains(section)) others.push_back(std::move(section));
    for (const auto& section : others)
      add(Kind::indexUndeclared, pathOf(name, section), "The backup's manifest doesn't name this index.");
    walkIndexes(name, others, Part::aside);
  }

  void takeReferences(const IndexItem& item) {
    for (const auto& [variant, hash] : item.objects) exam_.objects.insert(hash);
    if (item.file && item.file->sha256) exam_.files.insert(*item.file->sha256);
  }

  void takeItem(const std::string& backup, const std::string& section, const IndexItem& item) {
    for (const auto& [variant, hash] : item.objects) {
      if (!exam_.objects.contains(hash)) {
        exam_.objects.insert(hash);
        judgeObject(backup, section, hash);
      }
      note(troubles_, hash, backup, section, item.id);
    }
    if (!item.file || !item.file->sha256) return;
    const auto& digest = *item.file->sha256;
    if (!exam_.files.contains(digest)) {
      exam_.files.insert(digest);
      judgeFile(digest, item.file->size);
    }
    note(fileTroubles_, digest, backup, section, item.file->fileName);
  }

  void judgeObject(const std::string& backup, const std::string& section, const std::string& hash) {
    const auto key = ObjectKey::parse(hash);
    const bool isThere = key && (store_.held.contains(*key) || PackCache::shared().holds(hash, packs_));
    const bool isBad = key && store_.bad.contains(*key);  // and told where it lies
    if (isBad || !isThere) troubles_[hash].isMissing = !isBad;
    if (key && store_.notJSON.contains(*key))
      ++notJSON_.try_emplace(section, Answers{pathOf(backup, section)}).first->second.count;
  }

  void judgeFile(const std::string& digest, const std::optional<std::int64_t>& size) {
    const auto key = ObjectKey::parse(digest);
    const auto found =
        key ? std::ranges::lower_bound(store_.files, *key, {}, &StoreExam::Stored::key) : store_.files.end();
    if (found == store_.files.end() || found->key != *key) {
      fileTroubles_[digest].isMissing = true;
    } else if (store_.badFiles.contains(*key)) {
      fileTroubles_[digest];
    } else if (size && found->bytes != *size && !store_.share.contains(*key)) {
      fileTroubles_[digest].expected = *size;
    }
  }

  using Troubles = std::map<std::string, Trouble>;

  static void note(Troubles& troubles, const std::string& name, const std::string& backup,
                   const std::string& section, const std::string& item) {
    if (troubles.empty()) return;
    const auto found = troubles.find(name);
    if (found == troubles.end()) return;
    auto& [need, last, isMissing, expected] = found->second;
    if (need.backups == 0) need = {backup, 0, section, item};
    // Indexes come in any order; the sentence shall not.
    if (need.backup == backup && std::tie(section, item) < std::tie(need.section, need.item)) {
      need.section = section;
      need.item = item;
    }
    if (std::exchange(last, backup) != backup) ++need.backups;
  }

  /// An object can be moved into a pack, or from pack to pack, while this goes on: as long as packs come and
  /// go, what is missing is looked for again.
  void lookAgain() {
    constexpr int mostRounds = 5;
    const auto store = repository_.store();
    const auto isGone = [](const auto& each) { return each.second.isMissing; };
    for (int round = 0; round < mostRounds && std::ranges::any_of(troubles_, isGone); ++round) {
      PackCache::shared().invalidate(packs_);
      for (auto& [hash, trouble] : troubles_)
        if (trouble.isMissing) trouble.isMissing = !store.hasContent(hash, ObjectStore::IncludingOverlay::no);
      auto names = PackStore::indexNames(packs_);
      if (names == packNames_) return;
      packNames_ = std::move(names);
      platform::sleep(std::chrono::seconds(1), stop_);
    }
  }

  void settle() {
    for (auto& [hash, trouble] : troubles_) {
      const auto key = ObjectKey::parse(hash);
      if (trouble.isMissing) {
        if (key) exam_.missing.insert(*key);
        exam_.findings.push_back({Kind::objectMissing,
                                  key ? BackupFormat::objectPathText(hash) : std::string(),
                                  fmt::format("The object {} is missing.", hash), trouble.need, key});
      }
      if (key && store_.bad.contains(*key)) exam_.needs.emplace(*key, trouble.need);
    }
    for (auto& [digest, trouble] : fileTroubles_) settleFile(digest, trouble);
    for (const auto& [section, answers] : notJSON_)
      add(Kind::notJSON, answers.path,
          fmt::format(
              "{} of section {} {} no JSON: a proxy or a login page may have answered in the server's "
              "place.",
              answers.count == 1 ? "One answer" : fmt::format("{} answers", answers.count), section,
              answers.count == 1 ? "is" : "are"));
  }

  void settleFile(const std::string& digest, Trouble& trouble) {
    const auto key = ObjectKey::parse(digest);
    const auto path = key ? BackupFormat::filePath(digest).native() : std::string();
    if (trouble.isMissing)
      exam_.findings.push_back({Kind::fileMissing, path,
                                fmt::format("The package file {} is missing.", digest), trouble.need, key});
    else if (store_.badFiles.contains(*key))
      exam_.fileNeeds.emplace(*key, trouble.need);
    else
      exam_.findings.push_back(
          {Kind::fileDamaged, path,
           fmt::format("The package file has {} bytes where it should have {}.",
                       files::size(repository_.instanceDirectory / path).value_or(0), trouble.expected),
           trouble.need, key});
  }

  const BackupRepository& repository_;
  const Path packs_;
  const std::optional<BackupCipher>& cipher_;
  const StoreExam& store_;
  const platform::Date now_;
  const CareProgress& progress_;
  const std::stop_token& stop_;
  std::vector<std::string> packNames_;
  Troubles troubles_;
  Troubles fileTroubles_;
  /// Of a section, over all backups.
  struct Answers {
    std::string path;  ///< of the newest index that names one
    std::size_t count = 0;
  };
  std::map<std::string, Answers> notJSON_;
  BackupsExam exam_;
};

}  // namespace

BackupsExam examineBackups(const BackupRepository& repository, const std::optional<BackupCipher>& cipher,
                           const StoreExam& store, platform::Date now, const CareProgress& progress,
                           const std::stop_token& stop) {
  return Walk(repository, cipher, store, now, progress, stop).run();
}

}  // namespace orvik
