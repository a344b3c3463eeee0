#include "JamfCore/Networking/APIError.h"

#include <fmt/format.h>

#include <utility>

namespace jamf {

namespace {

/// Names the sentence of each case.
struct Sentence {
  std::string operator()(const APIError::AuthenticationFailed& c) const {
    return fmt::format("Authentication with Jamf Pro failed ({}): {}", c.statusCode,
                       c.message.value_or("unknown error"));
  }
  std::string operator()(const APIError::RequestFailed& c) const {
    return fmt::format("Jamf Pro API request failed ({}): {}", c.statusCode,
                       c.message.value_or("unknown error"));
  }
  std::string operator()(const APIError::DecodingFailed& c) const {
    return "Failed to decode Jamf Pro API response: " + c.underlying;
  }
  std::string operator()(const APIError::Transport& c) const { return "Network error: " + c.underlying; }
  std::string operator()(const APIError::RateLimited& c) const {
    // The shortest text that reads back to the same double; a whole value keeps its ".0".
    return c.retryAfter ? fmt::format("Rate limited by Jamf Pro. Retry after {}s.", shortest(*c.retryAfter))
                        : "Rate limited by Jamf Pro.";
  }
  std::string operator()(const APIError::InvalidBaseURL&) const {
    return "The Jamf Pro instance URL is missing or invalid.";
  }
  std::string operator()(const APIError::NotAuthenticated&) const {
    return "No client secret is available for this organization. Try re-adding it.";
  }

 private:
  static std::string shortest(double value) {
    std::string text = fmt::format("{}", value);
    if (text.find_first_not_of("-0123456789") == std::string::npos) text += ".0";
    return text;
  }
};

}  // namespace

APIError::APIError(Case which) : Error(std::visit(Sentence{}, which)), case_(std::move(which)) {}

APIError APIError::authenticationFailed(std::int64_t statusCode, std::optional<std::string> message) {
  return APIError(AuthenticationFailed{statusCode, std::move(message)});
}

APIError APIError::requestFailed(std::int64_t statusCode, std::optional<std::string> message) {
  return APIError(RequestFailed{statusCode, std::move(message)});
}

APIError APIError::decodingFailed(std::string underlying) {
  return APIError(DecodingFailed{std::move(underlying)});
}

APIError APIError::transport(std::string underlying) { return APIError(Transport{std::move(underlying)}); }

APIError APIError::rateLimited(std::optional<double> retryAfter) { return APIError(RateLimited{retryAfter}); }

APIError APIError::invalidBaseURL() { return APIError(InvalidBaseURL{}); }

APIError APIError::notAuthenticated() { return APIError(NotAuthenticated{}); }

}  // namespace jamf
