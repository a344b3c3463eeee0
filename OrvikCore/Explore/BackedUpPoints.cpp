#include "OrvikCore/Explore/BackedUpPoints.h"

#include <utility>

#include "TuvCore/Error.h"

namespace orvik {

std::vector<DistributionPoint> backedUpPoints(const BackupReader& reader) {
  std::vector<DistributionPoint> points;
  const auto index = reader.index("distributionPoints");
  if (!index) return points;
  for (const auto& item : index->items) {
    const auto record = item.objects.find("classic");
    if (record == item.objects.end()) continue;
    try {
      if (auto point = DistributionPoint::anonymousHTTP(reader.json(record->second)))
        points.push_back(*std::move(point));
    } catch (const tuv::Error&) {
      continue;
    }
  }
  return points;
}

}  // namespace orvik
