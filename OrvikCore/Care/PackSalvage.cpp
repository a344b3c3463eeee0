#include "OrvikCore/Care/PackSalvage.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <optional>
#include <string_view>

#include "OrvikCore/Security/BackupCipher.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace {

namespace files = platform::files;
using Offset = std::int64_t;

constexpr Offset longestEntry = 64 << 20;
constexpr Offset piece = 4 << 20;
/// Entry ends that are tried for one begin, since the first may be a look-alike, and begins for one end.
constexpr int mostEnds = 8;
constexpr std::size_t mostBegins = 8;
/// Bytes by which a begin is told.
constexpr std::size_t longestMark = 12;

/// A look at a file through a window that moves ahead: what lies behind it is forgotten.
class Window {
 public:
  explicit Window(const std::filesystem::path& path) : path_(path), reader_(path) {}

  Offset size() const noexcept { return reader_.size(); }

  /// The bytes from `begin` on, as far as they are at hand, and at least `count` of them where the file has
  /// them. Valid until the next call. Throws `FileError` when they can't be read.
  std::string_view from(Offset begin, Offset count) {
    forgetBefore(begin);
    while (end() < std::min(begin + count, size())) readOn();
    return std::string_view(bytes_).substr(static_cast<std::size_t>(begin - begin_));
  }

 private:
  Offset end() const { return begin_ + static_cast<Offset>(bytes_.size()); }

  void forgetBefore(Offset begin) {
    if (begin < begin_ || begin >= end()) {
      bytes_.clear();
      begin_ = begin;
    } else if (begin - begin_ > piece) {
      bytes_.erase(0, static_cast<std::size_t>(begin - begin_));
      begin_ = begin;
    }
  }
  void readOn() {
    const auto count = std::min(piece, size() - end());
    if (!reader_.read(end(), count, next_)) files::throwFileError("read", path_, EIO);
    bytes_ += next_;
  }

  const std::filesystem::path path_;
  files::RangeReader reader_;
  Offset begin_ = 0;
  platform::Bytes bytes_;
  platform::Bytes next_;
};

/// Whether an entry can visibly begin with these bytes: what is nested deeper is indented by more.
bool isBegin(std::string_view bytes) {
  if (BackupCipher::isSealed(bytes) || bytes.starts_with("<?xml")) return true;
  if (bytes.size() < 5 || (bytes[0] != '{' && bytes[0] != '[') || bytes[1] != '\n') return false;
  const bool isEmpty = bytes[2] == '\n' && bytes[3] == (bytes[0] == '{' ? '}' : ']');
  return isEmpty || (bytes[2] == ' ' && bytes[3] == ' ' && bytes[4] != ' ');
}

class Salvage {
 public:
  Salvage(const std::filesystem::path& pack, const ContentProof& proof, const IsWanted& isWanted,
          const std::stop_token& stop)
      : window_(pack), proof_(proof), isWanted_(isWanted), stop_(stop) {}

  std::vector<PackObjects::Entry> run() {
    for (Offset at = 0; at < window_.size();) {
      platform::throwIfCancelled(stop_);
      const auto first = window_.from(at, 1).front();
      at = first == '{' || first == '[' ? behindDocument(at, first == '{' ? objectEnd_ : arrayEnd_)
                                        : behindOther(at);
    }
    return std::move(entries_);
  }

 private:
  /// Where an outermost closing bracket stands, the only one at the begin of a line, as far as that is known:
  /// from `from` on the first is before `end`, or there is none up to there.
  struct DocumentEnd {
    std::string_view mark;
    Offset from = 0;
    Offset end = 0;
    bool isThere = false;
  };

  Offset behindDocument(Offset begin, DocumentEnd& known) {
    const auto end = documentEnd(begin, known);
    if (!end) return nextBegin(begin + 1).value_or(window_.size());
    return takeIfProven(begin, *end) ? *end : resumeBefore(begin, *end);
  }

  /// What begins there and is no document.
  Offset behindOther(Offset begin) {
    auto end = begin;
    for (int i = 0; i < mostEnds && end < window_.size(); ++i) {
      end = nextBegin(end + 1).value_or(window_.size());
      if (end - begin > longestEntry) break;
      if (takeIfProven(begin, end)) return end;
    }
    return nextBegin(begin + 1).value_or(window_.size());
  }

  std::optional<Offset> documentEnd(Offset begin, DocumentEnd& known) {
    const auto length = static_cast<Offset>(known.mark.size());
    const bool isKnown = begin >= known.from && begin <= known.end - length;
    auto looked = isKnown && !known.isThere ? known.end - begin - 1 : 0;
    if (!isKnown || !known.isThere) {
      known = {known.mark, begin, begin + looked, false};
      while (looked < longestEntry && begin + looked < window_.size() && !known.isThere) {
        const auto bytes = window_.from(begin, looked + piece);
        const auto found = bytes.find(known.mark, static_cast<std::size_t>(std::max<Offset>(looked - 1, 0)));
        known.isThere = found != bytes.npos;
        looked = static_cast<Offset>(known.isThere ? found + known.mark.size() : bytes.size());
        known.end = begin + looked;
      }
    }
    if (!known.isThere || known.end - begin > longestEntry) return std::nullopt;
    return known.end;
  }

  /// A document that doesn't prove itself is damaged, perhaps at its own end: then others lie before this
  /// one. The last few begins are tried, and whatever is sealed, which no document holds.
  Offset resumeBefore(Offset begin, Offset end) {
    std::deque<Offset> begins;
    for (auto at = nextBegin(begin + 1); at && *at < end; at = nextBegin(*at + 1)) {
      if (BackupCipher::isSealed(window_.from(*at, Offset(longestMark)))) return *at;
      begins.push_back(*at);
      if (begins.size() > mostBegins) begins.pop_front();
    }
    return begins.empty() ? end : begins.front();
  }

  /// The next place at which an entry can visibly begin.
  std::optional<Offset> nextBegin(Offset from) {
    while (from < window_.size()) {
      platform::throwIfCancelled(stop_);
      const auto bytes = window_.from(from, piece);
      const bool isLast = from + static_cast<Offset>(bytes.size()) >= window_.size();
      const auto end = isLast ? bytes.size() : bytes.size() - longestMark + 1;
      for (auto i = bytes.find_first_of("{[<O"); i < end; i = bytes.find_first_of("{[<O", i + 1))
        if (isBegin(bytes.substr(i))) return from + static_cast<Offset>(i);
      from += static_cast<Offset>(end);
    }
    return std::nullopt;
  }

  bool takeIfProven(Offset begin, Offset end) {
    const auto length = end - begin;
    bytes_.assign(window_.from(begin, length).substr(0, static_cast<std::size_t>(length)));
    const auto name = proof_.nameOf(bytes_);
    const auto key = name ? ObjectKey::parse(*name) : std::nullopt;
    if (!key || (!BackupCipher::isSealed(bytes_) && !isWanted_(*key, bytes_))) return false;
    entries_.push_back({*key, {begin, length, true}});
    return true;
  }

  Window window_;
  const ContentProof& proof_;
  const IsWanted& isWanted_;
  const std::stop_token& stop_;
  DocumentEnd objectEnd_{"\n}"};
  DocumentEnd arrayEnd_{"\n]"};
  platform::Bytes bytes_;
  std::vector<PackObjects::Entry> entries_;
};

}  // namespace

std::vector<PackObjects::Entry> salvagePack(const std::filesystem::path& pack, const ContentProof& proof,
                                            const IsWanted& isWanted, const std::stop_token& stop) {
  return Salvage(pack, proof, isWanted, stop).run();
}

}  // namespace orvik
