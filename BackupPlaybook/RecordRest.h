#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/JSON/View.h"

namespace orvik {

/// What a record says beyond what has been read from it. A member says nothing that is empty, false, zero or
/// a reference to nothing (-1), that repeats the object's own name, or that has its usual value; of unknown
/// members, as later servers have them, the same holds.
struct RecordRest {
  std::set<std::string_view> read = {};  ///< members that somebody has read, or that mean nothing elsewhere
  std::string_view usual = "{}";  ///< a JSON object in the record's shape, with the values of a new object

  /// The names of the members that say something, in the record's order.
  std::vector<std::string> of(platform::json::View record, std::string_view objectName) const;
};

}  // namespace orvik
