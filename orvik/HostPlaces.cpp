#include "orvik/HostPlaces.h"

#include "TuvCore/AppIdentity.h"

namespace orvik::host {

HostPlaces HostPlaces::own() {
  const auto& identity = tuv::AppIdentity::own();
  return {identity.userSupportDirectory(), std::make_shared<tuv::MDMPreferencesSource>(identity.bundleID),
          platform::preferences::UserPreferences(identity.bundleID)};
}

}  // namespace orvik::host
