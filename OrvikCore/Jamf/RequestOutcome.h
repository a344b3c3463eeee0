#pragma once

#include <exception>
#include <optional>
#include <string>
#include <string_view>

namespace orvik {

/// What a failure means for the one who asked. Sorted in exactly one function, `classify`.
struct RequestOutcome {
  enum class Kind { retryable, notPermitted, notFound, cancelled, fatal };

  Kind kind = Kind::fatal;
  std::optional<double> after;  ///< of `retryable`: seconds that the server asked for

  static RequestOutcome classify(const std::exception& error) noexcept;

  bool operator==(const RequestOutcome&) const = default;
};

/// How a failed request stands in the audit log.
struct FailureDescription {
  std::optional<int> status;
  std::string outcome;  ///< "retry", "notPermitted", "notFound", "cancelled" or "failed"

  /// "retry" for everything that may pass, also on the last attempt. A file that is on no distribution point
  /// is "notFound", though as a failure of the work it is fatal.
  static FailureDescription describe(const std::exception& error);
};

/// The sentence for a person: the description of a `tuv::Error`, else the exception's own text. A failed
/// request's holds the server's answer, so what is longer than 4 KiB is cut: it goes into manifests and
/// indexes.
std::string describeFailure(const std::exception& error);

}  // namespace orvik
