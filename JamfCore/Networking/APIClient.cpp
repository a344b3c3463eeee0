#include "JamfCore/Networking/APIClient.h"

#include <fmt/format.h>

#include <charconv>
#include <chrono>
#include <cmath>
#include <utility>

#include "JamfCore/Networking/MultipartFile.h"
#include "JamfCore/Networking/ResponseText.h"
#include "JamfCore/Networking/UploadProgressDelegate.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/UUID.h"
#include "TuvCore/Log.h"

namespace jamf {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds requestTimeout = 60s;
constexpr std::chrono::milliseconds uploadTimeout = 1800s;

const tuv::CategoryLogger& logger() {
  static const tuv::CategoryLogger instance{"networking"};
  return instance;
}

double secondsSince(platform::MonotonicTime start) {
  return std::chrono::duration<double>(platform::MonotonicClock::now() - start).count();
}

bool isSuccess(int status) { return status >= 200 && status <= 299; }

/// A header `Retry-After` in seconds: the whole text is a decimal number, finite and not negative, or it is
/// no value.
std::optional<double> retryAfter(const platform::HTTPResponse& response) {
  const auto text = response.header("Retry-After");
  if (!text) return std::nullopt;
  double seconds = 0;
  const char* const end = text->data() + text->size();
  const auto [stop, problem] = std::from_chars(text->data(), end, seconds);
  if (problem != std::errc{} || stop != end || !std::isfinite(seconds) || seconds < 0) return std::nullopt;
  return seconds;
}

/// Tells a failed transfer; `what` is the request as the log shows it, "GET path" or "UPLOAD path".
[[noreturn]] void failTransfer(const platform::HTTPError& error, const std::string& what,
                               platform::MonotonicTime start) {
  if (error.kind() == platform::HTTPErrorKind::notHTTP) {
    logger().error(fmt::format("✕ {} no HTTP response", what));
    throw APIError::transport("No HTTP response");
  }
  logger().error(
      fmt::format("✕ {} transport error after {:.3f}s: {}", what, secondsSince(start), error.description()));
  throw APIError::transport(error.description());
}

[[noreturn]] void failRequest(const std::string& what, platform::HTTPResponse&& response,
                              std::string_view token) {
  auto message = responseText(std::move(response.body), token);
  logger().error(fmt::format("✕ {} failed {}: {}", what, response.status, message.value_or("unknown error")));
  throw APIError::requestFailed(response.status, std::move(message));
}

std::unique_ptr<platform::HTTPSession> makeUploadSession(const platform::HTTPSession& like) {
  auto configuration = like.configuration();
  configuration.totalTimeout = uploadTimeout;
  return std::make_unique<platform::HTTPSession>(std::move(configuration));
}

std::string shown(const Endpoint& endpoint) {
  return fmt::format("{} {}", platform::json::textOf(endpoint.method), endpoint.shownPath());
}

}  // namespace

APIClient::APIClient(std::string baseURL, std::shared_ptr<OAuthTokenManager> tokenManager,
                     std::shared_ptr<platform::HTTPSession> urlSession, OnAnswer onAnswer)
    : baseURL_(std::move(baseURL)),
      tokenManager_(std::move(tokenManager)),
      urlSession_(std::move(urlSession)),
      uploadSession_(makeUploadSession(*urlSession_)),
      onAnswer_(std::move(onAnswer)) {}

void APIClient::send(const Endpoint& endpoint, const std::stop_token& stop) {
  sendRaw(endpoint, false, stop);
}

platform::Bytes APIClient::sendForBytes(const Endpoint& endpoint, const std::stop_token& stop) {
  return sendRaw(endpoint, false, stop);
}

void APIClient::send(const Endpoint& endpoint, const std::string& fallbackPath, const std::stop_token& stop) {
  try {
    return send(endpoint, stop);
  } catch (const APIError& error) {
    if (!isNotFound(error)) throw;
  }
  send(withPath(endpoint, fallbackPath), stop);
}

platform::Bytes APIClient::get(const std::string& path, const std::vector<QueryItem>& query,
                               const std::stop_token& stop) {
  Endpoint endpoint;
  endpoint.path = path;
  endpoint.queryItems = query;
  return sendRaw(endpoint, false, stop);
}

platform::Bytes APIClient::sendRaw(const Endpoint& endpoint, bool isRetry, const std::stop_token& stop) {
  const platform::SecretString token = tokenManager_->validToken(stop);
  auto response = transfer(endpoint, token.reveal(), stop);
  if (onAnswer_) onAnswer_(endpoint, response);
  if (isSuccess(response.status)) return std::move(response.body);
  if (response.status == 429) {
    const auto seconds = retryAfter(response);
    logger().notice(fmt::format("429 rate limited on {}, retry-after: {:.1f}", endpoint.shownPath(),
                                seconds.value_or(-1)));
    throw APIError::rateLimited(seconds);
  }
  if (response.status == 401 && !isRetry) {
    logger().notice(fmt::format("401 on {}, forcing token refresh and retrying once", endpoint.shownPath()));
    tokenManager_->invalidateAndRefresh(stop);
    return sendRaw(endpoint, true, stop);
  }
  failRequest(shown(endpoint), std::move(response), token.reveal());
}

platform::HTTPResponse APIClient::transfer(const Endpoint& endpoint, std::string_view token,
                                           const std::stop_token& stop) {
  auto toSend = request(endpoint, token);
  const std::string what = shown(endpoint);
  logger().debug("→ " + what);
  const auto start = platform::MonotonicClock::now();
  try {
    auto response = urlSession_->data(std::move(toSend), stop);
    logger().debug(fmt::format("← {} {} in {:.3f}s", what, response.status, secondsSince(start)));
    return response;
  } catch (const platform::HTTPError& error) {
    failTransfer(error, what, start);
  }
}

platform::HTTPRequest APIClient::request(const Endpoint& endpoint, std::string_view token) const {
  platform::HTTPRequest made;
  made.url = endpoint.url(baseURL_);
  made.method = platform::json::textOf(endpoint.method);
  made.headers = {{"Authorization", "Bearer " + std::string(token)}, {"Accept", "application/json"}};
  if (endpoint.contentType) made.headers.emplace_back("Content-Type", *endpoint.contentType);
  if (endpoint.body) made.body = *endpoint.body;
  made.idleTimeout = requestTimeout;
  return made;
}

platform::Bytes APIClient::upload(const std::string& path, const std::string& fieldName,
                                  const std::filesystem::path& fileURL, const OnProgress& onProgress,
                                  const std::stop_token& stop) {
  const platform::SecretString token = tokenManager_->validToken(stop);
  const std::string boundary = "Boundary-" + platform::UUID::random().text();
  const MultipartFile file(fileURL, fieldName, boundary);
  Endpoint endpoint;
  endpoint.path = path;
  endpoint.method = Endpoint::Method::post;
  endpoint.contentType = "multipart/form-data; boundary=" + boundary;
  auto toSend = request(endpoint, token.reveal());
  platform::HTTPSession::UploadProgress progress;
  if (onProgress) progress = UploadProgressDelegate{onProgress};

  const std::string what = "UPLOAD " + path;
  logger().debug("→ " + what);
  const auto start = platform::MonotonicClock::now();
  platform::HTTPResponse response;
  try {
    response = uploadSession_->upload(std::move(toSend), file.path(), progress, stop);
  } catch (const platform::HTTPError& error) {
    failTransfer(error, what, start);
  }
  logger().debug(fmt::format("← {} {} in {:.3f}s", what, response.status, secondsSince(start)));
  if (!isSuccess(response.status)) failRequest(what, std::move(response), token.reveal());
  return std::move(response.body);
}

bool APIClient::isNotFound(const APIError& error) {
  const auto* const failed = error.as<APIError::RequestFailed>();
  return failed && failed->statusCode == 404;
}

Endpoint APIClient::withPath(Endpoint endpoint, const std::string& path) {
  endpoint.path = path;
  return endpoint;
}

void APIClient::failDecoding(std::string_view type, const std::string& path, const std::string& problem) {
  logger().error(fmt::format("✕ decode {} from {} failed: {}", type, path, problem));
  throw APIError::decodingFailed(problem);
}

}  // namespace jamf
