#pragma once

#include <memory>
#include <stop_token>
#include <string>

#include "JamfCore/Models/ComputerGroups.h"
#include "JamfCore/Models/CreatedObject.h"
#include "JamfCore/Models/Page.h"
#include "JamfCore/Networking/APIClient.h"
#include "JamfCore/Services/ListRequest.h"

namespace jamf {

/// Static computer groups. All operations block, throw `APIError` and may be called by any thread.
/// Servers that lack version 3 of the paths are asked by version 2.
struct StaticGroupService {
  std::shared_ptr<APIClient> client;

  Page<StaticGroupSummary> list(const ListRequest& request, const std::stop_token& stop = {}) const;
  StaticGroupDetail get(const std::string& id, const std::stop_token& stop = {}) const;
  CreatedObject create(const StaticGroupWriteBody& object, const std::stop_token& stop = {}) const;
  StaticGroupDetail update(const std::string& id, const StaticGroupWriteBody& object,
                           const std::stop_token& stop = {}) const;
  void delete_(const std::string& id, const std::stop_token& stop = {}) const;
};

}  // namespace jamf
