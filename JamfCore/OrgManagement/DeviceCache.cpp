#include "JamfCore/OrgManagement/DeviceCache.h"

#include <utility>

#include "JamfCore/Persistence/Records.h"

namespace jamf {

namespace {

CachedDevice recordOf(const Device& device, const platform::UUID& orgID, platform::Date now) {
  CachedDevice record;
  record.cacheKey = orgID.text() + "." + device.id;
  record.orgID = orgID;
  record.deviceID = device.id;
  record.cachedAt = now;
  if (const auto& general = device.general) {
    record.name = general->name.value_or("");
    record.lastIpAddress = general->lastIpAddress.optional();
    record.lastContactTime = general->lastContactTime.optional();
    record.reportDate = general->reportDate.optional();
    record.platform = general->platform.optional();
    record.assetTag = general->assetTag.optional();
  }
  if (const auto& hardware = device.hardware) {
    record.serialNumber = hardware->serialNumber.optional();
    record.make = hardware->make.optional();
    record.model = hardware->model.optional();
  }
  if (const auto& system = device.operatingSystem) record.osVersion = system->version.optional();
  return record;
}

Device deviceOf(CachedDevice&& record) {
  Device device;
  device.id = std::move(record.deviceID);
  auto& general = device.general.emplace();
  if (!record.name.empty()) general.name = std::move(record.name);
  general.lastIpAddress = std::move(record.lastIpAddress);
  general.lastContactTime = std::move(record.lastContactTime);
  general.reportDate = std::move(record.reportDate);
  general.platform = std::move(record.platform);
  general.assetTag = std::move(record.assetTag);
  if (record.serialNumber || record.make || record.model) {
    auto& hardware = device.hardware.emplace();
    hardware.serialNumber = std::move(record.serialNumber);
    hardware.make = std::move(record.make);
    hardware.model = std::move(record.model);
  }
  if (record.osVersion) device.operatingSystem.emplace().version = std::move(record.osVersion);
  return device;
}

}  // namespace

std::vector<Device> DeviceCache::cachedDevices(const platform::UUID& orgID) const {
  std::vector<Device> devices;
  modelContext_->forEach<CachedDevice>(
      orgID, [&](CachedDevice&& record) { devices.push_back(deviceOf(std::move(record))); });
  return devices;
}

std::optional<platform::Date> DeviceCache::lastSyncedAt(const platform::UUID& orgID) const {
  return modelContext_->latest<CachedDevice>("cachedAt", orgID);
}

void DeviceCache::store(const std::vector<Device>& devices, const platform::UUID& orgID) const {
  const auto now = platform::now();
  modelContext_->save([&](ModelChanges& changes) {
    changes.removeAll<CachedDevice>(orgID);
    for (const auto& device : devices) changes.put(recordOf(device, orgID, now));
  });
}

}  // namespace jamf
