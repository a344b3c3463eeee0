#include "OrvikCore/Store/PackCache.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <utility>
#include <vector>

#include "OrvikCore/Store/ObjectKey.h"
#include "OrvikCore/Store/PackStore.h"
#include "OrvikCore/Store/PackTable.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace files = platform::files;

namespace {

using platform::MonotonicClock;

constexpr std::chrono::seconds listingLasts{1};
/// Open packs of one folder at most: a folder may have more packs than a process may open files.
constexpr std::size_t mostOpenPacks = 16;

/// One place of an object.
struct Candidate {
  std::shared_ptr<const PackContent> pack;
  std::int64_t offset = 0;
  std::int64_t length = 0;
};

}  // namespace

/// What is known of one packs folder.
class PackCache::Folder {
 public:
  explicit Folder(Path packs) : packs_(std::move(packs)) {}

  const Path& path() const noexcept { return packs_; }
  void refreshIfNeeded();

  /// All places of an object, the last by file name first.
  std::vector<Candidate> candidates(const ObjectKey& key) const;
  bool contains(const ObjectKey& key) const;
  /// The open pack; null when it can't be opened.
  std::shared_ptr<const files::RangeReader> opened(const PackContent& pack);

 private:
  struct Open {
    std::shared_ptr<const files::RangeReader> reader;
    std::uint64_t lastUse = 0;
  };

  /// Lets those go who wait for the first look, however it ended.
  struct EndsFirstLook {
    Folder* folder;  ///< null: it is not the first
    ~EndsFirstLook() {
      if (!folder) return;
      const std::lock_guard lock(folder->mutex_);
      folder->isLooking_ = false;
      folder->looked_.notify_all();
    }
  };

  const Path packs_;
  std::condition_variable looked_;
  mutable std::mutex mutex_;  // guards what follows
  bool isLooking_ = false;    ///< a thread reads all indexes for the first time
  std::optional<MonotonicClock::time_point> checked_;
  std::vector<std::string> names_;  ///< of the index files that were seen, ascending
  PackTable table_;
  std::map<std::string, Open, std::less<>> open_;  ///< by pack name
  std::uint64_t uses_ = 0;
};

void PackCache::Folder::refreshIfNeeded() {
  std::vector<std::string> loaded;
  bool isFirst = false;
  {
    std::unique_lock lock(mutex_);
    // One thread reads the indexes, the others wait for it: each would take the time and memory of all.
    looked_.wait(lock, [this] { return checked_ || !isLooking_; });
    const auto now = MonotonicClock::now();
    if (checked_ && now - *checked_ <= listingLasts) return;
    // Whoever comes while this thread lists makes do with what was known a second ago.
    isFirst = !checked_;
    if (isFirst)
      isLooking_ = true;
    else
      checked_ = now;
    for (const auto& pack : table_.packs()) loaded.push_back(pack->indexName);
  }
  const EndsFirstLook ends{isFirst ? this : nullptr};
  std::ranges::sort(loaded);

  auto names = PackStore::indexNames(packs_);
  const auto now = MonotonicClock::now();
  {
    const std::lock_guard lock(mutex_);
    if (checked_ && names == names_) {
      checked_ = now;
      return;
    }
  }

  std::vector<std::shared_ptr<const PackContent>> fresh;
  for (const auto& name : names) {
    if (std::ranges::binary_search(loaded, name)) continue;
    const auto index = PackStore::readIndex(packs_ / name);
    if (auto content = index ? PackContent::of(name, *index) : nullptr) fresh.push_back(std::move(content));
  }

  const std::lock_guard lock(mutex_);
  const auto isListed = [&](const std::string& name) { return std::ranges::binary_search(names, name); };
  table_.dropIf([&](const PackContent& pack) { return !isListed(pack.indexName); });
  std::vector<std::string> known;
  for (const auto& pack : table_.packs()) known.push_back(pack->indexName);
  std::ranges::sort(known);
  for (auto& pack : fresh)  // another thread may have been here meanwhile
    if (!std::ranges::binary_search(known, pack->indexName)) table_.add(std::move(pack));
  names_ = std::move(names);
  open_.clear();
  checked_ = now;
}

std::vector<Candidate> PackCache::Folder::candidates(const ObjectKey& key) const {
  std::vector<Candidate> found;
  const std::lock_guard lock(mutex_);
  table_.find(key, [&](const auto& pack, const PackContent::Entry& entry) {
    found.push_back({pack, entry.offset, entry.length});
  });
  if (found.size() > 1)
    std::ranges::sort(found, std::ranges::greater(),
                      [](const Candidate& each) -> const std::string& { return each.pack->indexName; });
  return found;
}

bool PackCache::Folder::contains(const ObjectKey& key) const {
  bool found = false;
  const std::lock_guard lock(mutex_);
  table_.find(key, [&](const auto&, const auto&) { found = true; });
  return found;
}

std::shared_ptr<const files::RangeReader> PackCache::Folder::opened(const PackContent& pack) {
  {
    const std::lock_guard lock(mutex_);
    if (const auto found = open_.find(pack.packName); found != open_.end()) {
      found->second.lastUse = ++uses_;
      return found->second.reader;
    }
  }
  std::shared_ptr<const files::RangeReader> reader;
  try {
    reader = std::make_shared<files::RangeReader>(packs_ / pack.packName);
  } catch (const files::FileError&) {
    return nullptr;
  }
  const std::lock_guard lock(mutex_);
  if (open_.size() >= mostOpenPacks)
    open_.erase(std::ranges::min_element(open_, {}, [](const auto& each) { return each.second.lastUse; }));
  open_.insert_or_assign(pack.packName, Open{reader, ++uses_});
  return reader;
}

PackCache& PackCache::shared() {
  static PackCache cache;
  return cache;
}

PackCache::PackCache() = default;
PackCache::~PackCache() = default;

std::shared_ptr<PackCache::Folder> PackCache::refreshed(const Path& packs) {
  std::shared_ptr<Folder> folder;
  {
    const std::lock_guard lock(mutex_);
    auto found = folders_.find(packs.native());
    if (found == folders_.end())
      found = folders_.emplace(packs.native(), std::make_shared<Folder>(packs)).first;
    folder = found->second;
  }
  folder->refreshIfNeeded();
  return folder;
}

void PackCache::refreshIfNeeded(const Path& packs) noexcept try { refreshed(packs); } catch (...) {
  // Memory ran out: what is not known is looked for again.
}

std::optional<PackStore::Location> PackCache::location(std::string_view hash, const Path& packs) noexcept
    try {
  const auto key = ObjectKey::parse(hash);
  if (!key) return std::nullopt;
  const auto found = refreshed(packs)->candidates(*key);
  if (found.empty()) return std::nullopt;
  return PackStore::Location{packs / found.front().pack->packName, found.front().offset,
                             found.front().length};
} catch (...) {
  return std::nullopt;
}

std::optional<PackCache::Place> PackCache::place(std::string_view hash, const Path& packs) noexcept try {
  const auto key = ObjectKey::parse(hash);
  if (!key) return std::nullopt;
  const auto found = refreshed(packs)->candidates(*key);
  if (found.empty()) return std::nullopt;
  return Place{reinterpret_cast<std::uintptr_t>(found.front().pack.get()), found.front().offset};
} catch (...) {
  return std::nullopt;
}

bool PackCache::contains(std::string_view hash, const Path& packs) noexcept try {
  const auto key = ObjectKey::parse(hash);
  return key && refreshed(packs)->contains(*key);
} catch (...) {
  return false;
}

bool PackCache::holds(std::string_view hash, const Path& packs) noexcept try {
  const auto key = ObjectKey::parse(hash);
  if (!key) return false;
  const auto folder = refreshed(packs);
  return std::ranges::any_of(folder->candidates(*key), [&](const Candidate& each) {
    const auto reader = folder->opened(*each.pack);
    return reader && each.length <= reader->size() && each.offset <= reader->size() - each.length;
  });
} catch (...) {
  return false;
}

bool PackCache::read(std::string_view hash, const Path& packs, platform::Bytes& buffer) noexcept try {
  const auto key = ObjectKey::parse(hash);
  if (!key) return false;
  const auto folder = refreshed(packs);
  return std::ranges::any_of(folder->candidates(*key), [&](const Candidate& each) {
    const auto reader = folder->opened(*each.pack);
    return reader && reader->read(each.offset, each.length, buffer);
  });
} catch (...) {
  return false;
}

std::optional<platform::Bytes> PackCache::data(std::string_view hash, const Path& packs) noexcept try {
  platform::Bytes buffer;
  if (!read(hash, packs, buffer)) return std::nullopt;
  return buffer;
} catch (...) {
  return std::nullopt;
}

void PackCache::invalidate(const Path& packs) noexcept try {
  const std::lock_guard lock(mutex_);
  if (const auto found = folders_.find(packs.native()); found != folders_.end()) folders_.erase(found);
} catch (...) {
  // The mutex alone could fail, and then nothing works.
}

}  // namespace orvik
