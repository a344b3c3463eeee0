#pragma once

#include <cstdint>
#include <string_view>

namespace sample {

/// Spreads the bits of a number (the finaliser of SplitMix64).
constexpr std::uint64_t mix(std::uint64_t value) {
  value += 0x9e3779b97f4a7c15;
  value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9;
  value = (value ^ (value >> 27)) * 0x94d049bb133111eb;
  return value ^ (value >> 31);
}

/// FNV-1a: the same number on every machine, unlike `std::hash`.
constexpr std::uint64_t hashText(std::string_view text) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  return hash;
}

/// A row of numbers that depends on its seed alone. Not for secrets.
class Draw {
 public:
  explicit constexpr Draw(std::uint64_t seed) : state_(seed) {}

  constexpr std::uint64_t next() { return mix(state_++); }
  /// A number below `bound`, which must not be 0.
  constexpr std::uint64_t below(std::uint64_t bound) { return next() % bound; }
  /// A number from `low` to `high`, both possible.
  constexpr std::uint64_t between(std::uint64_t low, std::uint64_t high) {
    return low + below(high - low + 1);
  }
  constexpr bool chance(unsigned percent) { return below(100) < percent; }

 private:
  std::uint64_t state_;
};

}  // namespace sample
