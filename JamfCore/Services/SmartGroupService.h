#pragma once

#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include "JamfCore/Models/ComputerGroups.h"
#include "JamfCore/Models/CreatedObject.h"
#include "JamfCore/Models/Page.h"
#include "JamfCore/Networking/APIClient.h"
#include "JamfCore/Services/ListRequest.h"

namespace jamf {

/// Smart computer groups. All operations block, throw `APIError` and may be called by any thread.
/// Servers that lack version 3 of the paths are asked by version 2.
struct SmartGroupService {
  std::shared_ptr<APIClient> client;

  Page<SmartGroupSummary> list(const ListRequest& request, const std::stop_token& stop = {}) const;
  SmartGroupDetail get(const std::string& id, const std::stop_token& stop = {}) const;
  CreatedObject create(const SmartGroupWriteBody& object, const std::stop_token& stop = {}) const;
  SmartGroupDetail update(const std::string& id, const SmartGroupWriteBody& object,
                          const std::stop_token& stop = {}) const;
  void delete_(const std::string& id, const std::stop_token& stop = {}) const;

  /// The ids of the computers that match the group's criteria.
  std::vector<std::int64_t> membership(const std::string& id, const std::stop_token& stop = {}) const;
};

}  // namespace jamf
