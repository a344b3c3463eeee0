#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

/// How bytes of a text are escaped. Inside this folder only.
namespace platform::json::detail {

/// What one byte becomes: `length` bytes of `text`, 0 for a byte that stands for itself. Eight bytes, so that
/// it is written with one store.
struct Escape {
  char text[7];
  std::uint8_t length;
};

constexpr std::array<Escape, 256> makeEscapes() {
  std::array<Escape, 256> table{};
  constexpr char digits[] = "0123456789abcdef";
  for (std::size_t c = 0; c < 0x20; ++c)
    table[c] = {{'\\', 'u', '0', '0', digits[c >> 4], digits[c & 15]}, 6};
  constexpr char shortForms[][2] = {{'\b', 'b'}, {'\f', 'f'}, {'\n', 'n'}, {'\r', 'r'},
                                    {'\t', 't'}, {'"', '"'},  {'\\', '\\'}};
  for (const auto& [byte, letter] : shortForms) table[static_cast<unsigned char>(byte)] = {{'\\', letter}, 2};
  return table;
}

inline constexpr std::array<Escape, 256> escapes = makeEscapes();

inline const Escape& escapeOf(char c) { return escapes[static_cast<unsigned char>(c)]; }

inline constexpr std::size_t blockSize = 16;

#if defined(__SSE2__)

/// Bit n is set when the n-th of the 16 bytes at `block` must be escaped.
inline unsigned escapeMask(const char* block) {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block));
  const __m128i control = _mm_cmpeq_epi8(_mm_min_epu8(bytes, _mm_set1_epi8(0x1F)), bytes);
  const __m128i quote = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('"'));
  const __m128i backslash = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(control, _mm_or_si128(quote, backslash))));
}

#else

inline unsigned escapeMask(const char* block) {
  unsigned mask = 0;
  for (std::size_t i = 0; i < blockSize; ++i) mask |= (escapeOf(block[i]).length != 0 ? 1U : 0U) << i;
  return mask;
}

#endif

/// Copies `in` to `end` escaped to `out` and returns the end of what it wrote: at most 6 bytes for each byte.
/// Requires: 32 bytes can be read behind `end` and written behind the result.
inline char* copyEscaped(char* out, const char* in, const char* end) {
  constexpr std::size_t step = 2 * blockSize;
  for (;;) {
    std::memcpy(out, in, step);
    const auto left = static_cast<std::size_t>(end - in);
    std::uint64_t mask = escapeMask(in) | std::uint64_t{escapeMask(in + blockSize)} << blockSize;
    if (left <= step) {
      mask &= (std::uint64_t{1} << left) - 1;
      if (mask == 0) return out + left;
    } else if (mask == 0) {
      in += step;
      out += step;
      continue;
    }
    const int run = std::countr_zero(mask);
    in += run;
    out += run;
    const Escape& escape = escapeOf(*in++);
    std::memcpy(out, &escape, sizeof escape);
    out += escape.length;
  }
}

}  // namespace platform::json::detail
