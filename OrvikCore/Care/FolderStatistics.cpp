#include "OrvikCore/Care/FolderStatistics.h"

#include <algorithm>
#include <map>
#include <optional>
#include <unordered_map>
#include <utility>

#include "OrvikCore/Care/Quarantine.h"
#include "OrvikCore/Care/StoreExam.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/PackStore.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/AllocatedSize.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace {

using Amount = FolderStatistics::Amount;

struct Spread {
  std::size_t operator()(const ObjectKey& key) const noexcept { return key.spread(); }
};

enum class What { object, file };

void add(Amount& amount, What what, std::int64_t bytes) {
  ++(what == What::object ? amount.objects : amount.files);
  amount.bytes += bytes;
}

/// An object or a package file and who refers to it. Backups count from the oldest, from 1 on; 0 is none.
struct Use {
  std::int64_t bytes = 0;
  std::uint32_t first = 0;
  std::uint32_t last = 0;
  std::uint32_t section = 0;  ///< in which it was met first
  bool isShared = false;      ///< by two backups
};
using Uses = std::unordered_map<ObjectKey, Use, Spread>;

class Reader {
 public:
  Reader(const BackupRepository& repository, const CareProgress& progress, const std::stop_token& stop)
      : repository_(repository), cipher_(repository.cipher()), progress_(progress), stop_(stop) {}

  FolderStatistics run() {
    listStore();
    readBackups();
    settle();
    orderSections();
    return std::move(found_);
  }

 private:
  void listStore() {
    const auto store =
        examineStore(repository_, ContentProof(cipher_), {ContentShare::none()}, progress_, stop_);
    for (const auto& [key, bytes] : store.objects) {
      add(found_.store.single, What::object, bytes);
      objects_[key].bytes = bytes;
    }
    for (const auto& [key, bytes] : store.files) {
      add(found_.store.packageFiles, What::file, bytes);
      files_[key].bytes = bytes;
    }
    PackStore::indexes(repository_.store().packsDirectory(), [&](const auto&, const PackIndex& index) {
      platform::throwIfCancelled(stop_);
      ++found_.store.packs;
      for (const auto& [key, range] : index.objects.entries) {
        const auto bytes = std::clamp<std::int64_t>(range.length, 0, BackupFormat::objectLimit);
        add(found_.store.packed, What::object, bytes);
        objects_.try_emplace(key, Use{.bytes = bytes});
      }
    });
    const auto& root = repository_.instanceDirectory;
    found_.store.allocated = platform::files::allocatedSize(root, stop_);
    if (const auto quarantine = root / Quarantine::folderName; platform::files::isDirectory(quarantine))
      found_.store.quarantine = platform::files::allocatedSize(quarantine, stop_);
  }

  void readBackups() {
    progress_.step("Reading the indexes of the backups");
    auto all = repository_.completeBackups();
    std::ranges::reverse(all);
    for (const auto& backup : all) {
      const bool isNewest = found_.backups.size() + 1 == all.size();
      found_.backups.push_back({backup.id, backup.manifest.finishedAt, {}, {}, {}});
      for (const auto& section : backup.manifest.sections) {
        platform::throwIfCancelled(stop_);
        if (section.index) readSection(backup, section, isNewest);
      }
      progress_.count(found_.backups.size(), all.size());
    }
    if (!all.empty())
      for (const auto& section : all.back().manifest.sections) newestOrder_.push_back(section.id);
  }

  void readSection(const BackupRepository::Backup& backup, const SectionSummary& summary, bool isNewest) {
    const auto folder = repository_.backupDirectory(backup.id);
    const auto index = BackupRepository::loadIndex(folder, summary.id, cipher_);
    if (!index) {
      found_.unreadable.push_back(
          (folder / BackupFormat::sectionPath(summary.id)).lexically_relative(repository_.instanceDirectory));
      return;
    }
    auto [place, isNew] =
        sectionNumbers_.try_emplace(summary.id, static_cast<std::uint32_t>(found_.sections.size()));
    if (isNew) found_.sections.push_back({summary.id, summary.title, 0, {}, {}});
    auto& section = found_.sections[place->second];
    section.title = summary.title;
    if (isNewest) section.items = static_cast<std::int64_t>(index->items.size());
    for (const auto& item : index->items) {
      for (const auto& [variant, hash] : item.objects)
        count(objects_, What::object, hash, place->second, isNewest);
      if (item.file && item.file->sha256)
        count(files_, What::file, *item.file->sha256, place->second, isNewest);
    }
  }

  void count(Uses& uses, What what, const std::string& name, std::uint32_t sectionNumber, bool isNewest) {
    const auto key = ObjectKey::parse(name);
    const auto found = key ? uses.find(*key) : uses.end();
    if (found == uses.end()) {
      if (key && missing_.insert(*key)) ++found_.missing;
      return;
    }
    auto& use = found->second;
    auto& backup = found_.backups.back();
    const auto number = static_cast<std::uint32_t>(found_.backups.size());
    if (use.last == number) return;
    if (use.first == 0) {
      use.section = sectionNumber;
      add(found_.sections[use.section].all, what, use.bytes);
    }
    if (isNewest) add(found_.sections[use.section].newest, what, use.bytes);
    add(backup.all, what, use.bytes);
    if (use.first == 0) {
      use.first = number;
      add(backup.fresh, what, use.bytes);
    } else {
      use.isShared = true;
    }
    use.last = number;
  }

  void settle() {
    const auto settleAll = [&](const Uses& uses, What what) {
      for (const auto& [key, use] : uses) {
        if (use.first == 0)
          add(found_.store.unreferenced, what, use.bytes);
        else if (!use.isShared)
          add(found_.backups[use.first - 1].unique, what, use.bytes);
      }
    };
    settleAll(objects_, What::object);
    settleAll(files_, What::file);
    std::ranges::reverse(found_.backups);
  }

  void orderSections() {
    const auto rank = [&](const FolderStatistics::Section& section) {
      return std::ranges::find(newestOrder_, section.id) - newestOrder_.begin();
    };
    std::ranges::stable_sort(found_.sections, {}, rank);
  }

  const BackupRepository& repository_;
  const std::optional<BackupCipher> cipher_;
  const CareProgress& progress_;
  const std::stop_token& stop_;
  Uses objects_;
  Uses files_;
  KeySet missing_;
  std::map<std::string, std::uint32_t> sectionNumbers_;
  std::vector<std::string> newestOrder_;
  FolderStatistics found_;
};

}  // namespace

FolderStatistics readStatistics(const BackupRepository& repository, const CareProgress& progress,
                                const std::stop_token& stop) {
  return Reader(repository, progress, stop).run();
}

}  // namespace orvik
