#pragma once

#include <optional>

namespace orvik {

/// How often a failed read is repeated, and after which delays. A plain value.
struct RetryPolicy {
  int maxAttempts = 1;   ///< in all; 1 means no repeat
  double baseDelay = 0;  ///< seconds before the first repeat, ahead of jitter
  double maxDelay = 0;   ///< seconds; caps the exponential delay, and five times it a server's Retry-After

  static const RetryPolicy none;

  /// Seconds to wait after attempt number `attempt` (from 1) failed: what the server asked for, capped, or
  /// else the exponential delay times a random factor between 0.8 and 1.2.
  double delay(int attempt, std::optional<double> retryAfter) const;
  /// The same with the factor given.
  double delay(int attempt, std::optional<double> retryAfter, double jitter) const noexcept;

  bool operator==(const RetryPolicy&) const = default;
};

inline constexpr RetryPolicy RetryPolicy::none{1, 0, 0};

}  // namespace orvik
