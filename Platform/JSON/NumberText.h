#pragma once

#include <charconv>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>

/// The text of numbers, fixed for good. Inside this folder only.
namespace platform::json::detail {

/// The room that `writeNumber` may use.
inline constexpr std::size_t longestNumber = 32;

/// Writes an integer exactly. Returns the length.
template <std::integral Number>
std::size_t writeNumber(char* out, Number value) {
  return static_cast<std::size_t>(std::to_chars(out, out + longestNumber, value).ptr - out);
}

/// Writes a finite double as `appendNumber` states it. Returns the length.
inline std::size_t writeNumber(char* out, double value) {
  constexpr double exactBelow = 9007199254740992.0;  // 2^53
  if (std::fabs(value) < exactBelow && value == std::trunc(value)) {
    const bool negativeZero = value == 0 && std::signbit(value);
    if (negativeZero) *out = '-';
    const std::size_t sign = negativeZero ? 1 : 0;
    return sign + writeNumber(out + sign, static_cast<std::int64_t>(value));
  }
  return static_cast<std::size_t>(std::to_chars(out, out + longestNumber, value).ptr - out);
}

}  // namespace platform::json::detail
