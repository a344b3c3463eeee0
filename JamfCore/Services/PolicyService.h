#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "JamfCore/Models/Policy.h"
#include "JamfCore/Networking/APIClient.h"
#include "JamfCore/Networking/ClassicAPIXML.h"

namespace jamf {

/// Policies, by the Classic API. All operations block, throw `APIError` and may be called by any thread.
/// General settings and scope can be written; what a policy does can't.
struct PolicyService {
  using Scope = std::optional<ClassicAPIScopeWrite>;

  std::shared_ptr<APIClient> client;

  std::vector<PolicySummary> list(const std::stop_token& stop = {}) const;
  /// Those of one category.
  std::vector<PolicySummary> list(const std::string& category, const std::stop_token& stop = {}) const;
  PolicyDetail get(std::int64_t id, const std::stop_token& stop = {}) const;
  PolicyDetail get(const std::string& name, const std::stop_token& stop = {}) const;

  /// The new object's id.
  std::int64_t create(const PolicyGeneralWrite& general, const Scope& scope,
                      const std::stop_token& stop = {}) const;
  /// Replaces the general settings, and the scope when there is one.
  void updateGeneral(std::int64_t id, const PolicyGeneralWrite& general, const Scope& scope,
                     const std::stop_token& stop = {}) const;
  void delete_(std::int64_t id, const std::stop_token& stop = {}) const;
};

}  // namespace jamf
