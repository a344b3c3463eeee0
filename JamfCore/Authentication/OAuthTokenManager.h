#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "Platform/Date.h"
#include "Platform/HTTP/HTTPSession.h"
#include "Platform/SecretString.h"
#include "TuvCore/Locked.h"

namespace jamf {

/// Gets and keeps the short-lived bearer token of one API client (OAuth 2.0 client credentials, RFC 6749,
/// 4.4). In memory only: each process starts with no token.
///
/// Any thread may call. Nothing is locked while a token is fetched, so callers that find none at the same
/// time fetch one each; all of them are valid on the server, and the last to arrive is kept.
///
/// Both operations throw `APIError`, and what the secret provider throws. A stop ends a fetch as a transport
/// error.
class OAuthTokenManager {
 public:
  /// Asked for the client secret at every fetch, so that it is in memory no longer than a request takes.
  /// Called from any thread.
  using SecretProvider = std::function<platform::SecretString()>;
  using Clock = std::function<platform::Date()>;

  /// `clock` tells the calendar time that expiry counts in.
  OAuthTokenManager(std::string baseURL, std::string clientID,
                    std::shared_ptr<platform::HTTPSession> urlSession, SecretProvider secretProvider,
                    Clock clock = platform::now);

  /// A token that is valid for more than 60 seconds from now, unless a fresh one lives shorter than that.
  platform::SecretString validToken(const std::stop_token& stop = {});

  /// Forgets the token and fetches a new one, whatever was there. Nothing is kept when that fails.
  platform::SecretString invalidateAndRefresh(const std::stop_token& stop = {});

  /// How long the server lets the token live that is kept, as it said when it gave it; nothing while none is
  /// kept. One of 60 seconds or less is never used twice.
  std::optional<std::chrono::seconds> lifetime() const;

 private:
  struct Cached {
    platform::SecretString token;
    std::optional<platform::Date> expiresAt;
    std::chrono::seconds lifetime{0};  ///< as the server said
  };

  platform::SecretString fetchNewToken(const std::stop_token& stop);
  platform::HTTPResponse requestToken(const platform::SecretString& secret, platform::HTTPRequest request,
                                      const std::stop_token& stop) const;
  platform::HTTPRequest tokenRequest(const platform::SecretString& secret) const;
  platform::Date expiry(std::int64_t secondsFromNow) const;

  const std::string baseURL_;
  const std::string clientID_;
  const std::shared_ptr<platform::HTTPSession> urlSession_;
  const SecretProvider secretProvider_;
  const Clock clock_;
  tuv::Locked<Cached> cached_;
};

}  // namespace jamf
