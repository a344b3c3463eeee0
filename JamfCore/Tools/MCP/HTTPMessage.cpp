#include "JamfCore/Tools/MCP/HTTPMessage.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "Platform/Locale/Text.h"

namespace jamf {

namespace {

constexpr std::string_view lineEnd = "\r\n";
constexpr std::string_view separator = "\r\n\r\n";

std::string_view statusTextOf(std::int64_t code) {
  switch (code) {
    case 200:
      return "OK";
    case 202:
      return "Accepted";
    case 400:
      return "Bad Request";
    case 403:
      return "Forbidden";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    default:
      return "Error";
  }
}

std::string_view withoutBlanks(std::string_view text) {
  constexpr std::string_view blanks = " \t";
  const auto begin = text.find_first_not_of(blanks);
  if (begin == text.npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

/// Takes the next line away.
std::string_view nextLine(std::string_view& head) {
  const auto end = head.find(lineEnd);
  const auto line = head.substr(0, end);
  head.remove_prefix(end == head.npos ? head.size() : end + lineEnd.size());
  return line;
}

char lowered(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

/// A decimal integer with an optional sign, or nothing.
std::optional<std::int64_t> decimal(std::string_view text) {
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

}  // namespace

const std::string* HTTPRequest::header(std::string_view name) const {
  const auto isNamed = [name](const auto& each) {
    return std::ranges::equal(each.first, name, {}, lowered, lowered);
  };
  const auto found = std::ranges::find_if(headers, isNamed);
  return found == headers.end() ? nullptr : &found->second;
}

HTTPResponse HTTPResponse::json(platform::Bytes bytes, std::int64_t statusCode) {
  return {statusCode,
          std::string(statusTextOf(statusCode)),
          {{"Content-Type", "application/json"}},
          std::move(bytes)};
}

HTTPResponse HTTPResponse::status(std::int64_t code) {
  return {code, std::string(statusTextOf(code)), {}, {}};
}

platform::Bytes HTTPResponse::rawBytes() const {
  platform::Bytes raw = "HTTP/1.1 " + std::to_string(statusCode) + " " + statusText;
  raw += "\r\nContent-Length: " + std::to_string(body.size());
  raw += "\r\nConnection: close";
  for (const auto& [name, value] : headers) raw.append(lineEnd).append(name).append(": ").append(value);
  return raw.append(separator).append(body);
}

std::optional<HTTPRequest> parseHTTPRequest(std::string_view bytes) {
  HTTPRequestReader reader;
  if (reader.append(bytes) != HTTPRequestReader::Progress::whole) return std::nullopt;
  return reader.take();
}

HTTPRequestReader::Progress HTTPRequestReader::append(std::string_view bytes) {
  if (isMalformed_) return Progress::malformed;
  buffer_.append(bytes);
  if (!headSize_) {
    const auto end = buffer_.find(separator, searched_);
    if (end == buffer_.npos) {
      searched_ = buffer_.size() - std::min(buffer_.size(), separator.size() - 1);
      return Progress::more;
    }
    headSize_ = end + separator.size();
    if (!parseHead()) {
      isMalformed_ = true;
      platform::Bytes().swap(buffer_);
      return Progress::malformed;
    }
  }
  const auto arrived = buffer_.size() - *headSize_;
  return std::cmp_less(arrived, contentLength_) ? Progress::more : Progress::whole;
}

bool HTTPRequestReader::parseHead() {
  auto head = std::string_view(buffer_).substr(0, *headSize_ - separator.size());
  if (!platform::locale::isValidUTF8(head)) return false;
  const auto requestLine = nextLine(head);
  const auto methodEnd = requestLine.find(' ');
  if (methodEnd == requestLine.npos) return false;
  request_.method = requestLine.substr(0, methodEnd);
  const auto rest = requestLine.substr(methodEnd + 1);
  request_.path = rest.substr(0, rest.find(' '));
  while (!head.empty()) {
    const auto line = nextLine(head);
    const auto colon = line.find(':');
    if (colon == line.npos) continue;
    request_.headers.insert_or_assign(std::string(withoutBlanks(line.substr(0, colon))),
                                      std::string(withoutBlanks(line.substr(colon + 1))));
  }
  const auto* const length = request_.header("content-length");
  contentLength_ = length ? decimal(*length).value_or(0) : 0;
  return contentLength_ >= 0;
}

HTTPRequest HTTPRequestReader::take() {
  buffer_.resize(*headSize_ + static_cast<std::size_t>(contentLength_));
  buffer_.erase(0, *headSize_);
  request_.body = std::move(buffer_);
  return std::move(request_);
}

}  // namespace jamf
