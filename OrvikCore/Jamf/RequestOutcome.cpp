#include "OrvikCore/Jamf/RequestOutcome.h"

#include "JamfCore/Networking/APIError.h"
#include "OrvikCore/Jamf/DownloadError.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/HTTP/HTTPSession.h"
#include "TuvCore/Error.h"

namespace orvik {

namespace {

using Kind = RequestOutcome::Kind;

constexpr std::size_t mostDescribed = 4096;  // bytes

Kind kindOfStatus(std::int64_t status) {
  if (status == 403) return Kind::notPermitted;
  if (status == 404) return Kind::notFound;
  if (status == 408 || status == 425 || status == 429) return Kind::retryable;
  return status >= 500 && status <= 599 ? Kind::retryable : Kind::fatal;
}

RequestOutcome classifyAPIError(const jamf::APIError& error) {
  using jamf::APIError;
  if (const auto* refused = error.as<APIError::AuthenticationFailed>())
    return {refused->statusCode >= 500 ? Kind::retryable : Kind::fatal, {}};
  if (const auto* failed = error.as<APIError::RequestFailed>()) return {kindOfStatus(failed->statusCode), {}};
  if (error.as<APIError::Transport>()) return {Kind::retryable, {}};
  if (const auto* limited = error.as<APIError::RateLimited>()) return {Kind::retryable, limited->retryAfter};
  return {Kind::fatal, {}};
}

std::optional<int> statusOf(const std::exception& error) {
  using jamf::APIError;
  if (const auto* api = dynamic_cast<const APIError*>(&error)) {
    if (const auto* refused = api->as<APIError::AuthenticationFailed>())
      return static_cast<int>(refused->statusCode);
    if (const auto* failed = api->as<APIError::RequestFailed>()) return static_cast<int>(failed->statusCode);
    if (api->as<APIError::RateLimited>()) return 429;
  }
  if (const auto* download = dynamic_cast<const DownloadError*>(&error)) return download->status();
  return std::nullopt;
}

std::string_view wordFor(Kind kind) {
  switch (kind) {
    case Kind::retryable:
      return "retry";
    case Kind::notPermitted:
      return "notPermitted";
    case Kind::notFound:
      return "notFound";
    case Kind::cancelled:
      return "cancelled";
    case Kind::fatal:
      break;
  }
  return "failed";
}

/// Cut at a whole character.
std::string shortened(std::string text) {
  if (text.size() <= mostDescribed) return text;
  std::size_t end = mostDescribed;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  text.resize(end);
  return text + "…";
}

}  // namespace

RequestOutcome RequestOutcome::classify(const std::exception& error) noexcept {
  if (dynamic_cast<const platform::CancellationError*>(&error)) return {Kind::cancelled, {}};
  if (const auto* transfer = dynamic_cast<const platform::HTTPError*>(&error))
    return {transfer->kind() == platform::HTTPErrorKind::cancelled ? Kind::cancelled : Kind::retryable, {}};
  if (const auto* api = dynamic_cast<const jamf::APIError*>(&error)) return classifyAPIError(*api);
  return {Kind::fatal, {}};
}

FailureDescription FailureDescription::describe(const std::exception& error) {
  auto kind = RequestOutcome::classify(error).kind;
  const auto* download = dynamic_cast<const DownloadError*>(&error);
  if (download && download->kind() == DownloadError::Kind::notFound) kind = Kind::notFound;
  return {statusOf(error), std::string(wordFor(kind))};
}

std::string describeFailure(const std::exception& error) {
  const auto* known = dynamic_cast<const tuv::Error*>(&error);
  return shortened(known ? known->description() : error.what());
}

}  // namespace orvik
