#pragma once

#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include "JamfCore/Models/Page.h"
#include "JamfCore/Models/Script.h"
#include "JamfCore/Networking/APIClient.h"
#include "JamfCore/Services/ListRequest.h"

namespace jamf {

/// Scripts. All operations block, throw `APIError` and may be called by any thread.
struct ScriptService {
  std::shared_ptr<APIClient> client;

  Page<Script> list(const ListRequest& request, const std::stop_token& stop = {}) const;
  Script get(const std::string& id, const std::stop_token& stop = {}) const;
  Script create(const Script& object, const std::stop_token& stop = {}) const;
  Script update(const std::string& id, const Script& object, const std::stop_token& stop = {}) const;
  void delete_(const std::string& id, const std::stop_token& stop = {}) const;

  /// The objects whose name the server takes for equal, the first hundred. It compares without case.
  std::vector<Script> search(const std::string& name, const std::stop_token& stop = {}) const;
};

}  // namespace jamf
