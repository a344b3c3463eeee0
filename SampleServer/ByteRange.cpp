#include "SampleServer/ByteRange.h"

#include <algorithm>
#include <charconv>

namespace sample {
namespace {

std::optional<std::int64_t> digits(std::string_view text) {
  std::int64_t value = 0;
  if (text.empty() || text.front() < '0' || text.front() > '9') return std::nullopt;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

}  // namespace

std::optional<ByteRange> parseByteRange(std::string_view header, std::int64_t size) {
  constexpr std::string_view unit = "bytes=";
  if (!header.starts_with(unit)) return std::nullopt;
  header.remove_prefix(unit.size());
  const std::size_t dash = header.find('-');
  if (dash == std::string_view::npos) return std::nullopt;
  const auto first = digits(header.substr(0, dash));
  const auto last = digits(header.substr(dash + 1));
  if (dash == 0) {
    if (!last) return std::nullopt;
    const std::int64_t length = std::min(*last, size);
    return ByteRange{size - length, length};
  }
  const bool open = dash + 1 == header.size();
  if (!first || (!last && !open) || (last && *last < *first)) return std::nullopt;
  if (*first >= size) return ByteRange{size, 0};
  return ByteRange{*first, open ? size - *first : std::min(*last - *first + 1, size - *first)};
}

}  // namespace sample
