#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "Platform/Bytes.h"

namespace jamf {

/// A name and a value of a URL's query, raw. The value may be absent.
struct QueryItem {
  std::string name;
  std::optional<std::string> value;

  bool operator==(const QueryItem&) const = default;
};

/// The one read interface of a backup: raw path in, raw body out.
class JamfRequesting {
 public:
  virtual ~JamfRequesting() = default;

  /// Reads `path`, relative to the server's base URL and not percent-encoded, and returns the body. Blocks;
  /// any thread may call, also at once. Throws a `tuv::Error`; a stop ends it, as the transport error of its
  /// layer or as `platform::CancellationError`.
  virtual platform::Bytes get(const std::string& path, const std::vector<QueryItem>& query,
                              const std::stop_token& stop) = 0;
};

}  // namespace jamf
