#pragma once

#include <vector>

#include "OrvikCore/Explore/BackupReader.h"
#include "OrvikCore/Jamf/DistributionPoint.h"

namespace orvik {

/// The shares of a backup that hand packages out to anybody, in the order of their section: where
/// `PackageDownload` may ask for what the backup doesn't hold. A record that can't be read is left out.
std::vector<DistributionPoint> backedUpPoints(const BackupReader& reader);

}  // namespace orvik
