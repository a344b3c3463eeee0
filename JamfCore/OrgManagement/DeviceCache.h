#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "JamfCore/Models/Device.h"
#include "JamfCore/Persistence/ModelContext.h"
#include "Platform/Date.h"
#include "Platform/UUID.h"

namespace jamf {

/// An organization's devices as they were when they were last read: enough to list and find them without
/// the server.
///
/// For the thread of its context. Operations throw `platform::DatabaseError`.
class DeviceCache {
 public:
  explicit DeviceCache(std::shared_ptr<ModelContext> modelContext) : modelContext_(std::move(modelContext)) {}

  /// In the order in which they were stored, each with the name, serial number, make, model, version of the
  /// system, addresses and dates that were known; other fields are empty.
  std::vector<Device> cachedDevices(const platform::UUID& orgID) const;

  /// When devices were last stored; nothing when there are none.
  std::optional<platform::Date> lastSyncedAt(const platform::UUID& orgID) const;

  /// Replaces all of the organization's devices, in one step. Of two with one ID the last counts. Devices
  /// of an organization that is not in the database are refused.
  void store(const std::vector<Device>& devices, const platform::UUID& orgID) const;

 private:
  const std::shared_ptr<ModelContext> modelContext_;
};

}  // namespace jamf
