#pragma once

#include <array>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "JamfCore/Models/Device.h"
#include "JamfCore/Models/PolicyLogEntry.h"
#include "JamfCore/Networking/APIClient.h"
#include "JamfCore/Services/ListRequest.h"

namespace jamf {

/// The parts of a computer's record that can be asked for.
enum class DeviceSection {
  general,
  hardware,
  operatingSystem,
  userAndLocation,
  storage,
  security,
  purchasing,
  groupMemberships,
  localUserAccounts,
  certificates,
  applications,
  extensionAttributes
};

constexpr auto enumTexts(DeviceSection) {
  using namespace std::string_view_literals;
  using enum DeviceSection;
  return std::array{std::pair{general, "GENERAL"sv},
                    std::pair{hardware, "HARDWARE"sv},
                    std::pair{operatingSystem, "OPERATING_SYSTEM"sv},
                    std::pair{userAndLocation, "USER_AND_LOCATION"sv},
                    std::pair{storage, "STORAGE"sv},
                    std::pair{security, "SECURITY"sv},
                    std::pair{purchasing, "PURCHASING"sv},
                    std::pair{groupMemberships, "GROUP_MEMBERSHIPS"sv},
                    std::pair{localUserAccounts, "LOCAL_USER_ACCOUNTS"sv},
                    std::pair{certificates, "CERTIFICATES"sv},
                    std::pair{applications, "APPLICATIONS"sv},
                    std::pair{extensionAttributes, "EXTENSION_ATTRIBUTES"sv}};
}

/// A change of a computer; what is left out stays as it is.
struct GeneralUpdate {
  struct General {
    std::optional<std::string> name;
    std::optional<std::string> assetTag;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(field("name", &General::name), field("assetTag", &General::assetTag));
    }
    bool operator==(const General&) const = default;
  };

  General general;

  static constexpr auto fields() {
    return fieldList(platform::json::field("general", &GeneralUpdate::general));
  }
  bool operator==(const GeneralUpdate&) const = default;
};

/// Computers of the inventory. They are enrolled, never created here. All operations block, throw `APIError`
/// and may be called by any thread.
struct DeviceService {
  using Sections = std::vector<DeviceSection>;

  std::shared_ptr<APIClient> client;

  /// What a list holds unless more is asked for: it is quick for a server.
  static const Sections& listSections();
  /// All that a `Device` has room for.
  static const Sections& allSections();

  DevicePage list(const ListRequest& request, const Sections& sections = listSections(),
                  const std::stop_token& stop = {}) const;
  Device get(const std::string& id, const Sections& sections = allSections(),
             const std::stop_token& stop = {}) const;
  /// The computers with that serial number.
  std::vector<Device> search(const std::string& serialNumber, const std::stop_token& stop = {}) const;

  /// Changes name and asset tag and gives the computer as it is then. Needs version 4 of the inventory, which
  /// servers have since 11.30; others answer 404.
  Device updateGeneral(const std::string& id, const std::optional<std::string>& name,
                       const std::optional<std::string>& assetTag, const std::stop_token& stop = {}) const;
  /// Takes the computer out of the inventory. The computer itself notices nothing.
  void delete_(const std::string& id, const std::stop_token& stop = {}) const;

  /// The runs of policies that the computer reported.
  std::vector<PolicyLogEntry> policyLogs(const std::string& id, const std::stop_token& stop = {}) const;
};

}  // namespace jamf
