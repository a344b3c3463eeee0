#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "JamfCore/Models/ConfigurationProfile.h"
#include "JamfCore/Networking/APIClient.h"
#include "JamfCore/Networking/ClassicAPIXML.h"

namespace jamf {

/// macOS configuration profiles, by the Classic API. All operations block, throw `APIError` and may be called
/// by any thread. A payload is escaped once on its way; servers have been seen to decode `&amp;` in it twice.
struct ConfigurationProfileService {
  using Scope = std::optional<ClassicAPIScopeWrite>;

  std::shared_ptr<APIClient> client;

  std::vector<ConfigurationProfileSummary> list(const std::stop_token& stop = {}) const;
  ConfigurationProfileDetail get(std::int64_t id, const std::stop_token& stop = {}) const;
  ConfigurationProfileDetail get(const std::string& name, const std::stop_token& stop = {}) const;

  /// The new object's id.
  std::int64_t create(const ConfigurationProfileGeneralWrite& general, const Scope& scope,
                      const std::stop_token& stop = {}) const;
  /// Replaces the general settings, and the scope when there is one.
  void updateGeneral(std::int64_t id, const ConfigurationProfileGeneralWrite& general, const Scope& scope,
                     const std::stop_token& stop = {}) const;
  void delete_(std::int64_t id, const std::stop_token& stop = {}) const;
};

}  // namespace jamf
