#pragma once

#include <array>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

namespace orvik {

/// Compares two texts line by line, as a unified diff shows them: the fewest lines that went and came, with
/// lines of context around them. Any thread may call.
///
/// Texts of which more than about 1,500 lines differ are told as one stretch that went and one that came, so
/// that time and memory stay bounded whatever is compared.
struct LineDiff {
  enum class Kind {
    same,
    removed,
    added,
    gap,  ///< stands for lines that are the same and are not shown
  };

  struct Line {
    Kind kind = Kind::same;
    std::size_t old = 0;    ///< its number from 1 in the old text; 0 for one that came, and for a gap
    std::size_t now = 0;    ///< the same in the new text; 0 for one that went
    std::string_view text;  ///< a part of either text, without its end
    bool operator==(const Line&) const = default;
  };

  static constexpr std::size_t defaultContext = 3;

  LineDiff() = delete;

  /// The lines that differ, with so many that are the same before and after; empty when none does. The texts
  /// must outlive what is returned.
  static std::vector<Line> unified(std::string_view old, std::string_view now,
                                   std::size_t context = defaultContext);

  /// The lines of a text without their ends. A line feed at the end ends the last line and begins none.
  static std::vector<std::string_view> linesOf(std::string_view text);
};

constexpr auto enumTexts(LineDiff::Kind) {
  using enum LineDiff::Kind;
  using namespace std::string_view_literals;
  return std::array{std::pair{same, "same"sv}, std::pair{removed, "removed"sv}, std::pair{added, "added"sv},
                    std::pair{gap, "gap"sv}};
}

}  // namespace orvik
