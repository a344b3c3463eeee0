#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tests/Support/ScriptedServer.h"

/// Answers of a server that hands out one file and understands Range.
namespace support {

/// Bytes that differ everywhere, the same for one seed.
inline std::string fileOf(std::size_t size, std::uint32_t seed = 1) {
  std::string bytes(size, '\0');
  for (auto& byte : bytes) byte = static_cast<char>((seed = seed * 1664525 + 1013904223) >> 24);
  return bytes;
}

/// The position that a request asks to go on from; 0 when it asks for the whole file.
inline std::size_t offsetOf(const ReceivedRequest& request) {
  const auto range = request.header("Range");
  return range ? std::stoul(range->substr(std::string_view("bytes=").size())) : 0;
}

/// The head of a 206 for the bytes from `first` on; `headers` are lines that end in CR LF.
inline std::string partHead(std::size_t first, std::size_t total, std::string_view headers = {}) {
  return "HTTP/1.1 206 Partial Content\r\nContent-Length: " + std::to_string(total - first) +
         "\r\nContent-Range: bytes " + std::to_string(first) + "-" + std::to_string(total - 1) + "/" +
         std::to_string(total) + "\r\n" + std::string(headers) + "\r\n";
}

/// What a server says that honours Range and, when it has an ETag, If-Range.
inline std::string fileAnswer(const ReceivedRequest& request, const std::string& file,
                              std::string_view etag = {}) {
  const std::string headers = etag.empty() ? "" : "ETag: " + std::string(etag) + "\r\n";
  const auto condition = request.header("If-Range");
  const bool isWhole = !request.header("Range") || (condition && *condition != etag);
  if (isWhole) return answer(200, file, headers);
  const auto first = offsetOf(request);
  if (first >= file.size())
    return answer(416, {}, headers + "Content-Range: bytes */" + std::to_string(file.size()) + "\r\n");
  return partHead(first, file.size(), headers) + file.substr(first);
}

}  // namespace support
