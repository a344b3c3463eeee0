#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "OrvikCore/Format/InstanceDescriptor.h"
#include "Platform/HTTP/URL.h"
#include "Platform/JSON/Codable.h"
#include "Platform/SecretString.h"
#include "Platform/UUID.h"

namespace orvik {

/// A server to back up, as a person or an administrator entered it. A plain value.
struct InstanceConfig {
  platform::UUID id;
  std::string name;  ///< for display
  std::string url;   ///< as entered
  std::string clientID;
  std::optional<std::string> fileShareMountPath;  ///< local mount of a file share
  /// The client secret that the organisation forces, sealed as a rule; null for an instance of the user's
  /// own. Never written down; shared by copies.
  std::shared_ptr<const platform::SecretString> managedSecret = nullptr;

  /// The server's URL: white space around it and slashes behind it are dropped, and "https://" is put in
  /// front unless the text begins with "http" in any case. Nothing when that is no URL with a host.
  static std::optional<platform::URL> normalizedURL(std::string_view url);
  std::optional<platform::URL> normalizedURL() const { return normalizedURL(url); }

  /// Who backups of this instance say they are of. A URL that can't be normalized stays as it was entered.
  InstanceDescriptor descriptor() const;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("id", &InstanceConfig::id), field("name", &InstanceConfig::name),
                     field("url", &InstanceConfig::url), field("clientID", &InstanceConfig::clientID),
                     field("fileShareMountPath", &InstanceConfig::fileShareMountPath));
  }
  bool operator==(const InstanceConfig&) const = default;
};

}  // namespace orvik
