#pragma once

#include <cstdint>
#include <string_view>

#include "JamfCore/Tools/MCP/HTTPMessage.h"
#include "JamfCore/Tools/MCP/MinimalHTTPServer.h"
#include "Platform/SecretString.h"

/// Servers on the loopback, and what they ask of a request before they answer: web pages and other users of
/// this machine reach them too. That the page of another site sent it is noticed by
/// `jamf::MinimalHTTPServer`.
namespace orvik::host::loopback {

/// Whether it was sent to this machine by a name of its own. A web page that comes in by a name of its own,
/// which leads to this machine, was not. A request without a Host header comes from no browser.
bool isForThisMachine(const jamf::HTTPRequest& request);

/// Whether it bears the token (RFC 6750, 2.1). Takes as long for any two tokens of one length.
bool bearsToken(const jamf::HTTPRequest& request, const platform::SecretString& token);

/// Starts the server on a port, 0 for a free one. Throws `tuv::Error` when another program has it; `command`
/// is the one that this program was told.
void listen(jamf::MinimalHTTPServer& server, std::uint16_t port, std::string_view command);

}  // namespace orvik::host::loopback
