#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace platform {

/// 256 secret bits: a symmetric key or the shared secret of a key agreement. Every copy wipes itself when it
/// goes.
class Secret256 {
 public:
  static constexpr std::size_t size = 32;

  /// From the system's random source. Throws `Error`.
  static Secret256 random();
  /// A copy of exactly 32 bytes, which stay the caller's to wipe; nothing for any other number.
  static std::optional<Secret256> copyOf(std::string_view bytes) noexcept;

  Secret256(const Secret256&) = default;
  Secret256& operator=(const Secret256&) = default;
  ~Secret256();

  /// The 32 bytes, valid while this object lives.
  std::string_view reveal() const noexcept { return {bytes_.data(), bytes_.size()}; }

  /// Takes the same time for all values.
  bool operator==(const Secret256& other) const noexcept;

 private:
  Secret256() = default;
  std::array<char, size> bytes_{};
};

}  // namespace platform
