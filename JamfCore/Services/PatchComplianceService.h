#pragma once

#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include "JamfCore/Models/Patch.h"
#include "JamfCore/Networking/APIClient.h"
#include "JamfCore/Services/ListRequest.h"

namespace jamf {

/// Software titles whose versions the server watches. All operations block, throw `APIError` and may be
/// called by any thread. Servers that lack version 3 of the paths are asked by version 2.
struct PatchComplianceService {
  std::shared_ptr<APIClient> client;

  /// All of them: the server knows no pages here.
  std::vector<PatchSoftwareTitleConfiguration> list(const std::stop_token& stop = {}) const;
  PatchSoftwareTitleConfiguration get(const std::string& id, const std::stop_token& stop = {}) const;
  PatchSummary summary(const std::string& id, const std::stop_token& stop = {}) const;
  /// One page of the computers that have the title.
  PatchReportPage report(const std::string& id, const ListRequest& request,
                         const std::stop_token& stop = {}) const;
};

}  // namespace jamf
