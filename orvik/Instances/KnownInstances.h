#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Config/InstanceConfig.h"
#include "orvik/HostPlaces.h"

namespace orvik::host {

/// The servers that this user registered and those that the organisation forces, as they are when this is
/// made. An instance is managed when it has a managed secret. Immutable.
class KnownInstances {
 public:
  explicit KnownInstances(const HostPlaces& places);

  /// Managed ones first, then the user's own; a user's one that has the ID of a managed one is left out.
  const std::vector<InstanceConfig>& all() const { return instances_; }
  /// What is wrong with the managed ones, and with a file that can't be read.
  const std::vector<std::string>& warnings() const { return warnings_; }

  /// The one of this name, in any case, or else with this ID or folder name. Throws `NotFoundError` that
  /// lists what there is, and `UsageError` when several match.
  const InstanceConfig& named(std::string_view name) const;

  static bool isManaged(const InstanceConfig& instance) { return instance.managedSecret != nullptr; }

 private:
  void add(InstanceConfig instance);

  std::vector<InstanceConfig> instances_;
  std::vector<std::string> warnings_;
};

}  // namespace orvik::host
