#include "Platform/HTTP/URL.h"

#include <curl/curl.h>

#include <algorithm>
#include <charconv>
#include <memory>

#include "Platform/Hex.h"

namespace platform {

namespace {

using Handle = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

std::string part(CURLU* url, CURLUPart which) {
  char* text = nullptr;
  if (curl_url_get(url, which, &text, 0) != CURLUE_OK) return {};
  std::string copy(text);
  curl_free(text);
  return copy;
}

bool isBlankOrControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte <= 0x20 || byte == 0x7f;
}

constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr std::string_view digits = "0123456789";

bool isIn(std::string_view set, char c) { return set.find(c) != std::string_view::npos; }

bool isScheme(std::string_view text) {  // RFC 3986, 3.1
  return !text.empty() && isIn(letters, text.front()) && std::all_of(text.begin(), text.end(), [](char c) {
    return isIn(letters, c) || isIn(digits, c) || isIn("+-.", c);
  });
}

std::string percentEncode(std::string_view raw, std::string_view alsoAllowed) {
  constexpr std::string_view hexDigits = "0123456789ABCDEF";
  std::string encoded;
  encoded.reserve(raw.size());
  for (const char c : raw) {
    if (isIn(letters, c) || isIn(digits, c) || isIn(alsoAllowed, c)) {
      encoded += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    encoded += '%';
    encoded += hexDigits[byte >> 4];
    encoded += hexDigits[byte & 15];
  }
  return encoded;
}

}  // namespace

std::optional<URL> URL::parse(std::string_view text) {
  // The library reads one to three slashes alike; here exactly two begin an authority.
  const auto colon = text.find("://");
  if (colon == std::string_view::npos || !isScheme(text.substr(0, colon))) return std::nullopt;
  if (std::any_of(text.begin(), text.end(), isBlankOrControl)) return std::nullopt;

  const std::string_view authority = text.substr(colon + 3);
  const bool hasHost =
      !authority.empty() && std::string_view("/?#").find(authority[0]) == std::string_view::npos;
  // The library takes the first segment of "x:///name" for the host, so an empty one is filled in meanwhile.
  std::string complete(text);
  if (!hasHost) complete.insert(colon + 3, "localhost");

  const Handle handle(curl_url(), &curl_url_cleanup);
  constexpr unsigned flags = CURLU_NON_SUPPORT_SCHEME | CURLU_PATH_AS_IS | CURLU_URLENCODE;
  if (!handle || curl_url_set(handle.get(), CURLUPART_URL, complete.c_str(), flags) != CURLUE_OK)
    return std::nullopt;

  URL url;
  url.scheme = part(handle.get(), CURLUPART_SCHEME);
  // The library hands the host out decoded.
  if (hasHost) url.host = percentEncode(part(handle.get(), CURLUPART_HOST), "-._~!$&'()*+,;=[]:");
  if (const auto port = part(handle.get(), CURLUPART_PORT); !port.empty()) {
    int number = 0;
    const auto end = port.data() + port.size();
    const auto [stop, problem] = std::from_chars(port.data(), end, number);
    if (problem != std::errc{} || stop != end || number < 1 || number > 65535) return std::nullopt;
    url.port = number;
  }
  url.path = part(handle.get(), CURLUPART_PATH);
  // The library answers "/" for a path that is not there.
  const auto afterAuthority = authority.find_first_of("/?#");
  if (afterAuthority == std::string_view::npos || authority[afterAuthority] != '/') url.path.clear();
  url.query = part(handle.get(), CURLUPART_QUERY);
  return url;
}

std::string URL::text() const {
  std::string text = scheme + "://" + host;
  if (port) text += ":" + std::to_string(*port);
  text += path;
  if (!query.empty()) text += "?" + query;
  return text;
}

int URL::effectivePort() const {
  if (port) return *port;
  if (scheme == "https") return 443;
  return scheme == "http" ? 80 : 0;
}

// RFC 3986: pchar and "/". The semicolon is encoded, since servers cut what follows it off as a parameter.
std::string percentEncodePath(std::string_view raw) { return percentEncode(raw, "-._~!$&'()*+,=:@/"); }

std::string percentEncodePathComponent(std::string_view raw) {
  return percentEncode(raw, "-._~!$&'()*+,=:@");
}

// RFC 3986: the characters of a query without the two that separate items.
std::string percentEncodeQueryItem(std::string_view raw) { return percentEncode(raw, "-._~!$'()*+,;:@/?"); }

std::string percentDecode(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = text[i] == '%' ? hexDecode(text.substr(i + 1, 2)) : std::nullopt;
    const bool isEscape = byte && byte->size() == 1;
    out += isEscape ? byte->front() : text[i];
    if (isEscape) i += 2;
  }
  return out;
}

}  // namespace platform
