#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

/// Requests to a server on 127.0.0.1, each on a connection of its own that the server ends.
struct HTTPLoad {
  std::uint16_t port = 0;
  std::string request;  ///< the bytes that are sent
  std::string body;     ///< what has to come back, with status 200
  std::size_t count = 0;
  std::size_t clients = 1;  ///< each sends its next request when it has had its answer
};

struct HTTPLoadResult {
  double seconds = 0;
  std::vector<double> latencies;  ///< of each request that was answered, in seconds, ascending
  std::size_t failures = 0;       ///< cut connections and other answers

  double perSecond() const { return static_cast<double>(latencies.size()) / seconds; }
  /// The latency that this share of the requests does not exceed. Requires: one was answered.
  double quantile(double share) const;
};

/// All clients run on the calling thread. Throws when no connection can be made.
HTTPLoadResult run(const HTTPLoad& load);

/// The body of the one answer. Throws when there is none with status 200.
std::string bodyOfOne(std::uint16_t port, const std::string& request);

}  // namespace bench
