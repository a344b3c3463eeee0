#include "orvik/MCP/MCPEndpoint.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "Platform/Locale/Text.h"

namespace orvik::host {

namespace {

using jamf::HTTPResponse;

constexpr std::string_view digits = "0123456789";

/// "localhost:8765": the port doesn't matter.
bool isLoopback(std::string_view host) {
  if (const auto colon = host.rfind(':'); colon != host.npos && !host.ends_with(']')) {
    const auto port = host.substr(colon + 1);
    if (port.empty() || port.find_first_not_of(digits) != port.npos) return false;
    host = host.substr(0, colon);
  }
  constexpr std::array<std::string_view, 3> names{"localhost", "127.0.0.1", "[::1]"};
  std::string lowered(host);
  for (char& c : lowered)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return std::ranges::find(names, lowered) != names.end();
}

/// Whether it has the form of the protocol's versions, "2025-06-18".
bool isVersion(std::string_view text) {
  constexpr std::string_view form = "0000-00-00";
  return std::ranges::equal(
      text, form, [](char c, char model) { return model == '-' ? c == '-' : digits.find(c) != digits.npos; });
}

/// Takes as long for any two texts of one length.
bool isEqualInConstantTime(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  unsigned char difference = 0;
  for (std::size_t i = 0; i < a.size(); ++i)
    difference = static_cast<unsigned char>(difference | (a[i] ^ b[i]));
  return difference == 0;
}

HTTPResponse refused(std::int64_t status, const char* header, const char* value) {
  auto response = HTTPResponse::status(status);
  response.headers.emplace(header, value);
  return response;
}

}  // namespace

HTTPResponse MCPEndpoint::answer(const jamf::HTTPRequest& request) const {
  if (const auto* const host = request.header("Host"); host && !isLoopback(*host))
    return HTTPResponse::status(403);
  if (request.path.substr(0, request.path.find('?')) != path) return HTTPResponse::status(404);
  if (!isAuthorized(request)) return refused(401, "WWW-Authenticate", "Bearer");
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

bool MCPEndpoint::isAuthorized(const jamf::HTTPRequest& request) const {
  if (!token_) return true;
  constexpr std::string_view scheme = "bearer ";
  const auto* const given = request.header("Authorization");
  if (!given || given->size() < scheme.size()) return false;
  const auto isScheme = std::ranges::equal(given->substr(0, scheme.size()), scheme, [](char a, char b) {
    return (a >= 'A' && a <= 'Z' ? a - 'A' + 'a' : a) == b;
  });
  return isScheme && isEqualInConstantTime(std::string_view(*given).substr(scheme.size()), token_->reveal());
}

}  // namespace orvik::host
