#include "OrvikCore/Jamf/RequestPipeline.h"

#include <fmt/format.h>

#include <chrono>
#include <cmath>
#include <exception>
#include <optional>
#include <utility>

#include "OrvikCore/Jamf/RequestOutcome.h"
#include "Platform/Concurrency/Cancellation.h"
#include "TuvCore/Log.h"

namespace orvik {

namespace {

std::optional<std::string> pageDetail(const std::vector<jamf::QueryItem>& query) {
  for (const auto& item : query)
    if (item.name == "page" && item.value) return "page " + *item.value;
  return std::nullopt;
}

std::int64_t millisecondsSince(platform::MonotonicTime start) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(platform::MonotonicClock::now() - start)
      .count();
}

/// Gives the slot back when it goes, on every path.
struct SlotReturn {
  RequestLimiter& limiter;
  ~SlotReturn() { limiter.release(); }
};

}  // namespace

RequestPipeline::RequestPipeline(jamf::JamfRequesting& base, RequestLimiter& limiter, const PauseGate& gate,
                                 RetryPolicy policy, AuditLog* audit, OnRetry onRetry)
    : base_(base),
      limiter_(limiter),
      gate_(gate),
      policy_(policy),
      audit_(audit),
      onRetry_(std::move(onRetry)) {}

platform::Bytes RequestPipeline::get(const std::string& path, const std::vector<jamf::QueryItem>& query,
                                     const std::stop_token& stop) {
  for (int number = 1;; ++number) {
    gate_.wait(stop);
    double delay = 0;
    try {
      return attempt(path, query, stop);
    } catch (const std::exception& error) {
      const auto outcome = RequestOutcome::classify(error);
      if (outcome.kind != RequestOutcome::Kind::retryable || number >= policy_.maxAttempts) throw;
      delay = policy_.delay(number, outcome.after);
      waitBeforeRepeat(path, error, number, delay, stop);
    }
  }
}

platform::Bytes RequestPipeline::attempt(const std::string& path, const std::vector<jamf::QueryItem>& query,
                                         const std::stop_token& stop) {
  AuditEntry entry;
  entry.kind = AuditEntry::Kind::request;
  entry.method = "GET";
  entry.target = path;
  const auto finish = [&](platform::MonotonicTime start) {
    counter_.withLock([](int& count) { ++count; });
    entry.milliseconds = millisecondsSince(start);
    entry.detail = pageDetail(query);
    entry.time = platform::now();
    if (audit_) audit_->record(entry);
  };

  limiter_.acquire(stop);
  const auto start = platform::MonotonicClock::now();
  try {
    platform::Bytes body;
    {
      const SlotReturn slot{limiter_};
      body = base_.get(path, query, stop);
    }
    entry.status = 200;
    entry.outcome = "ok";
    entry.bytes = static_cast<std::int64_t>(body.size());
    finish(start);
    return body;
  } catch (const std::exception& error) {
    auto failure = FailureDescription::describe(error);
    entry.status = failure.status;
    entry.outcome = std::move(failure.outcome);
    finish(start);
    throw;
  }
}

void RequestPipeline::waitBeforeRepeat(const std::string& path, const std::exception& error, int attempt,
                                       double delay, const std::stop_token& stop) const {
  const auto text = fmt::format("GET {} failed ({}); retry {}/{} in {:.0f}s", path, describeFailure(error),
                                attempt, policy_.maxAttempts - 1, std::round(delay));
  tuv::CategoryLogger{"requests"}.notice(text);
  if (onRetry_) onRetry_(text);
  platform::sleep(std::chrono::duration<double>(delay), stop);
}

}  // namespace orvik
