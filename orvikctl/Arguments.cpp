#include "orvikctl/Arguments.h"

#include <algorithm>

namespace orvik::ctl {

Arguments positional(const Arguments& arguments) {
  Arguments kept;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (arguments[i].starts_with("--"))
      ++i;
    else
      kept.push_back(arguments[i]);
  }
  return kept;
}

std::optional<std::string> option(std::string_view name, const Arguments& arguments) {
  const auto match = std::ranges::find(arguments, name);
  if (match == arguments.end() || match + 1 == arguments.end()) return std::nullopt;
  return *(match + 1);
}

}  // namespace orvik::ctl
