#pragma once

#include <sstream>
#include <string>

#include "orvikctl/Driver.h"

namespace orvik::test {

/// What the tool printed and answered, run within this process.
struct ToolResult {
  int status = -1;
  std::string out;
  std::string err;
};

inline ToolResult runTool(const ctl::Arguments& arguments) {
  std::ostringstream out;
  std::ostringstream err;
  const int status = ctl::run(arguments, out, err);
  return {status, out.str(), err.str()};
}

}  // namespace orvik::test
