#include "OrvikCore/Care/ContentShare.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace orvik {

namespace {

template <class Number>
std::optional<Number> numberOf(std::string_view text) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

constexpr std::uint32_t mostParts = 1000;

std::optional<ReadingRequest> partOf(std::string_view text, std::size_t slash) {
  const auto number = numberOf<std::uint32_t>(text.substr(0, slash));
  const auto count = numberOf<std::uint32_t>(text.substr(slash + 1));
  if (!number || !count || *number < 1 || *number > *count || *count > mostParts) return std::nullopt;
  return ReadingRequest{ReadingRequest::Part{*number, *count}};
}

std::optional<ReadingRequest> percentOf(std::string_view text) {
  const auto percent = numberOf<double>(text);
  if (!percent || !(*percent >= 0 && *percent <= 100)) return std::nullopt;
  return ReadingRequest{ReadingRequest::Percent{*percent}};
}

std::optional<ReadingRequest> sizeOf(std::string_view text) {
  if (text.ends_with('B')) text.remove_suffix(1);
  std::int64_t unit = 1;
  constexpr std::string_view units = "KMGT";
  if (const auto found = text.empty() ? units.npos : units.find(text.back()); found != units.npos) {
    for (std::size_t i = 0; i <= found; ++i) unit *= 1000;
    text.remove_suffix(1);
  }
  const auto number = numberOf<std::int64_t>(text);
  if (!number || *number < 1 || *number > std::numeric_limits<std::int64_t>::max() / unit)
    return std::nullopt;
  return ReadingRequest{ReadingRequest::Size{*number * unit}};
}

}  // namespace

ContentShare ContentShare::part(std::uint32_t number, std::uint32_t count) {
  const Length begin = whole * (number - 1) / count;
  return {static_cast<Place>(begin), whole * number / count - begin};
}

ContentShare ContentShare::from(Place begin, double percent) {
  if (percent >= 100) return {begin, whole};
  // In millionths of a hundredth, rounded up: so many shares of a third are at least the whole.
  constexpr std::uint64_t fine = 1'000'000;
  const auto share = static_cast<std::uint64_t>(std::ceil(percent * static_cast<double>(fine)));
  return {begin, (whole * share + 100 * fine - 1) / (100 * fine)};
}

ContentShare::Place ContentShare::placeOf(const ObjectKey& key) noexcept {
  Place place = 0;
  for (std::size_t i = 0; i < sizeof(place); ++i) place = (place << 8) | key.bytes[i];
  return place;
}

std::optional<ReadingRequest> ReadingRequest::parse(std::string_view text) {
  if (const auto slash = text.find('/'); slash != text.npos) return partOf(text, slash);
  if (text.ends_with('%')) return percentOf(text.substr(0, text.size() - 1));
  return sizeOf(text);
}

}  // namespace orvik
