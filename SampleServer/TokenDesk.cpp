#include "SampleServer/TokenDesk.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "Platform/Crypto/Digest.h"
#include "Platform/Hex.h"

namespace sample {
namespace {

Answer refusal(int status, std::string_view error) {
  return {.status = status,
          .contentType = "application/json",
          .headers = {},
          .body = fmt::format(R"({{"error":"{}"}})", error)};
}

/// Reads the form the way a query is read, so a plus sign stays one.
std::optional<std::string> formItem(std::string_view form, std::string_view name) {
  Request holder;
  holder.query = form;
  return holder.queryItem(name);
}

}  // namespace

TokenDesk::TokenDesk(std::string clientID, std::string clientSecret, std::chrono::seconds lifetime,
                     Clock clock)
    : clientID_(std::move(clientID)),
      clientSecret_(std::move(clientSecret)),
      clock_(std::move(clock)),
      lifetime_(lifetime) {}

Answer TokenDesk::issue(std::string_view form) {
  const auto grant = formItem(form, "grant_type");
  const auto client = formItem(form, "client_id");
  const auto secret = formItem(form, "client_secret");
  if (!grant) return refusal(400, "invalid_request");
  if (*grant != "client_credentials") return refusal(400, "unsupported_grant_type");
  if (client != clientID_ || secret != clientSecret_) return refusal(401, "invalid_client");

  const std::string token = "sample-token-" + platform::hexEncode(platform::randomBytes(32));
  const platform::MonotonicTime now = clock_();
  std::unique_lock lock(mutex_);
  std::erase_if(expiries_, [now](const auto& entry) { return entry.second <= now; });
  expiries_.emplace(token, now + lifetime_);
  // The published number is one second short of the lifetime.
  const auto published = std::max<std::chrono::seconds::rep>(0, lifetime_.count() - 1);
  return {.status = 200,
          .contentType = "application/json",
          .headers = "Cache-Control: no-store\r\n",
          .body = fmt::format(
              R"({{"access_token":"{}","scope":"api-role:3","token_type":"Bearer","expires_in":{}}})", token,
              published)};
}

bool TokenDesk::accepts(std::string_view authorization) const {
  constexpr std::string_view scheme = "Bearer ";
  if (!equalIgnoringCase(authorization.substr(0, scheme.size()), scheme)) return false;
  std::shared_lock lock(mutex_);
  const auto found = expiries_.find(authorization.substr(scheme.size()));
  return found != expiries_.end() && clock_() < found->second;
}

void TokenDesk::revokeAll() {
  std::unique_lock lock(mutex_);
  expiries_.clear();
}

void TokenDesk::setLifetime(std::chrono::seconds lifetime) {
  std::unique_lock lock(mutex_);
  lifetime_ = lifetime;
}

}  // namespace sample
