#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvik::host {

/// What a request asks for: the target of its first line (RFC 9112, 3.2.1), taken apart and decoded.
struct RequestTarget {
  std::vector<std::string> path;  ///< "/api/folders" is {"api", "folders"}; "/" is {""}
  std::map<std::string, std::string, std::less<>> query;  ///< of one name the last counts

  /// Throws `UsageError` for one that does not begin with a slash or is no UTF-8.
  static RequestTarget parse(std::string_view text);

  std::optional<std::string> optional(std::string_view name) const;
  /// Throws `UsageError` where it is missing or empty.
  const std::string& required(std::string_view name) const;
  /// Throws `UsageError` for what is no number of these bounds.
  std::size_t number(std::string_view name, std::size_t otherwise, std::size_t most) const;
};

}  // namespace orvik::host
