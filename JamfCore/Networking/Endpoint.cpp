#include "JamfCore/Networking/Endpoint.h"

#include <fmt/format.h>

#include <algorithm>

#include "JamfCore/Networking/APIError.h"
#include "Platform/HTTP/URL.h"

namespace jamf {

namespace {

std::string withoutSlashes(std::string_view text, bool atFront) {
  const auto first = atFront ? text.find_first_not_of('/') : 0;
  const auto last = atFront ? text.size() : text.find_last_not_of('/') + 1;
  return std::string(first == std::string_view::npos ? std::string_view() : text.substr(first, last - first));
}

std::string encodedName(const std::string& name) {
  std::string encoded;
  for (const char c : platform::percentEncodePath(name)) c == '/' ? encoded += "%2F" : encoded += c;
  return encoded;
}

std::string encodedQuery(const std::vector<QueryItem>& items) {
  std::string query;
  for (const auto& item : items) {
    if (!query.empty()) query += '&';
    query += platform::percentEncodeQueryItem(item.name);
    if (item.value) query += '=' + platform::percentEncodeQueryItem(*item.value);
  }
  return query;
}

}  // namespace

std::string Endpoint::url(std::string_view base) const {
  auto url = platform::URL::parse(base);
  if (!url || url->host.empty() || (url->scheme != "https" && url->scheme != "http"))
    throw APIError::invalidBaseURL();
  url->path =
      withoutSlashes(url->path, false) + "/" + withoutSlashes(platform::percentEncodePath(path), true);
  if (name) url->path = withoutSlashes(url->path, false) + "/" + encodedName(*name);
  url->query = encodedQuery(queryItems);
  return url->text();
}

bool isPathComponent(std::string_view text) noexcept {
  if (text.empty() || text == "." || text == "..") return false;
  return std::ranges::none_of(
      text, [](char c) { return c == '/' || static_cast<unsigned char>(c) < 0x20 || c == '\x7f'; });
}

const std::string& pathComponent(const std::string& id) {
  if (!isPathComponent(id))
    throw APIError::requestFailed(400, fmt::format("\"{}\" is not the id of an object.", id));
  return id;
}

}  // namespace jamf
