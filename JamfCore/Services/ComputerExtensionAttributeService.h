#pragma once

#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include "JamfCore/Models/ComputerExtensionAttribute.h"
#include "JamfCore/Models/Page.h"
#include "JamfCore/Networking/APIClient.h"
#include "JamfCore/Services/ListRequest.h"

namespace jamf {

/// Definitions of extension attributes of computers. All operations block, throw `APIError` and may be called
/// by any thread.
struct ComputerExtensionAttributeService {
  std::shared_ptr<APIClient> client;

  Page<ComputerExtensionAttribute> list(const ListRequest& request, const std::stop_token& stop = {}) const;
  ComputerExtensionAttribute get(const std::string& id, const std::stop_token& stop = {}) const;
  ComputerExtensionAttribute create(const ComputerExtensionAttribute& object,
                                    const std::stop_token& stop = {}) const;
  ComputerExtensionAttribute update(const std::string& id, const ComputerExtensionAttribute& object,
                                    const std::stop_token& stop = {}) const;
  void delete_(const std::string& id, const std::stop_token& stop = {}) const;

  /// The objects whose name the server takes for equal, the first hundred. It compares without case.
  std::vector<ComputerExtensionAttribute> search(const std::string& name,
                                                 const std::stop_token& stop = {}) const;
};

}  // namespace jamf
