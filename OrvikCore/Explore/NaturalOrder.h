#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Locale/Text.h"

namespace orvik {

/// Sorts by a text of each value in the natural order of the user's locale, equal ones as they were. Each
/// text is made into a key once, and the values are moved once.
template <class T, class Text>
std::vector<T> inNaturalOrder(std::vector<T> values, const Text& text) {
  std::vector<std::pair<std::string, std::size_t>> order;
  order.reserve(values.size());
  for (const auto& value : values)
    order.emplace_back(platform::locale::sortKey(std::invoke(text, value)), order.size());
  std::ranges::sort(order);
  std::vector<T> sorted;
  sorted.reserve(values.size());
  for (const auto& [key, index] : order) sorted.push_back(std::move(values[index]));
  return sorted;
}

}  // namespace orvik
