#pragma once

#include <string_view>

#include "Platform/Date.h"

/// Moments as people type them, at whole seconds. Those of runs throw `UsageError` for one that is past or
/// more than ten years ahead.
namespace orvik::host::RunTime {

/// ISO 8601 with a zone, "2026-11-22T23:00:00+01:00", where the seconds may be left out; "2026-11-22 23:00"
/// on this machine's clock; or "23:00", the next time that the clock shows that. Throws `UsageError` also for
/// any other text, and for a time that a clock passes over when it is set forward.
platform::Date moment(std::string_view text, platform::Date now);

/// The same as the moment of a run.
platform::Date at(std::string_view text, platform::Date now);

/// So many hours from now; none is this moment.
platform::Date in(double hours, platform::Date now);

}  // namespace orvik::host::RunTime
