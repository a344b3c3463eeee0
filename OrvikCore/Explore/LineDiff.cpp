#include "OrvikCore/Explore/LineDiff.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <unordered_map>

namespace orvik {

namespace {

using Line = LineDiff::Line;
using Kind = LineDiff::Kind;
using Lines = std::vector<std::string_view>;
/// A line as a number: equal lines have the same one.
using Words = std::vector<std::uint32_t>;

/// Beyond so many lines that went or came, or so many comparisons, the search for the fewest ends.
constexpr std::size_t mostEdits = 1500;
constexpr std::size_t mostSteps = 100'000'000;

struct Numbered {
  Words old;
  Words now;
};

Numbered numbered(const Lines& old, const Lines& now) {
  std::unordered_map<std::string_view, std::uint32_t> numbers;
  const auto words = [&numbers](const Lines& lines) {
    Words found;
    found.reserve(lines.size());
    for (const auto line : lines)
      found.push_back(numbers.try_emplace(line, static_cast<std::uint32_t>(numbers.size())).first->second);
    return found;
  };
  auto first = words(old);
  return {std::move(first), words(now)};
}

/// Which lines of either text stay: for each pair a line of the old text and its partner, ascending.
using Pairs = std::vector<std::pair<std::size_t, std::size_t>>;

/// The greedy search for the shortest edit (Myers, "An O(ND) Difference Algorithm", 1986): `reach[k]` is how
/// far in the old text a path on diagonal k, old minus new position, has come after so many edits.
class ShortestEdit {
 public:
  ShortestEdit(const Words& old, const Words& now)
      : old_(old),
        now_(now),
        limit_(std::min({old.size() + now.size(), mostEdits, mostSteps / (old.size() + now.size() + 1)})) {}

  /// Nothing beyond the limits.
  std::optional<Pairs> pairs() {
    for (std::size_t edits = 0; edits <= limit_; ++edits)
      if (extend(static_cast<std::ptrdiff_t>(edits))) return walkBack();
    return std::nullopt;
  }

 private:
  /// Positions after `edits` edits, for the diagonals -edits to edits.
  using Reach = std::vector<std::ptrdiff_t>;
  static constexpr std::ptrdiff_t unreached = -1;

  std::ptrdiff_t oldSize() const { return std::ssize(old_); }
  std::ptrdiff_t nowSize() const { return std::ssize(now_); }

  /// Whether the path with one edit less came down from the diagonal above, which takes a new line in.
  static bool comesFromAbove(const Reach& before, std::ptrdiff_t edits, std::ptrdiff_t k) {
    if (k == -edits) return true;
    return k != edits && at(before, edits - 1, k - 1) < at(before, edits - 1, k + 1);
  }
  static std::ptrdiff_t at(const Reach& reach, std::ptrdiff_t edits, std::ptrdiff_t k) {
    return k < -edits || k > edits ? unreached : reach[static_cast<std::size_t>(k + edits)];
  }
  std::ptrdiff_t start(std::ptrdiff_t edits, std::ptrdiff_t k) const {
    if (edits == 0) return 0;
    const auto& before = trace_[static_cast<std::size_t>(edits - 1)];
    const bool isAbove = comesFromAbove(before, edits, k);
    const auto from = at(before, edits - 1, isAbove ? k + 1 : k - 1);
    return isAbove || from == unreached ? from : from + 1;
  }

  bool isSame(std::ptrdiff_t x, std::ptrdiff_t y) const {
    return old_[static_cast<std::size_t>(x)] == now_[static_cast<std::size_t>(y)];
  }

  /// Takes all paths an edit further; whether one has reached both ends.
  bool extend(std::ptrdiff_t edits) {
    Reach reach(static_cast<std::size_t>(2 * edits + 1), unreached);
    for (auto k = -edits; k <= edits; k += 2) {
      auto x = start(edits, k);
      if (x == unreached || x > oldSize() || x - k < 0 || x - k > nowSize()) continue;
      while (x < oldSize() && x - k < nowSize() && isSame(x, x - k)) ++x;
      reach[static_cast<std::size_t>(k + edits)] = x;
      if (x == oldSize() && x - k == nowSize()) {
        trace_.push_back(std::move(reach));
        return true;
      }
    }
    trace_.push_back(std::move(reach));
    return false;
  }

  Pairs walkBack() const {
    Pairs pairs;
    auto x = oldSize(), y = nowSize();
    for (auto edits = std::ssize(trace_) - 1; edits >= 0; --edits) {
      const auto k = x - y;
      const auto begin = start(edits, k);
      while (x > begin) pairs.emplace_back(--x, --y);
      if (edits == 0) break;
      if (comesFromAbove(trace_[static_cast<std::size_t>(edits - 1)], edits, k))
        --y;
      else
        --x;
    }
    std::ranges::reverse(pairs);
    return pairs;
  }

  const Words& old_;
  const Words& now_;
  const std::size_t limit_;
  std::vector<Reach> trace_;
};

/// The pairs of two texts. What both begin and end with in common stays out of the search.
Pairs pairsOf(const Words& old, const Words& now) {
  const auto most = std::min(old.size(), now.size());
  std::size_t start = 0, end = 0;
  while (start < most && old[start] == now[start]) ++start;
  while (end < most - start && old[old.size() - 1 - end] == now[now.size() - 1 - end]) ++end;

  const auto inner = [&](const Words& words) {
    return Words(words.begin() + static_cast<std::ptrdiff_t>(start),
                 words.end() - static_cast<std::ptrdiff_t>(end));
  };
  const auto oldInner = inner(old), nowInner = inner(now);
  Pairs pairs;
  for (std::size_t i = 0; i < start; ++i) pairs.emplace_back(i, i);
  for (const auto& [x, y] : ShortestEdit(oldInner, nowInner).pairs().value_or(Pairs()))
    pairs.emplace_back(start + static_cast<std::size_t>(x), start + static_cast<std::size_t>(y));
  for (auto i = end; i > 0; --i) pairs.emplace_back(old.size() - i, now.size() - i);
  return pairs;
}

/// All lines of both, those that went before those that came.
std::vector<Line> merged(const Lines& old, const Lines& now, Pairs pairs) {
  pairs.emplace_back(old.size(), now.size());
  std::vector<Line> lines;
  std::size_t x = 0, y = 0;
  for (const auto& [oldEnd, nowEnd] : pairs) {
    for (; x < oldEnd; ++x) lines.push_back({Kind::removed, x + 1, 0, old[x]});
    for (; y < nowEnd; ++y) lines.push_back({Kind::added, 0, y + 1, now[y]});
    if (x == old.size()) break;
    lines.push_back({Kind::same, x + 1, y + 1, old[x]});
    ++x, ++y;
  }
  return lines;
}

/// Puts a gap in the place of lines that are farther than `context` from any that differs.
std::vector<Line> shortened(const std::vector<Line>& lines, std::size_t context) {
  std::vector<bool> isShown(lines.size());
  bool differs = false;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (lines[i].kind == Kind::same) continue;
    differs = true;
    const auto end = std::min(lines.size(), i + context + 1);
    for (auto near = i - std::min(i, context); near < end; ++near) isShown[near] = true;
  }
  std::vector<Line> shown;
  for (std::size_t i = 0; differs && i < lines.size(); ++i) {
    if (isShown[i])
      shown.push_back(lines[i]);
    else if (shown.empty() || shown.back().kind != Kind::gap)
      shown.push_back({Kind::gap, 0, 0, {}});
  }
  return shown;
}

}  // namespace

std::vector<std::string_view> LineDiff::linesOf(std::string_view text) {
  Lines lines;
  while (!text.empty()) {
    const auto end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

std::vector<Line> LineDiff::unified(std::string_view old, std::string_view now, std::size_t context) {
  const auto oldLines = linesOf(old), nowLines = linesOf(now);
  const auto words = numbered(oldLines, nowLines);
  return shortened(merged(oldLines, nowLines, pairsOf(words.old, words.now)), context);
}

}  // namespace orvik
