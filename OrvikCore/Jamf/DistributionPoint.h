#pragma once

#include <optional>
#include <string>

#include "OrvikCore/Jamf/JSONTree.h"

namespace orvik {

/// A file share that hands packages out over HTTP to anybody. This program holds no credentials for shares,
/// so no other kind is a source.
struct DistributionPoint {
  std::string name;
  std::string base;  ///< URL without user, query and slashes at its end; packages lie in "Packages/" below it

  /// From the Classic record of a distribution point. Nothing for one that wants credentials, doesn't serve
  /// HTTP, or states no address that can be asked.
  static std::optional<DistributionPoint> anonymousHTTP(const JSONTree& record);

  /// Where a package lies, given its raw file name.
  std::string packageURL(const std::string& fileName) const;

  bool operator==(const DistributionPoint&) const = default;
};

}  // namespace orvik
