#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <string_view>

#include "JamfCore/Tools/MCP/HTTPMessage.h"

/// What holds for an HTTP request of any bytes.
namespace orvik::fuzz {

/// The text of a request that says the same.
inline std::string requestText(const jamf::HTTPRequest& request) {
  auto text = request.method + " " + request.path + " HTTP/1.1\r\n";
  for (const auto& [name, value] : request.headers) text.append(name).append(": ").append(value) += "\r\n";
  return text.append("\r\n").append(request.body);
}

/// The first rule that a reader of `bytes` in pieces breaks, `known` being what they are at once.
inline std::optional<std::string> brokenPiecesRule(std::string_view bytes,
                                                   const std::optional<jamf::HTTPRequest>& known) {
  using Progress = jamf::HTTPRequestReader::Progress;
  std::minstd_rand random(static_cast<std::uint32_t>(std::hash<std::string_view>()(bytes)));
  jamf::HTTPRequestReader reader;
  auto progress = Progress::more;
  std::size_t fed = 0;
  const std::size_t longest = 1 + random() % 64;
  while (fed < bytes.size() && progress == Progress::more) {
    const auto piece = bytes.substr(fed, 1 + random() % longest);
    progress = reader.append(piece);
    fed += piece.size();
    if (progress != Progress::malformed && reader.headSize() > fed) return "a head of more than was sent";
  }
  if ((progress == Progress::whole) != known.has_value()) return "pieces say another thing than the whole";
  if (progress == Progress::malformed && reader.append("GET / HTTP/1.1\r\n\r\n") != Progress::malformed)
    return "what is malformed recovers";
  if (progress != Progress::whole) return std::nullopt;
  if (reader.headSize() + static_cast<std::size_t>(reader.contentLength()) > fed)
    return "a body of more than was sent";
  if (reader.take() != *known) return "pieces give another request than the whole";
  return std::nullopt;
}

/// The first rule that `bytes` break, as a sentence; nothing when all hold.
inline std::optional<std::string> brokenHTTPRequestRule(std::string_view bytes) {
  const auto request = jamf::parseHTTPRequest(bytes);
  if (const auto broken = brokenPiecesRule(bytes, request)) return broken;
  if (!request) return std::nullopt;
  if (jamf::parseHTTPRequest(requestText(*request)) != request)
    return "a request changes when it is written again";
  if (jamf::parseHTTPRequest(std::string(bytes) + "GET / HTTP/1.1\r\n\r\n") != request)
    return "what follows a request changes it";
  for (const auto& [name, value] : request->headers) {
    if (name.find(':') != name.npos) return "a name with a colon";
    if (!request->header(name)) return "a header that can't be found";
  }
  return std::nullopt;
}

}  // namespace orvik::fuzz
