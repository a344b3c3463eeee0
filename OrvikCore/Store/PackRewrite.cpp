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

/// What earlier rewrites of a pack are called: its name, "-" and 8 digits.
std::optional<OpenPack> earlierRewrite(const std::filesystem::path& index, const std::string& pack) {
  const auto pattern = PackStore::rewrittenName(pack);  // differs from theirs in the digits alone
  const auto fixed = std::string_view(pattern).substr(0, pattern.rfind('-') + 1);
  for (const auto& name : PackStore::indexNames(index.parent_path()))
    if (name.starts_with(fixed) && name.size() == pattern.size() + BackupFormat::packIndexSuffix.size())
      if (auto found = OpenPack::open(index.parent_path() / name)) return found;
  return std::nullopt;
}

/// What an earlier rewrite lacks of the live entries.
std::vector<PackObjects::Entry> missingIn(const OpenPack& rewrite, std::vector<PackObjects::Entry> live,
                                          const ObjectStore& store, const std::stop_token& stop) {
  platform::Bytes buffer;
  std::erase_if(live, [&](const auto& entry) {
    platform::throwIfCancelled(stop);
    const auto* range = rewrite.index().objects.find(entry.key);
    return range && rewrite.read(*range, buffer) && store.isIntact(entry.key.text(), buffer);
  });
  return live;
}

}  // namespace

bool rewritePack(const ObjectStore& store, const std::filesystem::path& index, const NameSet& keep,
                 const std::stop_token& stop) {
  const auto old = OpenPack::open(index);
  if (!old) return false;
  const auto& objects = old->index().objects;
  // A name that is no object's can't be written anew, so a pack with such a one stays.
  const bool hasForeign =
      std::ranges::any_of(objects.others, [&](const auto& other) { return keep.contains(other.first); });
  const auto live = liveEntries(objects, keep);

  platform::Bytes buffer;
  if (const auto earlier = earlierRewrite(index, old->index().pack)) {
    const auto missing = missingIn(*earlier, live, store, stop);
    if (missing.empty()) return !hasForeign;
    const bool wouldGain = std::ranges::any_of(missing, [&](const auto& entry) {
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
