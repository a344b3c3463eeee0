#include "orvik/Server/ServerURL.h"

#include <fmt/format.h>

#include <utility>

#include "OrvikCore/Config/InstanceConfig.h"
#include "Platform/Locale/Text.h"
#include "orvik/ExitStatus.h"

namespace orvik::host {

namespace {

bool isLoopback(const std::string& host) {
  return platform::locale::lowercased(host) == "localhost" || host == "[::1]" || host == "127.0.0.1";
}

}  // namespace

platform::URL serverURL(const std::string& text) {
  // The parser drops a user and a fragment; who typed one may mean something else, or give a password away.
  const bool isPlain = text.find_first_of("@?#") == text.npos;
  auto url = InstanceConfig::normalizedURL(text);
  // Behind "https://" that stands in front of every text without it, another scheme looks like a host.
  const bool isWeb = url && (url->scheme == "https" || url->scheme == "http") && !url->path.starts_with("//");
  if (!isPlain || !isWeb)
    throw UsageError(
        "--url is not the URL of a server, such as https://school.example, without user, query and "
        "fragment.");
  return std::move(*url);
}

std::optional<std::string> clearTextRemark(const platform::URL& server) {
  if (server.scheme != "http" || isLoopback(server.host)) return std::nullopt;
  return fmt::format("{} is reached without TLS: the client secret travels in the clear.", server.host);
}

}  // namespace orvik::host
