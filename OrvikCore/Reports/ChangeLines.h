#pragma once

#include <optional>
#include <string>
#include <vector>

#include "OrvikCore/Explore/BackupReader.h"

namespace orvik::reportBlocks {

/// What differs between two versions of an object, some lines of "Path: old → new". Long values show the
/// piece where they begin to differ. Says so when the versions can't be compared or differ in nothing that
/// counts. `before` is missing when the earlier version isn't known.
std::vector<std::string> changeLines(const BackupReader& reader, const std::optional<IndexItem>& before,
                                     const IndexItem& now);

}  // namespace orvik::reportBlocks
