#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace sample {

struct ByteRange {
  std::int64_t offset = 0;
  std::int64_t length = 0;

  bool operator==(const ByteRange&) const = default;
};

/// Reads a Range header (RFC 9110, section 14.1.2) for a file of that size: "bytes=5-", "bytes=5-9" or
/// "bytes=-5". A length of 0 means that it holds no byte of the file. Nothing for several ranges, another
/// unit or no range at all, which a server answers with the whole file.
std::optional<ByteRange> parseByteRange(std::string_view header, std::int64_t size);

}  // namespace sample
