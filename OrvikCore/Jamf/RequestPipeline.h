#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "JamfCore/Networking/JamfRequesting.h"
#include "OrvikCore/Jamf/PauseGate.h"
#include "OrvikCore/Jamf/RequestLimiter.h"
#include "OrvikCore/Jamf/RetryPolicy.h"
#include "OrvikCore/Store/AuditLog.h"
#include "TuvCore/Locked.h"

namespace orvik {

/// The road of every read of a backup, and the proof that a backup can't change the server: it has GET alone.
///
/// The order of its stations, for each attempt: pause gate, slot and start time of the limiter, the wrapped
/// reader, slot back, count, audit line, and on a failure that may pass the delay before the next attempt.
/// The slot is never held through a delay.
///
/// Any thread may call. The limiter, gate, audit log and reader must outlive it.
class RequestPipeline : public jamf::JamfRequesting {
 public:
  /// Called with the text of each repeat, from whichever thread repeats.
  using OnRetry = std::function<void(const std::string&)>;

  RequestPipeline(jamf::JamfRequesting& base, RequestLimiter& limiter, const PauseGate& gate,
                  RetryPolicy policy, AuditLog* audit, OnRetry onRetry);

  /// Throws the last error as it came, or `platform::CancellationError` on a stop.
  platform::Bytes get(const std::string& path, const std::vector<jamf::QueryItem>& query,
                      const std::stop_token& stop) override;

  /// The attempts so far, failed ones included.
  int requestCount() const { return counter_.value(); }

 private:
  platform::Bytes attempt(const std::string& path, const std::vector<jamf::QueryItem>& query,
                          const std::stop_token& stop);
  void waitBeforeRepeat(const std::string& path, const std::exception& error, int attempt, double delay,
                        const std::stop_token& stop) const;

  jamf::JamfRequesting& base_;
  RequestLimiter& limiter_;
  const PauseGate& gate_;
  const RetryPolicy policy_;
  AuditLog* const audit_;
  const OnRetry onRetry_;
  tuv::Locked<int> counter_{0};
};

}  // namespace orvik
