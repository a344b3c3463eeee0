#include "OrvikCore/Engine/DeviceSpec.h"

#include <fmt/format.h>

namespace orvik {

namespace {

DeviceSpec computers() {
  return {"api/v1/computers-inventory",
          {{"section", "GENERAL"}, {"sort", "id:asc"}},
          std::nullopt,
          {{"id"}},
          {{"general", "name"}},
          {{"general", "reportDate"}, {"general", "lastReportedDate"}},
          [](const std::string& id) { return fmt::format("api/v1/computers-inventory-detail/{}", id); },
          [](const std::string& id) { return fmt::format("JSSResource/computers/id/{}", id); }};
}

DeviceSpec mobileDevices() {
  return {"api/v2/mobile-devices/detail",
          {{"section", "GENERAL"}},
          "api/v2/mobile-devices",
          {{"mobileDeviceId"}, {"id"}},
          {{"general", "displayName"}, {"name"}},
          {{"general", "lastInventoryUpdateDate"}, {"general", "lastInventoryUpdateTimestamp"}},
          [](const std::string& id) { return fmt::format("api/v2/mobile-devices/{}/detail", id); },
          [](const std::string& id) { return fmt::format("JSSResource/mobiledevices/id/{}", id); }};
}

}  // namespace

DeviceSpec DeviceSpec::spec(SectionDefinition::DeviceKind kind) {
  return kind == SectionDefinition::DeviceKind::computers ? computers() : mobileDevices();
}

}  // namespace orvik
