#include "OrvikCore/Store/PackRewrite.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/PackIndex.h"
#include "OrvikCore/Store/PackStore.h"
#include "OrvikCore/Store/PackWriter.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace files = platform::files;

namespace {

/// A pack that can be read, with its index.
class OpenPack {
 public:
  /// Nothing when either can't be read.
  static std::optional<OpenPack> open(const std::filesystem::path& index) {
    auto content = PackStore::readIndex(index);
    if (!content || !content->namesPlainFile()) return std::nullopt;
    try {
      auto reader = std::make_unique<files::RangeReader>(index.parent_path() / content->pack);
      return OpenPack(std::move(*content), std::move(reader));
    } catch (const files::FileError&) {
      return std::nullopt;
    }
  }

  const PackIndex& index() const noexcept { return index_; }

  /// Whether that entry can be read; `buffer` holds its stored bytes then.
  bool read(const PackRange& range, platform::Bytes& buffer) const {
    constexpr auto longest = static_cast<std::int64_t>(BackupFormat::objectLimit);
    return range.liesWithin(reader_->size()) && range.length <= longest &&
           reader_->read(range.offset, range.length, buffer);
  }

 private:
  OpenPack(PackIndex index, std::unique_ptr<files::RangeReader> reader)
      : index_(std::move(index)), reader_(std::move(reader)) {}

  PackIndex index_;
  std::unique_ptr<files::RangeReader> reader_;
};

/// The entries that are in `keep`, in the order in which they lie in the pack.
std::vector<PackObjects::Entry> liveEntries(const PackObjects& objects, const NameSet& keep) {
  std::vector<PackObjects::Entry> live;
  std::ranges::copy_if(objects.entries, std::back_inserter(live),
                       [&](const auto& entry) { return keep.contains(entry.key); });
  std::ranges::sort(live, {}, [](const auto& entry) { return entry.range.offset; });
  return live;
}

/// The packs that earlier rewrites of `old` made: "<its name>-<8 digits>", each with an index of the same
/// name.
std::vector<OpenPack> earlierRewrites(const std::filesystem::path& index, const OpenPack& old,
                                      std::span<const std::string> indexNames) {
  const auto pattern = PackStore::rewrittenName(old.index().pack);  // differs from theirs in the digits alone
  const auto fixed = std::string_view(pattern).substr(0, pattern.rfind('-') + 1);
  constexpr std::string_view digits = "0123456789abcdef";
  std::vector<OpenPack> found;
  for (auto name = std::ranges::lower_bound(indexNames, fixed);
       name != indexNames.end() && name->starts_with(fixed); ++name) {
    const auto stem = std::string_view(*name).substr(0, name->size() - BackupFormat::packIndexSuffix.size());
    const bool isRewrite = stem.size() == pattern.size() &&
                           stem.find_first_not_of(digits, fixed.size()) == std::string_view::npos;
    // A name of the greatest length looks like a rewrite of itself. What is about to go is no copy.
    if (!isRewrite || *name == index.filename().native()) continue;
    auto pack = OpenPack::open(index.parent_path() / *name);
    if (pack && PackStore::isPair(*name, pack->index().pack) && pack->index().pack != old.index().pack)
      found.push_back(std::move(*pack));
  }
  return found;
}

/// Removes the entries that a rewrite holds intact.
void dropHeld(std::vector<PackObjects::Entry>& entries, const OpenPack& rewrite, const ObjectStore& store,
              const std::stop_token& stop) {
  platform::Bytes buffer;
  std::erase_if(entries, [&](const auto& entry) {
    platform::throwIfCancelled(stop);
    const auto* range = rewrite.index().objects.find(entry.key);
    return range && rewrite.read(*range, buffer) && store.isIntact(entry.key.text(), buffer);
  });
}

}  // namespace

bool rewritePack(const ObjectStore& store, const std::filesystem::path& index,
                 std::span<const std::string> indexNames, const NameSet& keep, const std::stop_token& stop) {
  const auto old = OpenPack::open(index);
  if (!old) return false;
  const auto& objects = old->index().objects;
  // A name that is no object's can't be written anew, so a pack with such a one stays.
  const bool hasForeign =
      std::ranges::any_of(objects.others, [&](const auto& other) { return keep.contains(other.first); });
  const auto live = liveEntries(objects, keep);

  platform::Bytes buffer;
  if (const auto earlier = earlierRewrites(index, *old, indexNames); !earlier.empty()) {
    auto missing = live;
    for (const auto& rewrite : earlier) dropHeld(missing, rewrite, store, stop);
    if (missing.empty()) {
      // Who wrote them may have been ended before they were on stable storage.
      files::syncFileSystem(index.parent_path());
      return !hasForeign;
    }
    const bool wouldGain = std::ranges::any_of(missing, [&](const auto& entry) {
      platform::throwIfCancelled(stop);
      return old->read(entry.range, buffer) && store.isIntact(entry.key.text(), buffer);
    });
    if (!wouldGain) return false;
  }

  PackWriter writer(store, PackStore::rewrittenName(old->index().pack));
  for (const auto& [key, range] : live) {
    platform::throwIfCancelled(stop);
    if (old->read(range, buffer)) writer.add(key.text(), buffer);
  }
  return writer.finish().size() == live.size() && !hasForeign;
}

}  // namespace orvik
