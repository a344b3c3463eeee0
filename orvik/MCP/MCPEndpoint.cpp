#include "orvik/MCP/MCPEndpoint.h"

#include <algorithm>
#include <string>
#include <utility>

#include "orvik/Loopback.h"

namespace orvik::host {

namespace {

using jamf::HTTPResponse;

/// Whether it has the form of the protocol's versions, "2025-06-18".
bool isVersion(std::string_view text) {
  constexpr std::string_view form = "0000-00-00";
  return std::ranges::equal(
      text, form, [](char c, char model) { return model == '-' ? c == '-' : c >= '0' && c <= '9'; });
}

HTTPResponse refused(std::int64_t status, const char* header, const char* value) {
  auto response = HTTPResponse::status(status);
  response.headers.emplace(header, value);
  return response;
}

}  // namespace

HTTPResponse MCPEndpoint::answer(const jamf::HTTPRequest& request) const {
  if (!loopback::isForThisMachine(request)) return HTTPResponse::status(403);
  if (request.path.substr(0, request.path.find('?')) != path) return HTTPResponse::status(404);
  if (token_ && !loopback::bearsToken(request, *token_)) return refused(401, "WWW-Authenticate", "Bearer");
  if (request.method != "POST") return refused(405, "Allow", "POST");
  const auto* const version = request.header("MCP-Protocol-Version");
  if (version && !isVersion(*version))
    return HTTPResponse::json(
        MCPExchange::refusal("MCP-Protocol-Version has not the form of a version, such as 2025-06-18").body,
        400);

  auto reply = exchange_.reply(request.body, stop_);
  if (reply.kind == MCPReply::Kind::nothing) return HTTPResponse::status(202);
  return HTTPResponse::json(std::move(reply.body), reply.kind == MCPReply::Kind::refusal ? 400 : 200);
}

}  // namespace orvik::host
