#pragma once

#include <memory>

#include "JamfCore/Networking/APIClient.h"
#include "SampleServer/SampleServer.h"

namespace jamf::test {

/// A sample server, and a client as services take it.
struct AdministeredServer {
  explicit AdministeredServer(sample::SampleOptions options = {}) : server(std::move(options)) {
    server.log().setDetail(sample::LogDetail::all);
  }

  /// The methods and paths of everything that was written since the log was cleared, tokens aside.
  std::vector<std::string> writes() {
    std::vector<std::string> found;
    for (const auto& request : server.log().entries())
      if (request.method != "GET" && request.path != "api/oauth/token")
        found.push_back(request.method + " " + request.path);
    return found;
  }

  sample::SampleServer server;
  std::shared_ptr<platform::HTTPSession> session = std::make_shared<platform::HTTPSession>();
  std::shared_ptr<APIClient> client = std::make_shared<APIClient>(
      server.url(),
      std::make_shared<OAuthTokenManager>(server.url(), server.clientID(), session,
                                          [this] { return platform::SecretString(server.clientSecret()); }),
      session);
};

}  // namespace jamf::test
