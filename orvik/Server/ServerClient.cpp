#include "orvik/Server/ServerClient.h"

#include <chrono>
#include <utility>

#include "Platform/Files/Files.h"
#include "orvik/Server/PagedReads.h"

namespace orvik::host {

namespace {

/// Several times what the largest page of a large server has. Each request under way may hold so much.
constexpr std::size_t mostAnswerBytes = std::size_t{256} << 20;

}  // namespace

platform::HTTPSessionConfiguration withTrustAnchors(platform::HTTPSessionConfiguration configuration,
                                                    const std::filesystem::path& trustAnchors) {
  if (!trustAnchors.empty() && !platform::files::isFile(trustAnchors))
    throw tuv::Error("There is no file of trust anchors at " + trustAnchors.string() + ".");
  configuration.extraTrustAnchors = trustAnchors;
  return configuration;
}

ServerClient makeWatchedClient(const platform::URL& server, const std::string& clientID,
                               jamf::OAuthTokenManager::SecretProvider secret,
                               const std::filesystem::path& trustAnchors,
                               jamf::APIClient::OnAnswer onAnswer) {
  platform::HTTPSessionConfiguration configuration;
  configuration.totalTimeout = std::chrono::seconds(600);
  configuration.mostBodyBytes = mostAnswerBytes;
  const auto session =
      std::make_shared<platform::HTTPSession>(withTrustAnchors(std::move(configuration), trustAnchors));

  auto tokens =
      std::make_shared<jamf::OAuthTokenManager>(server.text(), clientID, session, std::move(secret));
  auto client = std::make_shared<jamf::APIClient>(server.text(), tokens, session, std::move(onAnswer));
  return {std::move(tokens), std::move(client)};
}

std::shared_ptr<jamf::JamfRequesting> makeClient(const platform::URL& server, const std::string& clientID,
                                                 jamf::OAuthTokenManager::SecretProvider secret,
                                                 const std::filesystem::path& trustAnchors) {
  return std::make_shared<PagedReads>(
      makeWatchedClient(server, clientID, std::move(secret), trustAnchors, {}).requests);
}

}  // namespace orvik::host
