#pragma once

#include <functional>
#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Config/InstanceStore.h"
#include "orvik/HostPlaces.h"

/// The user's own "instances.json", changed by one process at a time.
namespace orvik::host::InstanceFile {

/// Whether the file is missing or says which instances there are. What can't be decoded reads as empty, and
/// writing then would lose what somebody may still mend.
bool isReadable(const InstanceStore& store);
/// A sentence about a file that is not.
std::string damaged(const InstanceStore& store);

/// Lets `edit` change the list, then writes it. Throws `tuv::Error` when the file is damaged, what `edit`
/// throws, and as `FileLock` and `InstanceStore::save` do; the file is as it was then.
void change(const HostPlaces& places, const std::function<void(std::vector<InstanceConfig>&)>& edit,
            const std::stop_token& stop);

}  // namespace orvik::host::InstanceFile
