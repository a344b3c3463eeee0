#include "orvik/ServerClient.h"

#include <chrono>

#include "JamfCore/Authentication/OAuthTokenManager.h"
#include "JamfCore/Networking/APIClient.h"
#include "Platform/Files/Files.h"
#include "Platform/HTTP/HTTPSession.h"

namespace orvik::host {

using platform::SecretString;

std::shared_ptr<jamf::JamfRequesting> makeClient(const platform::URL& server, const std::string& clientID,
                                                 SecretString secret,
                                                 const std::filesystem::path& trustAnchors) {
  if (!trustAnchors.empty() && !platform::files::isFile(trustAnchors))
    throw tuv::Error("There is no file of trust anchors at " + trustAnchors.string() + ".");
  platform::HTTPSessionConfiguration configuration;
  configuration.totalTimeout = std::chrono::seconds(600);
  configuration.extraTrustAnchors = trustAnchors;
  const auto session = std::make_shared<platform::HTTPSession>(configuration);

  // The provider is copied around and asked again and again, so it shares the one secret.
  const auto kept = std::make_shared<const SecretString>(std::move(secret));
  const auto provider = [kept] { return SecretString(std::string(kept->reveal())); };
  const auto tokens = std::make_shared<jamf::OAuthTokenManager>(server.text(), clientID, session, provider);
  return std::make_shared<jamf::APIClient>(server.text(), tokens, session);
}

}  // namespace orvik::host
