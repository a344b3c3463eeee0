#include "OrvikCore/Explore/CommonStart.h"

#include <algorithm>

namespace orvik {

std::size_t commonStart(std::string_view a, std::string_view b) {
  const auto [end, other] = std::ranges::mismatch(a, b);
  auto length = static_cast<std::size_t>(end - a.begin());
  const auto isInside = [](std::string_view text, std::size_t offset) {
    return offset < text.size() && (static_cast<unsigned char>(text[offset]) & 0xC0) == 0x80;
  };
  while (length > 0 && (isInside(a, length) || isInside(b, length))) --length;
  return length;
}

}  // namespace orvik
