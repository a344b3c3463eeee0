#pragma once

#include <string_view>

namespace orvik {

/// Why a section's content is to be protected, as a sentence; empty for one that holds nothing of the kind.
std::string_view sensitivityOf(std::string_view sectionID);

}  // namespace orvik
