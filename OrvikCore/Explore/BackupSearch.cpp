#include <algorithm>
#include <map>
#include <stop_token>
#include <thread>
#include <utility>

#include "OrvikCore/Explore/BackupReader.h"
#include "OrvikCore/Explore/SearchText.h"
#include "OrvikCore/Explore/SearchTextCache.h"
#include "Platform/Concurrency/TaskGroup.h"
#include "Platform/Locale/Text.h"
#include "TuvCore/Error.h"

namespace orvik {

namespace locale = platform::locale;

namespace {

using Entry = BackupReader::Entry;

/// Entries between two looks at the callbacks, which are also what one worker takes at a time.
constexpr std::size_t blockSize = 200;

bool isSearched(const SectionSummary& section) {
  return section.index && section.counts.total + section.counts.removed > 0;
}

/// Whether a text contains a folded needle, both of any length.
bool contains(std::string_view text, std::string_view needle) { return text.find(needle) != text.npos; }

/// Looks at one entry after another for a text. Any thread may call.
class Matcher {
 public:
  Matcher(const BackupReader& reader, std::string needle) : reader_(reader), needle_(std::move(needle)) {}

  /// The entries of a block that match, in their order.
  std::vector<SearchHit> hits(const std::vector<Entry>& entries, std::size_t block,
                              const std::stop_token& stop) const {
    std::vector<SearchHit> found;
    const auto end = std::min((block + 1) * blockSize, entries.size());
    for (auto i = block * blockSize; i < end && !stop.stop_requested(); ++i)
      if (auto excerpts = match(entries[i])) found.push_back({entries[i], std::move(*excerpts)});
    return found;
  }

 private:
  /// The excerpts of an entry that matches, of which one that matches by its name has none.
  std::optional<std::vector<std::string>> match(const Entry& entry) const {
    std::vector<std::string> hashes;
    for (const auto& object : entry.item.objects) hashes.push_back(object.second);
    std::ranges::sort(hashes);
    std::vector<std::string> excerpts;
    bool matches = false;
    for (const auto& hash : hashes) {
      try {
        const auto text =
            SearchTextCache::shared().text(hash, [&] { return searchText::of(reader_.rawJSON(hash)); });
        if (!contains(*text, needle_)) continue;
        matches = true;
        std::ranges::move(searchText::excerpts(reader_.json(hash).raw().value(), needle_),
                          std::back_inserter(excerpts));
      } catch (const tuv::Error&) {
        // What can't be read has no text.
      }
    }
    if (!matches && entry.item.id != needle_ && !contains(searchText::folded(entry.displayName()), needle_))
      return std::nullopt;
    if (excerpts.size() > searchText::mostExcerpts) excerpts.resize(searchText::mostExcerpts);
    return excerpts;
  }

  const BackupReader& reader_;
  const std::string needle_;
};

/// Puts the hits of blocks, which come in any order, into that of the entries, until there are enough.
class HitList {
 public:
  HitList(std::size_t entries, std::size_t limit, const BackupReader::IsCancelled& isCancelled,
          const BackupReader::SearchProgress& progress)
      : entries_(entries), limit_(limit), isCancelled_(isCancelled), progress_(progress) {
    lookUp();
  }

  void take(std::size_t block, std::vector<SearchHit> hits) {
    waiting_.emplace(block, std::move(hits));
    for (auto next = waiting_.find(next_); next != waiting_.end() && !ended_; next = waiting_.find(next_)) {
      append(std::move(next->second));
      waiting_.erase(next);
      ++next_;
      if (next_ * blockSize < entries_) lookUp();
    }
  }

  /// Whether nothing more is wanted.
  bool isComplete() const { return ended_; }
  std::vector<SearchHit> result() { return std::move(hits_); }

 private:
  /// Asks and tells the caller, at the first entry of each block.
  void lookUp() {
    if (ended_) return;
    ended_ = isCancelled_ && isCancelled_();
    if (!ended_ && progress_) progress_(next_ * blockSize, entries_);
  }

  void append(std::vector<SearchHit> hits) {
    for (auto& hit : hits) {
      hits_.push_back(std::move(hit));
      if ((ended_ = hits_.size() >= limit_)) return;
    }
  }

  const std::size_t entries_;
  const std::size_t limit_;
  const BackupReader::IsCancelled& isCancelled_;
  const BackupReader::SearchProgress& progress_;
  std::map<std::size_t, std::vector<SearchHit>> waiting_;
  std::size_t next_ = 0;  ///< the block whose hits come next
  std::vector<SearchHit> hits_;
  bool ended_ = false;
};

}  // namespace

std::vector<Entry> BackupReader::search(std::string_view query, std::size_t limit) const {
  const auto trimmed = locale::trimmed(query);
  const auto wanted = locale::composed(trimmed);
  std::vector<Entry> hits;
  if (wanted.empty()) return hits;
  for (const auto& section : sections()) {
    if (!isSearched(section.summary)) continue;
    for (auto& entry : entries(section.summary.id)) {
      if (hits.size() >= limit) return hits;
      if (entry.item.id == trimmed || locale::findIgnoringCase(locale::composed(entry.displayName()), wanted))
        hits.push_back(std::move(entry));
    }
  }
  return hits;
}

std::vector<SearchHit> BackupReader::searchContents(std::string_view query, std::size_t limit,
                                                    const IsCancelled& isCancelled,
                                                    const SearchProgress& progress) const {
  const Matcher matcher(*this, searchText::folded(locale::trimmed(query)));
  if (locale::trimmed(query).empty() || limit == 0) return {};
  std::vector<Entry> wanted;
  for (const auto& section : sections()) {
    if (!isSearched(section.summary)) continue;
    for (auto& entry : entries(section.summary.id))
      if (entry.isStored()) wanted.push_back(std::move(entry));
  }
  if (wanted.empty()) return {};

  HitList hits(wanted.size(), limit, isCancelled, progress);
  if (hits.isComplete()) return {};
  std::stop_source enough;
  platform::TaskGroup<std::vector<SearchHit>>::run(
      (wanted.size() + blockSize - 1) / blockSize, std::thread::hardware_concurrency(), enough.get_token(),
      [&](std::size_t block, const std::stop_token& stop) { return matcher.hits(wanted, block, stop); },
      [&](std::size_t block, std::vector<SearchHit> found) {
        hits.take(block, std::move(found));
        if (hits.isComplete()) enough.request_stop();
      });
  return hits.result();
}

}  // namespace orvik
