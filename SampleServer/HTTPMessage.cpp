#include "SampleServer/HTTPMessage.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <iterator>

#include "Platform/HTTP/URL.h"

namespace sample {
namespace {

using platform::percentDecode;

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

bool isTokenCharacter(char c) {
  constexpr std::string_view others = "!#$%&'*+-.^_`|~";
  return (lower(c) >= 'a' && lower(c) <= 'z') || (c >= '0' && c <= '9') ||
         others.find(c) != std::string_view::npos;
}

bool isToken(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), isTokenCharacter);
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

/// Nothing for what is no plain row of digits.
std::optional<std::size_t> parseLength(std::string_view text) {
  std::size_t value = 0;
  if (text.empty() || text.front() < '0' || text.front() > '9') return std::nullopt;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (end != text.data() + text.size()) return std::nullopt;
  // More digits than any length has is still a number, only too large to take.
  return error == std::errc::result_out_of_range ? static_cast<std::size_t>(-1) : value;
}

/// Whether a package's file comes with the request.
bool isUpload(const Request& request) {
  return request.method == "POST" && request.path.starts_with("/api/v1/packages/") &&
         request.path.ends_with("/upload");
}

std::string_view reason(int status) {
  switch (status) {
    case 200:
      return "OK";
    case 201:
      return "Created";
    case 202:
      return "Accepted";
    case 206:
      return "Partial Content";
    case 302:
      return "Found";
    case 307:
      return "Temporary Redirect";
    case 416:
      return "Range Not Satisfiable";
    case 204:
      return "No Content";
    case 400:
      return "Bad Request";
    case 401:
      return "Unauthorized";
    case 403:
      return "Forbidden";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    case 406:
      return "Not Acceptable";
    case 409:
      return "Conflict";
    case 413:
      return "Content Too Large";
    case 415:
      return "Unsupported Media Type";
    case 422:
      return "Unprocessable Content";
    case 429:
      return "Too Many Requests";
    case 431:
      return "Request Header Fields Too Large";
    case 500:
      return "Internal Server Error";
    case 501:
      return "Not Implemented";
    case 502:
      return "Bad Gateway";
    case 503:
      return "Service Unavailable";
    case 504:
      return "Gateway Timeout";
    default:
      return "Status";
  }
}

}  // namespace

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return lower(x) == lower(y); });
}

std::optional<std::string_view> Request::header(std::string_view name) const {
  for (const auto& [key, value] : headers) {
    if (equalIgnoringCase(key, name)) return value;
  }
  return std::nullopt;
}

std::optional<std::string> Request::queryItem(std::string_view name) const {
  std::vector<std::string> values = queryItems(name);
  return values.empty() ? std::nullopt : std::optional(std::move(values.front()));
}

std::vector<std::string> Request::queryItems(std::string_view name) const {
  std::vector<std::string> values;
  for (std::string_view rest = query; !rest.empty();) {
    const std::string_view item = rest.substr(0, rest.find('&'));
    rest.remove_prefix(std::min(rest.size(), item.size() + 1));
    const std::size_t equals = item.find('=');
    if (percentDecode(item.substr(0, equals)) != name) continue;
    values.push_back(equals == std::string_view::npos ? std::string()
                                                      : percentDecode(item.substr(equals + 1)));
  }
  return values;
}

RequestReader::Progress RequestReader::refuse(int status) {
  refusal_ = status;
  return Progress::refused;
}

bool RequestReader::parseHead(std::string_view head) {
  request_.headers.clear();
  const std::string_view line = head.substr(0, head.find("\r\n"));
  const std::size_t first = line.find(' ');
  const std::size_t last = line.rfind(' ');
  if (first == std::string_view::npos || last <= first + 1) return false;
  request_.method = line.substr(0, first);
  const std::string_view target = line.substr(first + 1, last - first - 1);
  const std::string_view version = line.substr(last + 1);
  if (!isToken(request_.method) || target.front() != '/' ||
      (version != "HTTP/1.1" && version != "HTTP/1.0")) {
    return false;
  }
  if (std::any_of(target.begin(), target.end(),
                  [](char c) { return c == ' ' || (c >= 0 && c < 0x20) || c == 0x7f; })) {
    return false;
  }
  const std::size_t question = target.find('?');
  request_.path = target.substr(0, question);
  request_.query = question == std::string_view::npos ? std::string_view() : target.substr(question + 1);
  request_.keepAlive = version == "HTTP/1.1";

  for (std::string_view rest = head.substr(std::min(head.size(), line.size() + 2)); !rest.empty();) {
    const std::string_view field = rest.substr(0, rest.find("\r\n"));
    rest.remove_prefix(std::min(rest.size(), field.size() + 2));
    const std::size_t colon = field.find(':');
    if (colon == std::string_view::npos || !isToken(field.substr(0, colon))) return false;
    request_.headers.emplace_back(field.substr(0, colon), trimmed(field.substr(colon + 1)));
  }
  if (const auto connection = request_.header("Connection")) {
    if (equalIgnoringCase(*connection, "close")) request_.keepAlive = false;
    if (equalIgnoringCase(*connection, "keep-alive")) request_.keepAlive = true;
  }
  return true;
}

RequestReader::Progress RequestReader::advance(platform::Bytes& buffer) {
  if (needed_ != 0 && buffer.size() < needed_) return Progress::more;
  // Empty lines ahead of a request are passed over (RFC 9112, section 2.2).
  if (scanned_ == 0) {
    const std::size_t start = std::min(buffer.find_first_not_of("\r\n"), buffer.size());
    if (start > 0) buffer.erase(0, start);
  }
  const std::size_t end = buffer.find("\r\n\r\n", scanned_);
  if (end == std::string::npos) {
    scanned_ = buffer.size() < 3 ? 0 : buffer.size() - 3;
    return buffer.size() > maximumHead ? refuse(431) : Progress::more;
  }
  if (end > maximumHead) return refuse(431);
  scanned_ = end;
  if (!parseHead(std::string_view(buffer).substr(0, end))) return refuse(400);
  if (request_.header("Transfer-Encoding")) return refuse(501);

  std::size_t length = 0;
  std::optional<std::string_view> seen;
  for (const auto& [key, value] : request_.headers) {
    if (!equalIgnoringCase(key, "Content-Length")) continue;
    const auto parsed = parseLength(value);
    if (!parsed || (seen && *seen != value)) return refuse(400);
    seen = value;
    length = *parsed;
  }
  if (length > (isUpload(request_) ? maximumUpload : maximumBody)) return refuse(413);
  needed_ = end + 4 + length;
  if (buffer.size() < needed_) {
    const auto expect = request_.header("Expect");
    wantsContinue_ = !continueSeen_ && expect && equalIgnoringCase(*expect, "100-continue");
    continueSeen_ = true;
    return Progress::more;
  }
  request_.body = std::string_view(buffer).substr(end + 4, length);
  return Progress::ready;
}

void RequestReader::drop(platform::Bytes& buffer) {
  buffer.erase(0, needed_);
  scanned_ = 0;
  needed_ = 0;
  continueSeen_ = false;
}

void appendAnswer(platform::Bytes& wire, const Answer& answer, bool keepAlive) {
  auto out = std::back_inserter(wire);
  wire.reserve(wire.size() + 256 + answer.headers.size() + answer.body.size());
  fmt::format_to(out, "HTTP/1.1 {} {}\r\n", answer.status, reason(answer.status));
  if (!answer.contentType.empty()) fmt::format_to(out, "Content-Type: {}\r\n", answer.contentType);
  wire += answer.headers;
  const std::int64_t streamed = answer.stream ? answer.stream->length : 0;
  const std::string length =
      answer.claimedLength.value_or(std::to_string(static_cast<std::int64_t>(answer.body.size()) + streamed));
  if (answer.status != 204 && !length.empty()) fmt::format_to(out, "Content-Length: {}\r\n", length);
  wire += keepAlive ? "Connection: keep-alive\r\n\r\n" : "Connection: close\r\n\r\n";
  wire += answer.body;
}

}  // namespace sample
