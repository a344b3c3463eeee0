#include "OrvikCore/Jamf/RetryPolicy.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace orvik {

double RetryPolicy::delay(int attempt, std::optional<double> retryAfter) const {
  thread_local std::minstd_rand generator{std::random_device{}()};
  std::uniform_real_distribution<double> jitter(0.8, 1.2);
  return delay(attempt, retryAfter, jitter(generator));
}

double RetryPolicy::delay(int attempt, std::optional<double> retryAfter, double jitter) const noexcept {
  if (retryAfter && *retryAfter > 0) return std::min(*retryAfter, 5 * maxDelay);
  const double raw = baseDelay * std::exp2(std::max(attempt - 1, 0));
  return std::min(raw, maxDelay) * jitter;
}

}  // namespace orvik
