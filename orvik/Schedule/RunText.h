#pragma once

#include <string>
#include <vector>

#include "OrvikCore/Config/ScheduleStore.h"
#include "Platform/JSON/Value.h"
#include "orvik/Instances/KnownInstances.h"
#include "orvik/Output/Paint.h"

/// Scheduled runs as people and scripts read them.
namespace orvik::host::runText {

/// The beginning of its ID, which is enough to name it.
std::string shortID(const ScheduledRun& run);
/// The instance's name, or what is known of one that is gone.
std::string instanceName(const platform::UUID& id, const KnownInstances& known);

/// "Nov 22, 2026, 11:00 PM (in 3 h)", of a past one "(due 3 h ago)".
std::string when(platform::Date date, platform::Date now);

/// The lines of a table.
std::vector<std::string> table(const std::vector<ScheduledRun>& runs, const KnownInstances& known,
                               platform::Date now, const Paint& paint);

/// `{"event":"run","id","instanceID","instance","date","due"}`; no "instance" for one that is gone.
platform::json::Value json(const ScheduledRun& run, const KnownInstances& known, platform::Date now);

}  // namespace orvik::host::runText
