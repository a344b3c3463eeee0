#include "orvik/Loopback.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "TuvCore/Error.h"

namespace orvik::host::loopback {

namespace {

char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// "localhost:8765": the port doesn't matter.
bool isLoopback(std::string_view host) {
  if (const auto colon = host.rfind(':'); colon != host.npos && !host.ends_with(']')) {
    const auto port = host.substr(colon + 1);
    if (port.empty() || port.find_first_not_of("0123456789") != port.npos) return false;
    host = host.substr(0, colon);
  }
  constexpr std::array<std::string_view, 3> names{"localhost", "127.0.0.1", "[::1]"};
  return std::ranges::any_of(
      names, [host](std::string_view name) { return std::ranges::equal(host, name, {}, lowered); });
}

bool isEqualInConstantTime(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  unsigned char difference = 0;
  for (std::size_t i = 0; i < a.size(); ++i)
    difference = static_cast<unsigned char>(difference | (a[i] ^ b[i]));
  return difference == 0;
}

}  // namespace

bool isForThisMachine(const jamf::HTTPRequest& request) {
  const auto* const host = request.header("Host");
  return !host || isLoopback(*host);
}

bool bearsToken(const jamf::HTTPRequest& request, const platform::SecretString& token) {
  constexpr std::string_view scheme = "bearer ";
  const auto* const given = request.header("Authorization");
  if (!given || !std::ranges::equal(std::string_view(*given).substr(0, scheme.size()), scheme, {}, lowered))
    return false;
  return isEqualInConstantTime(std::string_view(*given).substr(scheme.size()), token.reveal());
}

void listen(jamf::MinimalHTTPServer& server, std::uint16_t port, std::string_view command) {
  try {
    server.start(port);
  } catch (const platform::Error& error) {
    throw tuv::Error(
        fmt::format("{}. Another program listens there, maybe another {}; --port chooses another port.",
                    error.description(), command));
  }
}

}  // namespace orvik::host::loopback
