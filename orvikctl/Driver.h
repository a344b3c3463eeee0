#pragma once

#include <ostream>
#include <string>

#include "orvikctl/Arguments.h"

namespace orvik::ctl {

/// Ends a command: the message goes to standard error behind "orvikctl: ", and the exit status is 1.
struct Failure {
  std::string message;
};

[[noreturn]] void fail(std::string message);

/// The whole tool: `arguments` without the process name. Results and findings go to `out`, failures to `err`.
/// Returns the exit status: 0, or 1 for a failure or when `verify` found problems.
int run(const Arguments& arguments, std::ostream& out, std::ostream& err);

}  // namespace orvik::ctl
