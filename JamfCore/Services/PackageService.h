#pragma once

#include <filesystem>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include "JamfCore/Models/Package.h"
#include "JamfCore/Models/Page.h"
#include "JamfCore/Networking/APIClient.h"
#include "JamfCore/Services/ListRequest.h"

namespace jamf {

/// What the server knows of packages, and their files. All operations block, throw `APIError` and may be
/// called by any thread.
struct PackageService {
  std::shared_ptr<APIClient> client;

  Page<Package> list(const ListRequest& request, const std::stop_token& stop = {}) const;
  Package get(const std::string& id, const std::stop_token& stop = {}) const;
  Package create(const Package& object, const std::stop_token& stop = {}) const;
  Package update(const std::string& id, const Package& object, const std::stop_token& stop = {}) const;
  void delete_(const std::string& id, const std::stop_token& stop = {}) const;

  /// The objects whose name the server takes for equal, the first hundred. It compares without case.
  std::vector<Package> search(const std::string& name, const std::stop_token& stop = {}) const;

  /// Sends a file as the package's own. It is streamed from the disk, and nothing is repeated. `onProgress`
  /// gets a share between 0 and 1, on another thread. Throws `platform::files::FileError` too.
  void upload(const std::string& id, const std::filesystem::path& fileURL,
              const APIClient::OnProgress& onProgress = {}, const std::stop_token& stop = {}) const;
};

}  // namespace jamf
