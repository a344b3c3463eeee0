#include "orvik/Output/NearNames.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <numeric>
#include <utility>

#include "Platform/Locale/Text.h"

namespace orvik::host {

namespace {

/// Longer ones are no slip of the finger, and not worth the comparison.
constexpr std::size_t longestTyped = 64;
/// A name of a server may have any length; what is offered is to be typed.
constexpr std::size_t longestName = 256;
constexpr std::size_t mostNames = 5;
/// In a word of three letters two others make another word.
constexpr std::size_t shortWord = 3;

/// How many bytes have to be put in, taken out or replaced to make one text of the other.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t replaced = diagonal + (a[i] != b[j] ? 1 : 0);
      diagonal = std::exchange(row[j + 1], std::min({replaced, row[j] + 1, row[j + 1] + 1}));
    }
  }
  return row.back();
}

std::string comparable(std::string_view name) {
  return platform::locale::lowercased(name.substr(std::min(name.find_first_not_of('-'), name.size())));
}

bool isNear(std::string_view typed, std::string_view name) {
  if (typed.empty()) return false;
  const std::size_t slips = typed.size() <= shortWord ? 1 : 2;
  const auto [shorter, longer] = std::minmax(typed.size(), name.size());
  if (longer - shorter <= slips && distance(typed, name) <= slips) return true;
  return typed.size() > shortWord && name.find(typed) != name.npos;
}

}  // namespace

std::string nearIt(std::string_view typed, const std::vector<std::string>& names) {
  if (typed.size() > longestTyped) return {};
  const auto wanted = comparable(typed);
  std::vector<std::string_view> near;
  for (const auto& name : names)
    if (near.size() < mostNames && name.size() <= longestName && isNear(wanted, comparable(name)))
      near.push_back(name);
  return near.empty() ? "" : fmt::format("; near it: {}", fmt::join(near, ", "));
}

}  // namespace orvik::host
