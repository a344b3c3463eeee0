#include "JamfCore/Authentication/OAuthTokenManager.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "JamfCore/Networking/APIError.h"
#include "JamfCore/Networking/Endpoint.h"
#include "JamfCore/Networking/ResponseText.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/HTTP/URL.h"
#include "Platform/JSON/Codable.h"
#include "TuvCore/Log.h"

namespace jamf {

namespace {

using namespace std::chrono_literals;

constexpr const char* tokenPath = "api/oauth/token";
constexpr std::chrono::milliseconds refreshLeeway = 60s;
constexpr std::chrono::milliseconds requestTimeout = 60s;
/// What a server says beyond it is cut, so that no calendar arithmetic overflows.
constexpr std::chrono::seconds longestLife = std::chrono::hours(24 * 365 * 100);

const tuv::CategoryLogger& logger() {
  static const tuv::CategoryLogger instance{"auth"};
  return instance;
}

double secondsSince(platform::MonotonicTime start) {
  return std::chrono::duration<double>(platform::MonotonicClock::now() - start).count();
}

struct TokenResponse {
  std::string accessToken;
  std::int64_t expiresIn = 0;  // seconds
  std::string tokenType;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("access_token", &TokenResponse::accessToken),
                     field("expires_in", &TokenResponse::expiresIn),
                     field("token_type", &TokenResponse::tokenType));
  }
};

TokenResponse decode(platform::Bytes body) {
  try {
    auto decoded = platform::json::Decoder().decode<TokenResponse>(body);
    platform::wipe(body);
    return decoded;
  } catch (const tuv::Error& error) {
    platform::wipe(body);
    throw APIError::decodingFailed(error.description());
  }
}

platform::SecretString copyOf(const platform::SecretString& secret) {
  return platform::SecretString(std::string(secret.reveal()));
}

}  // namespace

OAuthTokenManager::OAuthTokenManager(std::string baseURL, std::string clientID,
                                     std::shared_ptr<platform::HTTPSession> urlSession,
                                     SecretProvider secretProvider, Clock clock)
    : baseURL_(std::move(baseURL)),
      clientID_(std::move(clientID)),
      urlSession_(std::move(urlSession)),
      secretProvider_(std::move(secretProvider)),
      clock_(std::move(clock)) {}

platform::SecretString OAuthTokenManager::validToken(const std::stop_token& stop) {
  const platform::Date now = clock_();
  auto usable = cached_.withLock([now](const Cached& cached) -> std::optional<platform::SecretString> {
    if (!cached.expiresAt || *cached.expiresAt - now <= refreshLeeway) return std::nullopt;
    return copyOf(cached.token);
  });
  if (usable) return std::move(*usable);
  logger().debug("token missing or near expiry, fetching a new one");
  return fetchNewToken(stop);
}

platform::SecretString OAuthTokenManager::invalidateAndRefresh(const std::stop_token& stop) {
  cached_.setValue({});
  return fetchNewToken(stop);
}

std::optional<std::chrono::seconds> OAuthTokenManager::lifetime() const {
  return cached_.withLock([](const Cached& cached) -> std::optional<std::chrono::seconds> {
    if (!cached.expiresAt) return std::nullopt;
    return cached.lifetime;
  });
}

platform::SecretString OAuthTokenManager::fetchNewToken(const std::stop_token& stop) {
  const auto start = platform::MonotonicClock::now();
  const platform::SecretString secret = secretProvider_();
  auto response = requestToken(secret, tokenRequest(secret), stop);
  auto [accessToken, expiresIn, tokenType] = decode(std::move(response.body));
  platform::SecretString token(std::move(accessToken));
  cached_.setValue({copyOf(token), expiry(expiresIn), std::chrono::seconds(expiresIn)});
  logger().info(fmt::format("new token fetched in {:.3f}s, expires in {}s", secondsSince(start), expiresIn));
  return token;
}

platform::HTTPResponse OAuthTokenManager::requestToken(const platform::SecretString& secret,
                                                       platform::HTTPRequest request,
                                                       const std::stop_token& stop) const {
  const auto start = platform::MonotonicClock::now();
  platform::HTTPResponse response;
  try {
    response = urlSession_->data(std::move(request), stop);
  } catch (const platform::HTTPError& error) {
    if (error.kind() == platform::HTTPErrorKind::notHTTP) {
      logger().error("token request: no HTTP response");
      throw APIError::transport("No HTTP response");
    }
    logger().error(fmt::format("token request transport error after {:.3f}s: {}", secondsSince(start),
                               error.description()));
    throw APIError::transport(error.description());
  }
  if (response.status >= 200 && response.status <= 299) return response;
  auto message = responseText(std::move(response.body), secret.reveal());
  logger().error(
      fmt::format("token request failed {}: {}", response.status, message.value_or("unknown error")));
  throw APIError::authenticationFailed(response.status, std::move(message));
}

platform::HTTPRequest OAuthTokenManager::tokenRequest(const platform::SecretString& secret) const {
  Endpoint endpoint;
  endpoint.path = tokenPath;
  platform::HTTPRequest request;
  request.method = "POST";
  request.url = endpoint.url(baseURL_);
  request.headers = {{"Content-Type", "application/x-www-form-urlencoded"}};
  request.idleTimeout = requestTimeout;
  // The session wipes the body in the end. Room for all of it at once, so that no part stays in memory that
  // was given back on the way.
  std::string encoded = platform::percentEncodeQueryItem(secret.reveal());
  const std::string front =
      "grant_type=client_credentials&client_id=" + platform::percentEncodeQueryItem(clientID_) +
      "&client_secret=";
  request.body.reserve(front.size() + encoded.size());
  request.body.append(front).append(encoded);
  platform::wipe(encoded);
  return request;
}

platform::Date OAuthTokenManager::expiry(std::int64_t secondsFromNow) const {
  return clock_() + std::chrono::seconds(std::clamp<std::int64_t>(secondsFromNow, 0, longestLife.count()));
}

}  // namespace jamf
