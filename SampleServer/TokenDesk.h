#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "Platform/Concurrency/Cancellation.h"
#include "SampleServer/HTTPMessage.h"

namespace sample {

using Clock = std::function<platform::MonotonicTime()>;

/// Hands out bearer tokens for the client-credentials grant (RFC 6749, section 4.4) and knows them again
/// until they expire. Each begins with "sample-token-", so that a search finds one that went astray. Any
/// thread may call.
class TokenDesk {
 public:
  TokenDesk(std::string clientID, std::string clientSecret, std::chrono::seconds lifetime, Clock clock);

  /// The answer to a token request with that form as its body.
  Answer issue(std::string_view form);
  /// Whether an Authorization header's value holds a token that is still good.
  bool accepts(std::string_view authorization) const;
  /// Makes every token that was handed out worthless.
  void revokeAll();
  /// Counts for the tokens handed out from now on.
  void setLifetime(std::chrono::seconds lifetime);

  const std::string& clientID() const { return clientID_; }
  const std::string& clientSecret() const { return clientSecret_; }

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
  };

  // Constant after construction.
  const std::string clientID_;
  const std::string clientSecret_;
  const Clock clock_;

  mutable std::shared_mutex mutex_;  // guards what follows
  std::chrono::seconds lifetime_;
  std::unordered_map<std::string, platform::MonotonicTime, Hash, std::equal_to<>> expiries_;
};

}  // namespace sample
