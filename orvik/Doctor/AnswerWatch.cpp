#include "orvik/Doctor/AnswerWatch.h"

#include <string_view>

#include "Platform/HTTP/HTTPDate.h"

namespace orvik::host {

namespace {

using std::chrono::seconds;

std::optional<seconds> aheadBy(const platform::HTTPResponse& answer) {
  const auto header = answer.header("Date");
  const auto date = header ? platform::parseHTTPDate(*header) : std::nullopt;
  if (!date) return std::nullopt;
  return std::chrono::floor<seconds>(*date) - std::chrono::floor<seconds>(platform::now());
}

std::optional<Deprecation> deprecationIn(const platform::HTTPResponse& answer) {
  const auto since = answer.header("Deprecation");
  const auto until = answer.header("Sunset");
  if (!since && !until) return std::nullopt;
  Deprecation found;
  found.since = since.value_or(std::string_view());
  if (until) found.until = *until;
  return found;
}

}  // namespace

void AnswerWatch::see(const jamf::Endpoint& endpoint, const platform::HTTPResponse& answer) {
  const auto ahead = aheadBy(answer);
  const auto deprecation = deprecationIn(answer);
  if (!ahead && !deprecation) return;
  seen_.withLock([&](Seen& seen) {
    const bool isCloser = ahead && (!seen.clockDifference ||
                                    std::chrono::abs(*ahead) < std::chrono::abs(*seen.clockDifference));
    if (isCloser) seen.clockDifference = ahead;
    if (deprecation) seen.deprecations.insert_or_assign(endpoint.path, *deprecation);
  });
}

std::optional<seconds> AnswerWatch::clockDifference() const {
  return seen_.withLock([](const Seen& seen) { return seen.clockDifference; });
}

std::optional<Deprecation> AnswerWatch::deprecationOf(const std::string& path) const {
  return seen_.withLock([&](const Seen& seen) -> std::optional<Deprecation> {
    const auto found = seen.deprecations.find(path);
    if (found == seen.deprecations.end()) return std::nullopt;
    return found->second;
  });
}

}  // namespace orvik::host
