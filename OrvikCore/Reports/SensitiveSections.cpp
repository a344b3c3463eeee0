#include "OrvikCore/Reports/SensitiveSections.h"

#include <algorithm>
#include <array>
#include <utility>

namespace orvik {

namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 18> sensitiveSections{{
    {"scripts", "Script bodies are stored verbatim; scripts sometimes contain passwords or API keys."},
    {"computerExtensionAttributes", "EA scripts are stored verbatim and may contain credentials."},
    {"policies", "Policies can contain run-commands and script parameters with credentials."},
    {"accounts", "Jamf Pro user accounts and their privileges."},
    {"apiIntegrations", "API client names and roles (Jamf Pro never returns client secrets)."},
    {"ldapServers", "Directory server hostnames and bind accounts."},
    {"distributionPoints",
     "File share hostnames, accounts and password hashes as returned by the Classic API."},
    {"smtpServer", "SMTP server and account."},
    {"webhooks", "Webhook targets, possibly with authentication details."},
    {"directoryBindings", "Directory binding accounts."},
    {"computers", "Device inventory: serial numbers, users, e-mail addresses, IP addresses (personal data)."},
    {"mobileDevices", "Device inventory: serial numbers, users, e-mail addresses (personal data)."},
    {"users", "User names, e-mail addresses and phone numbers (personal data)."},
    {"localAdminPasswordSettings", "LAPS settings (no passwords are read)."},
    {"computerConfigurationProfiles",
     "Profile payloads, which can contain certificates, Wi-Fi or VPN secrets."},
    {"mobileConfigurationProfiles",
     "Profile payloads, which can contain certificates, Wi-Fi or VPN secrets."},
    {"cloudIdentityProviders", "Identity provider configuration."},
    {"ssoSettings", "Single sign-on configuration."},
}};

}  // namespace

std::string_view sensitivityOf(std::string_view sectionID) {
  const auto* const found =
      std::ranges::find(sensitiveSections, sectionID, &decltype(sensitiveSections)::value_type::first);
  return found == sensitiveSections.end() ? std::string_view() : found->second;
}

}  // namespace orvik
