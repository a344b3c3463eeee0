#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>
#include <vector>

#include "JamfCore/Models/Page.h"
#include "JamfCore/Services/ListRequest.h"

namespace jamf {

/// Asks for one page after another, for as long as they come back full: `page = list(request)`, then
/// `take(page)`, which says whether to go on. Throws what either throws.
template <class List, class Take>
void eachPage(std::int64_t pageSize, const List& list, const Take& take) {
  for (ListRequest request{.pageSize = pageSize};; ++request.page) {
    auto page = list(request);
    const bool isFull = std::cmp_greater_equal(page.results.size(), pageSize);
    if (!take(std::move(page)) || !isFull) return;
  }
}

/// All objects of a list. A server that never comes to an end is left when it gave as many as it counts.
template <class List>
auto allPages(std::int64_t pageSize, const List& list) {
  decltype(list(ListRequest()).results) all;
  eachPage(pageSize, list, [&](auto page) {
    all.insert(all.end(), std::move_iterator(page.results.begin()), std::move_iterator(page.results.end()));
    return std::cmp_less(all.size(), page.totalCount);
  });
  return all;
}

}  // namespace jamf
