#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "SampleServer/Answers.h"
#include "SampleServer/HTTPMessage.h"

/// What the rooms that administer objects have in common.
namespace sample {

/// A request with its path taken apart.
struct Call {
  const Request& request;
  /// Of the path. Split before they are decoded, so that a name may hold a slash.
  std::vector<std::string> segments;

  bool is(std::string_view method) const { return request.method == method; }
  const std::string& last() const { return segments.back(); }
};

/// Requests for one pattern of paths.
struct Route {
  std::string_view pattern;  ///< a literal, "api/v1/scripts/*"; a star stands for one segment
  std::string_view section;  ///< whose refusals hold for it
  /// Nothing: the fleet's plain answer is the right one. Throws `Refusal`.
  std::function<std::optional<Answer>(const Call&)> serve;
};

/// Ends the serving of a request with an answer that says no.
struct Refusal {
  Answer answer;
};

/// Throw `Refusal`. `field` names what the client is to mend.
[[noreturn]] inline void refuse(int status, std::string_view code, std::string_view description,
                                std::string_view field = {}) {
  throw Refusal{proFailure(status, code, description, field)};
}
[[noreturn]] inline void refuseField(std::string_view description, std::string_view field) {
  refuse(400, "INVALID_FIELD", description, field);
}
/// The plain failure of that status in the form of the path's interface.
[[noreturn]] inline void refuse(const Call& call, int status) {
  throw Refusal{failureFor(call.segments.front(), status)};
}

}  // namespace sample
