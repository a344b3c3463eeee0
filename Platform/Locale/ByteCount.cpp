#include <fmt/format.h>

#include <array>

#include "Platform/Locale/Text.h"

namespace platform::locale {

namespace {

struct Unit {
  std::string_view name;
  std::uint64_t size;   // bytes
  std::uint64_t scale;  // 10 to the power of the most decimals that are shown
};

constexpr std::array units{Unit{"KB", 1'000, 1},
                           Unit{"MB", 1'000'000, 10},
                           Unit{"GB", 1'000'000'000, 100},
                           Unit{"TB", 1'000'000'000'000, 100},
                           Unit{"PB", 1'000'000'000'000'000, 100},
                           Unit{"EB", 1'000'000'000'000'000'000, 100}};

/// `scaled` / `scale` without trailing zeros behind the point.
std::string decimal(std::uint64_t scaled, std::uint64_t scale) {
  std::string text = std::to_string(scaled / scale);
  std::uint64_t rest = scaled % scale;
  if (rest != 0) text += '.';
  for (; rest != 0; rest = rest % scale) {
    rest *= 10;
    text += static_cast<char>('0' + rest / scale);
  }
  return text;
}

std::string magnitudeText(std::uint64_t bytes) {
  if (bytes == 1) return "1 byte";
  if (bytes < 1000) return fmt::format("{} bytes", bytes);
  std::string text;
  for (const Unit& unit : units) {
    const std::uint64_t step = unit.size / unit.scale;
    const std::uint64_t scaled = (bytes + step / 2) / step;
    text = decimal(scaled, unit.scale) + " " + std::string(unit.name);
    if (scaled < 1000 * unit.scale) break;
  }
  return text;
}

}  // namespace

std::string byteCount(std::int64_t bytes) {
  if (bytes == 0) return "Zero KB";
  if (bytes > 0) return magnitudeText(static_cast<std::uint64_t>(bytes));
  return "-" + magnitudeText(0 - static_cast<std::uint64_t>(bytes));
}

}  // namespace platform::locale
