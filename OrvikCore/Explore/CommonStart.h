#pragma once

#include <cstddef>
#include <string_view>

namespace orvik {

/// What two texts begin with in common, in bytes: whole UTF-8 scalars. A comparison that shows a piece of a
/// long value shows it from shortly before there.
std::size_t commonStart(std::string_view a, std::string_view b);

}  // namespace orvik
