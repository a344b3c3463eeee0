#pragma once

#include <vector>

#include "OrvikCore/Care/Finding.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Date.h"

namespace orvik {

/// Looks at "instance.json", "encryption.json" and "backup.lock". `hasKey`: content that is sealed can be
/// opened.
std::vector<Finding> examineRecords(const BackupRepository& repository, bool hasKey, platform::Date now);

}  // namespace orvik
