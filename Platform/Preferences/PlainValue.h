#pragma once

#include <string_view>

#include "Platform/PropertyList/PropertyList.h"

namespace platform::preferences {

/// A JSON document as a property list's value; members and elements that are null are left out. Throws
/// `Error`.
plist::Value parseJSON(std::string_view text);

}  // namespace platform::preferences
