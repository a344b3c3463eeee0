#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/JSON/Codable.h"

namespace jamf {

/// One page of a list of the modern API. `totalCount` counts what the filter lets through, on all pages.
template <class T>
struct Page {
  std::int64_t totalCount = 0;
  std::vector<T> results;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("totalCount", &Page::totalCount), field("results", &Page::results));
  }
  bool operator==(const Page&) const = default;
};

}  // namespace jamf
