#pragma once

#include <string>
#include <vector>

#include "Platform/Date.h"
#include "orvik/Status/StatusText.h"

namespace orvik::host {

/// What `orvik status` found in the text format of Prometheus (version 0.0.4): families called "orvik_...",
/// a sample for each instance where something is known of it. Times are seconds since 1970, sizes bytes.
/// Valid UTF-8, whatever the names are.
std::string metricsText(const std::vector<JudgedInstance>& instances, platform::Date now);

}  // namespace orvik::host
