#pragma once

#include <filesystem>
#include <vector>

#include "Platform/Files/Abilities.h"
#include "orvik/Backup/BackupSession.h"
#include "orvik/Doctor/Check.h"
#include "orvik/HostPlaces.h"

namespace orvik::host {

/// Looks at the folder of all instances, at that of the server in it, and at what their file system can do,
/// which is tried in a folder of a hidden name that is removed again; where `root` is missing, in the nearest
/// folder above it. What a backup can't do without is a check that failed. Changes nothing else.
std::vector<Check> examineFolder(const std::filesystem::path& root, const ChosenServer& server,
                                 const HostPlaces& places);

/// What to make of a file system: a check for each ability that was tried.
std::vector<Check> abilityChecks(const platform::files::Abilities& abilities);

}  // namespace orvik::host
