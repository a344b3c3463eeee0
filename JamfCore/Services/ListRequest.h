#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace jamf {

/// Which part of a list is asked for. `page` counts from 0; `filter` is an RSQL expression; `sort` is
/// "field:asc" or "field:desc", several with commas between them.
struct ListRequest {
  std::int64_t page = 0;
  std::int64_t pageSize = 100;
  std::optional<std::string> filter = {};
  std::optional<std::string> sort = {};
};

/// The filter for objects whose `field` is exactly `value`: `name=="Lab Macs"`. Quotes and backslashes in the
/// value are escaped by a backslash. Servers compare without case, so the caller compares once more.
std::string exactFilter(std::string_view field, std::string_view value);

}  // namespace jamf
