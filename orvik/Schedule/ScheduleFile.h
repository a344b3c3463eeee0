#pragma once

#include <functional>
#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Config/ScheduleStore.h"
#include "orvik/HostPlaces.h"

/// The user's own "schedule.json", changed by one process at a time.
namespace orvik::host::ScheduleFile {

/// Whether the file is missing or says which runs there are. What can't be decoded reads as empty, and
/// writing then would lose what somebody may still mend.
bool isReadable(const ScheduleStore& store);
/// A sentence about a file that is not.
std::string damaged(const ScheduleStore& store);

/// By date, the earliest first. Throws `tuv::Error` when the file is damaged.
std::vector<ScheduledRun> load(const HostPlaces& places);

/// Lets `edit` change the list, then writes it. Throws as `load`, what `edit` throws, and as `FileLock` and
/// `ScheduleStore::save` do; the file is as it was then.
void change(const HostPlaces& places, const std::function<void(std::vector<ScheduledRun>&)>& edit,
            const std::stop_token& stop);

}  // namespace orvik::host::ScheduleFile
