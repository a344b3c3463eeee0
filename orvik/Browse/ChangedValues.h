#pragma once

#include <vector>

#include "OrvikCore/Explore/FieldChange.h"
#include "Platform/JSON/Value.h"

namespace orvik::host {

/// Fields that changed, for the explorer's page: `[{"path":…,"old":…,"new":…}]`, and where a value has
/// several lines or is XML, such as a script or a profile, the lines that differ in place of both:
/// `"lines":[{"kind":"removed","old":3,"text":…}]`, see `LineDiff`.
platform::json::Value changedValues(const std::vector<FieldChange>& changes);

}  // namespace orvik::host
