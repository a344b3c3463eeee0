#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "JamfCore/Authentication/OAuthTokenManager.h"
#include "JamfCore/Networking/APIClient.h"
#include "JamfCore/Networking/JamfRequesting.h"
#include "Platform/HTTP/HTTPSession.h"
#include "Platform/HTTP/URL.h"

namespace orvik::host {

/// With these trust anchors beside the system's: a PEM file, or empty for none. Throws `tuv::Error` when
/// there is no such file.
platform::HTTPSessionConfiguration withTrustAnchors(platform::HTTPSessionConfiguration configuration,
                                                    const std::filesystem::path& trustAnchors);

/// A client whose tokens can be asked about.
struct ServerClient {
  std::shared_ptr<jamf::OAuthTokenManager> tokens;
  std::shared_ptr<jamf::JamfRequesting> requests;
};

/// A client for the reads of a backup: an answer may take 600 seconds, and 60 without a byte, and have 256
/// MiB. It owns its connections, its tokens and the secret's provider. `trustAnchors` is a PEM file, or
/// empty; `onAnswer` sees the answers, and may be empty.
ServerClient makeWatchedClient(const platform::URL& server, const std::string& clientID,
                               jamf::OAuthTokenManager::SecretProvider secret,
                               const std::filesystem::path& trustAnchors, jamf::APIClient::OnAnswer onAnswer);
/// The same for those who only read. A list that never ends is a failure (`PagedReads`).
std::shared_ptr<jamf::JamfRequesting> makeClient(const platform::URL& server, const std::string& clientID,
                                                 jamf::OAuthTokenManager::SecretProvider secret,
                                                 const std::filesystem::path& trustAnchors);

}  // namespace orvik::host
