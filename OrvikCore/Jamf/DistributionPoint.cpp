#include "OrvikCore/Jamf/DistributionPoint.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>

#include "Platform/HTTP/URL.h"

namespace orvik {

namespace {

/// A member that says something: not empty, and no 0.
std::optional<std::string> given(const JSONTree& data, std::string_view key) {
  auto text = data[key].string();
  if (!text || text->empty() || *text == "0") return std::nullopt;
  return text;
}

std::string withoutOuterSlashes(std::string_view text) {
  const auto begin = text.find_first_not_of('/');
  if (begin == std::string_view::npos) return {};
  return std::string(text.substr(begin, text.find_last_not_of('/') - begin + 1));
}

/// An IPv6 address stands in brackets (RFC 3986, 3.2.2).
std::string hostText(std::string server) {
  const bool isBareIPv6 = server.find(':') != server.rfind(':') && !server.starts_with('[');
  return isBareIPv6 ? "[" + std::move(server) + "]" : std::move(server);
}

std::optional<std::string> statedURL(const JSONTree& data) {
  if (auto url = given(data, "http_url")) return url;
  auto server = given(data, "ip_address");
  if (!server) server = given(data, "server");
  if (!server) return std::nullopt;
  auto url = given(data, "protocol").value_or("https") + "://" + hostText(std::move(*server));
  if (const auto port = given(data, "port")) url += ":" + *port;
  if (const auto context = given(data, "context"))
    url += "/" + platform::percentEncodePath(withoutOuterSlashes(*context));
  return url;
}

}  // namespace

std::optional<DistributionPoint> DistributionPoint::anonymousHTTP(const JSONTree& record) {
  const auto data = record["distribution_point"];
  if (data["http_downloads_enabled"].string() != "true" ||
      data["no_authentication_required"].string() != "true")
    return std::nullopt;
  const auto text = statedURL(data);
  auto url = text ? platform::URL::parse(*text) : std::nullopt;
  if (!url || (url->scheme != "http" && url->scheme != "https") || url->host.empty()) return std::nullopt;
  url->query.clear();
  while (url->path.ends_with('/')) url->path.pop_back();
  auto name = data["name"].string().value_or(url->host);
  return DistributionPoint{std::move(name), url->text()};
}

std::string DistributionPoint::packageURL(const std::string& fileName) const {
  return fmt::format("{}/Packages/{}", base, platform::percentEncodePathComponent(fileName));
}

}  // namespace orvik
