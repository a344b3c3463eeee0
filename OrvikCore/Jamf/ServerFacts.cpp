#include "OrvikCore/Jamf/ServerFacts.h"

#include <algorithm>
#include <utility>

#include "JamfCore/Networking/APIError.h"
#include "OrvikCore/Format/BackupEngineError.h"
#include "OrvikCore/Jamf/JSONTree.h"
#include "OrvikCore/Jamf/RequestOutcome.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Locale/Text.h"

namespace orvik::ServerFacts {

namespace {

std::optional<std::vector<std::string>> privilegeList(const JSONTree& answer) {
  auto list = answer["account"]["privileges"].array();
  if (!list) list = answer["privileges"].array();
  if (!list) return std::nullopt;
  std::vector<std::string> privileges;
  for (const auto& element : *list)
    if (auto text = element.string()) privileges.push_back(std::move(*text));
  std::ranges::sort(privileges);
  return privileges;
}

/// 400, 401 and 403 of the token request speak of the client (RFC 6749, 5.2); any other status doesn't.
BackupEngineError::Credential credentialBehind(const std::exception& failure) {
  using jamf::APIError;
  using enum BackupEngineError::Credential;
  const auto* error = dynamic_cast<const APIError*>(&failure);
  if (error == nullptr) return notAtFault;
  if (error->as<APIError::NotAuthenticated>()) return refused;
  const auto* answer = error->as<APIError::AuthenticationFailed>();
  if (answer == nullptr) return notAtFault;
  const auto status = answer->statusCode;
  return status == 400 || status == 401 || status == 403 ? refused : notAtFault;
}

}  // namespace

std::optional<std::string> version(jamf::JamfRequesting& server, const std::stop_token& stop) {
  try {
    return JSONTree::parse(server.get("api/v1/jamf-pro-version", {}, stop))["version"].string();
  } catch (const std::exception& error) {
    platform::throwIfCancelled(stop);
    switch (RequestOutcome::classify(error).kind) {
      case RequestOutcome::Kind::notPermitted:
      case RequestOutcome::Kind::notFound:
        return std::nullopt;
      case RequestOutcome::Kind::cancelled:
        throw platform::CancellationError();
      default:
        throw BackupEngineError::cannotConnect(describeFailure(error), credentialBehind(error));
    }
  }
}

std::optional<std::vector<std::string>> privileges(jamf::JamfRequesting& server,
                                                   const std::stop_token& stop) {
  try {
    return privilegeList(JSONTree::parse(server.get("api/v1/auth", {}, stop)));
  } catch (const std::exception& error) {
    platform::throwIfCancelled(stop);
    if (RequestOutcome::classify(error).kind == RequestOutcome::Kind::cancelled)
      throw platform::CancellationError();
    return std::nullopt;
  }
}

bool isReading(std::string_view privilege) {
  return platform::locale::lowercased(privilege).starts_with("read");
}

}  // namespace orvik::ServerFacts
