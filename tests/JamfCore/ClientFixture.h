#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "JamfCore/Authentication/OAuthTokenManager.h"
#include "JamfCore/Networking/APIClient.h"
#include "tests/Support/ScriptedServer.h"

namespace jamf::test {

inline constexpr const char* clientSecret = "Q7-top+secret/value&x";

/// A server that hands out the tokens "token-000001", "token-000002" and so on, and answers everything else
/// by the test's script; with a client that talks to it.
class ClientFixture {
 public:
  using Exchange = support::ScriptedServer::Exchange;

  explicit ClientFixture(support::ScriptedServer::Script script)
      : server([this, script = std::move(script)](Exchange& exchange) {
          if (exchange.request.target() == "/api/oauth/token")
            exchange.send(tokenAnswer());
          else
            script(exchange);
        }),
        session(std::make_shared<platform::HTTPSession>()),
        tokens(std::make_shared<OAuthTokenManager>("http://" + server.address(), "client-id", session,
                                                   [] { return platform::SecretString(clientSecret); })),
        client("http://" + server.address(), tokens, session) {}

  /// Without those for tokens.
  std::vector<support::ReceivedRequest> requests() const {
    std::vector<support::ReceivedRequest> found;
    for (auto& request : server.requests())
      if (request.target() != "/api/oauth/token") found.push_back(std::move(request));
    return found;
  }
  std::size_t tokenFetches() const { return server.requestCount() - requests().size(); }

 private:
  std::string tokenAnswer() {
    const int number = ++issued_;
    return support::answer(200, "{\"access_token\":\"token-00000" + std::to_string(number) +
                                    "\",\"expires_in\":1800,\"token_type\":\"Bearer\"}");
  }
  std::atomic<int> issued_{0};

 public:
  support::ScriptedServer server;
  std::shared_ptr<platform::HTTPSession> session;
  std::shared_ptr<OAuthTokenManager> tokens;
  APIClient client;
};

/// The `APIError` that `action` throws.
template <class Action>
APIError apiError(Action&& action) {
  try {
    std::forward<Action>(action)();
  } catch (const APIError& error) {
    return error;
  }
  return APIError::transport("nothing was thrown");
}

}  // namespace jamf::test
