#pragma once

#include <exception>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "JamfCore/Networking/JamfRequesting.h"

/// What a server says of itself and of the client that asks.
namespace orvik::ServerFacts {

/// The version of the server; nothing when it doesn't tell this client. It is also the proof that the server
/// can be reached and takes the credentials: throws `BackupEngineError` (cannotConnect) when not, and
/// `platform::CancellationError`.
std::optional<std::string> version(jamf::JamfRequesting& server, const std::stop_token& stop);

/// The privileges of the client, ascending; nothing when the server doesn't tell. Throws
/// `platform::CancellationError`.
std::optional<std::vector<std::string>> privileges(jamf::JamfRequesting& server, const std::stop_token& stop);

/// Whether a privilege lets a client read and nothing else.
bool isReading(std::string_view privilege);

}  // namespace orvik::ServerFacts
