#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <stop_token>
#include <thread>
#include <utility>

#include "OrvikCore/Explore/BackupReader.h"
#include "OrvikCore/Explore/Haystack.h"
#include "OrvikCore/Explore/ObjectDescriber.h"
#include "OrvikCore/Explore/SearchText.h"
#include "OrvikCore/Explore/SearchTextCache.h"
#include "OrvikCore/Store/Shelves.h"
#include "Platform/Concurrency/TaskGroup.h"
#include "Platform/Locale/Text.h"
#include "TuvCore/Error.h"
#include "TuvCore/Locked.h"

namespace orvik {

namespace locale = platform::locale;

namespace {

using Entry = BackupReader::Entry;

/// Entries between two looks at the callbacks, which are also what one worker takes at a time.
constexpr std::size_t blockSize = 200;

/// Looks at one object after another for a text. Any thread may call.
class Matcher {
 public:
  /// The needle is folded.
  Matcher(const BackupReader& reader, std::string needle)
      : reader_(reader), shelves_(storeOf(reader)), needle_(std::move(needle)) {}

  /// The hits of a block, in its order.
  std::vector<SearchHit> hits(const std::vector<Haystack::Straw>& straws, std::size_t block,
                              const std::stop_token& stop) const {
    const auto begin = straws.begin() + static_cast<std::ptrdiff_t>(block * blockSize);
    const auto end = straws.end() - begin > static_cast<std::ptrdiff_t>(blockSize)
                         ? begin + static_cast<std::ptrdiff_t>(blockSize)
                         : straws.end();
    std::vector<std::string_view> hashes;
    for (auto straw = begin; straw != end; ++straw)
      for (const auto& object : straw->item->objects) hashes.push_back(object.second);
    const auto known = SearchTextCache::shared().held(hashes);

    std::vector<SearchHit> found;
    auto text = known.begin();
    for (auto straw = begin; straw != end && !stop.stop_requested(); ++straw) {
      const auto texts = std::span(text, straw->item->objects.size());
      if (auto excerpts = match(*straw, texts))
        found.push_back({{straw->section->sectionID, *straw->item, false, {}}, std::move(*excerpts)});
      text += static_cast<std::ptrdiff_t>(texts.size());
    }
    return found;
  }

 private:
  static ObjectStore storeOf(const BackupReader& reader) {
    auto store = reader.repository.store();
    store.cipher = reader.repository.cipher();
    return store;
  }

  /// The excerpts of an object that matches, of which one that matches by its name has none. `known` are the
  /// texts of its variants, null where the cache hasn't got one.
  std::optional<std::vector<std::string>> match(const Haystack::Straw& straw,
                                                std::span<const SearchTextCache::Text> known) const {
    std::set<std::string_view> matching;  // in the order in which their excerpts stand
    std::size_t variant = 0;
    for (const auto& object : straw.item->objects) {
      const auto& hash = object.second;
      const auto& held = known[variant++];
      if (held ? contains(*held) : isInText(hash)) matching.insert(hash);
    }
    if (matching.empty() && straw.item->id != needle_ && !contains(straw.name)) return std::nullopt;
    std::vector<std::string> excerpts;
    for (const auto hash : matching) addExcerpts(hash, excerpts);
    if (excerpts.size() > searchText::mostExcerpts) excerpts.resize(searchText::mostExcerpts);
    return excerpts;
  }

  /// What can't be read has no text.
  bool isInText(const std::string& hash) const try {
    return contains(*SearchTextCache::shared().text(hash, [&] { return textOf(hash); }));
  } catch (const tuv::Error&) {
    return false;
  }

  void addExcerpts(std::string_view hash, std::vector<std::string>& excerpts) const try {
    const auto tree = reader_.json(hash);
    std::ranges::move(searchText::excerpts(ObjectDescriber::unwrap(tree.raw().value()), needle_),
                      std::back_inserter(excerpts));
  } catch (const tuv::Error&) {
    // It was there when its text was taken.
  }

  std::string textOf(const std::string& hash) const {
    // Kept, so that a search takes memory for the texts alone.
    thread_local platform::Bytes stored;
    thread_local platform::Bytes plain;
    if (!shelves_.read(hash, stored)) throw tuv::Error("The object " + hash + " is missing.");
    if (!BackupCipher::isSealed(stored)) return searchText::of(stored);
    if (!shelves_.store().cipher) throw tuv::Error("The object " + hash + " is sealed.");
    shelves_.store().cipher->open(stored, plain);
    return searchText::of(plain);
  }

  bool contains(const std::string& text) const {
    return ::memmem(text.data(), text.size(), needle_.data(), needle_.size()) != nullptr;
  }

  const BackupReader& reader_;
  const Shelves shelves_;
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

/// What the searches of one reader go through. A published backup doesn't change, so its haystack is made
/// once; but for a key that is taken away, without which nothing is found.
class BackupReader::Searched {
 public:
  std::shared_ptr<const Haystack> of(const BackupReader& reader) {
    const bool isKept = !reader.overrideDirectory && !reader.isLocked();
    if (auto known = haystack_.value(); known && isKept) return known;
    auto made = std::make_shared<const Haystack>(reader);
    if (isKept && made->isComplete()) haystack_.setValue(made);
    return made;
  }

 private:
  tuv::Locked<std::shared_ptr<const Haystack>> haystack_;
};

std::shared_ptr<BackupReader::Searched> BackupReader::newSearched() { return std::make_shared<Searched>(); }

std::vector<SearchHit> BackupReader::searchContents(std::string_view query, std::size_t limit,
                                                    const IsCancelled& isCancelled,
                                                    const SearchProgress& progress) const {
  auto needle = searchText::folded(locale::trimmed(query));
  if (needle.empty() || limit == 0) return {};
  const auto haystack = searched_->of(*this);
  const auto& straws = haystack->straws();
  if (straws.empty()) return {};

  const Matcher matcher(*this, std::move(needle));
  HitList hits(straws.size(), limit, isCancelled, progress);
  if (hits.isComplete()) return {};
  std::stop_source enough;
  platform::TaskGroup<std::vector<SearchHit>>::run(
      (straws.size() + blockSize - 1) / blockSize, std::thread::hardware_concurrency(), enough.get_token(),
      [&](std::size_t block, const std::stop_token& stop) { return matcher.hits(straws, block, stop); },
      [&](std::size_t block, std::vector<SearchHit> found) {
        hits.take(block, std::move(found));
        if (hits.isComplete()) enough.request_stop();
      });
  return hits.result();
}

}  // namespace orvik
