#include "JamfCore/OrgManagement/DeviceCache.h"

#include <string_view>
#include <unordered_map>
#include <utility>

#include "JamfCore/Persistence/Records.h"

namespace jamf {

namespace {

using platform::Boxed;

/// In place, so that a fleet is written with the memory of one record.
void set(std::optional<std::string>& text, const Boxed<std::string>& value) {
  if (value)
    text ? text->assign(*value) : text.emplace(*value);
  else
    text.reset();
}

/// All but the key, and what is the same for the whole fleet.
void fill(CachedDevice& record, const Device& device) {
  static const Device::General noGeneral;
  static const Device::Hardware noHardware;
  static const Device::OperatingSystem noSystem;
  const auto& general = device.general ? *device.general : noGeneral;
  const auto& hardware = device.hardware ? *device.hardware : noHardware;
  const auto& system = device.operatingSystem ? *device.operatingSystem : noSystem;
  record.deviceID = device.id;
  record.name = general.name ? *general.name : std::string();
  set(record.serialNumber, hardware.serialNumber);
  set(record.make, hardware.make);
  set(record.model, hardware.model);
  set(record.osVersion, system.version);
  set(record.lastIpAddress, general.lastIpAddress);
  set(record.lastContactTime, general.lastContactTime);
  set(record.reportDate, general.reportDate);
  set(record.platform, general.platform);
  set(record.assetTag, general.assetTag);
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
  std::unordered_map<std::string_view, const Device*> last(devices.size());
  for (const auto& device : devices) last[device.id] = &device;
  const auto keyFront = orgID.text() + ".";
  CachedDevice record;
  record.orgID = orgID;
  record.cachedAt = platform::now();
  modelContext_->save([&](ModelChanges& changes) {
    changes.removeAll<CachedDevice>(orgID);
    for (const auto& device : devices) {
      if (last[device.id] != &device) continue;
      record.cacheKey.assign(keyFront).append(device.id);
      fill(record, device);
      changes.insert(record);
    }
  });
}

}  // namespace jamf
