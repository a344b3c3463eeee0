#pragma once

#include <filesystem>
#include <memory>

#include "managedconfig/ManagedConfigSource.h"

namespace orvik::host {

/// Where this program keeps what it knows beside the backups, and where settings come from. A plain value
/// whose parts any thread may use.
struct HostPlaces {
  std::filesystem::path data;  ///< the user's data folder; not made
  std::shared_ptr<tuv::MDMPreferencesSource> managed;
  platform::preferences::UserPreferences user;

  /// Those of this user on this machine.
  static HostPlaces own();
};

}  // namespace orvik::host
