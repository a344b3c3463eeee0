#include "OrvikCore/Jamf/DownloadError.h"

#include <fmt/format.h>

#include <utility>

namespace orvik {

DownloadError::DownloadError(Kind kind, std::string description, std::optional<int> status)
    : Error(std::move(description)), kind_(kind), status_(status) {}

DownloadError DownloadError::http(int status) {
  return {Kind::http, fmt::format("Download failed with HTTP {}", status), status};
}

DownloadError DownloadError::incomplete(std::int64_t expected, std::int64_t got) {
  return {Kind::incomplete, fmt::format("Download incomplete: {} of {} bytes", got, expected)};
}

DownloadError DownloadError::noSource(std::string reason) { return {Kind::noSource, std::move(reason)}; }

DownloadError DownloadError::notFound() {
  return {Kind::notFound, "File not found on the distribution point (HTTP 404)", 404};
}

}  // namespace orvik
