#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "JamfCore/Networking/JamfRequesting.h"
#include "OrvikCore/Jamf/JSONTree.h"
#include "OrvikCore/Jamf/SectionCatalog.h"

namespace orvik {

/// Where a kind of device is listed, and where its records are. All paths are raw text.
struct DeviceSpec {
  std::string list;                         ///< the paged list
  std::vector<jamf::QueryItem> listQuery;   ///< beside page and size
  std::optional<std::string> fallbackList;  ///< asked when `list` is not found, without `listQuery`
  // Where an element of the list holds what is needed; the first that leads to something counts.
  std::vector<JSONTree::KeyPath> idPaths;
  std::vector<JSONTree::KeyPath> namePaths;
  std::vector<JSONTree::KeyPath> markerPaths;  ///< the date of its last inventory, compared as text
  std::function<std::string(const std::string& id)> detail;   ///< path of the Pro record
  std::function<std::string(const std::string& id)> classic;  ///< path of the Classic record

  static DeviceSpec spec(SectionDefinition::DeviceKind kind);
};

}  // namespace orvik
