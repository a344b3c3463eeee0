#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "TuvCore/Error.h"

namespace jamf {

/// The one error type of the server client. A sum of named cases; `description()` is the sentence of its
/// case.
class APIError : public tuv::Error {
 public:
  /// The token request was refused.
  struct AuthenticationFailed {
    std::int64_t statusCode;
    std::optional<std::string> message;
  };
  /// Any other request was answered with a status outside 200 to 299.
  struct RequestFailed {
    std::int64_t statusCode;
    std::optional<std::string> message;
  };
  /// An answer, or a body to send, is not of the expected shape.
  struct DecodingFailed {
    std::string underlying;
  };
  /// No answer came.
  struct Transport {
    std::string underlying;
  };
  /// Status 429; `retryAfter` in seconds when the server stated it as a number.
  struct RateLimited {
    std::optional<double> retryAfter;
  };
  struct InvalidBaseURL {};
  /// There is no client secret.
  struct NotAuthenticated {};

  using Case = std::variant<AuthenticationFailed, RequestFailed, DecodingFailed, Transport, RateLimited,
                            InvalidBaseURL, NotAuthenticated>;

  static APIError authenticationFailed(std::int64_t statusCode, std::optional<std::string> message);
  static APIError requestFailed(std::int64_t statusCode, std::optional<std::string> message);
  static APIError decodingFailed(std::string underlying);
  static APIError transport(std::string underlying);
  static APIError rateLimited(std::optional<double> retryAfter);
  static APIError invalidBaseURL();
  static APIError notAuthenticated();

  const Case& which() const noexcept { return case_; }

  /// The case, or null when it is another: `error.as<APIError::RequestFailed>()`.
  template <class C>
  const C* as() const noexcept {
    return std::get_if<C>(&case_);
  }

 private:
  explicit APIError(Case which);
  Case case_;
};

}  // namespace jamf
