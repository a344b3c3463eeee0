#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "Platform/Bytes.h"
#include "Platform/JSON/Codable.h"

/// The bodies that the Classic API takes. It reads XML alone, UTF-8, and replaces every top-level member that
/// a body has; members that are left out stay as they are on the server.
namespace jamf {

namespace ClassicAPIXML {

/// The text with the five characters of XML's markup as entities: & < > " '.
std::string escape(std::string_view text);

/// The decimal number between the first `<id>` and the `</id>` behind it. Nothing for what is not UTF-8, a
/// missing tag and what is no 64-bit integer.
std::optional<std::int64_t> extractID(std::string_view bytes);

}  // namespace ClassicAPIXML

/// Whom a policy or a profile reaches, by ids. Decoded from JSON with every key optional.
struct ClassicAPIScopeWrite {
  bool allComputers = false;
  std::vector<std::int64_t> computerIds = {};
  std::vector<std::int64_t> computerGroupIds = {};
  std::vector<std::int64_t> buildingIds = {};
  std::vector<std::int64_t> departmentIds = {};

  /// `<scope>...</scope>`. An empty list is written as an empty element, which clears it on the server.
  std::string xmlElement() const;

  static ClassicAPIScopeWrite decode(platform::json::View view);

  bool operator==(const ClassicAPIScopeWrite&) const = default;
};

/// The general settings of a policy.
struct PolicyGeneralWrite {
  std::string name;
  bool enabled = false;
  bool triggerCheckin = false;
  bool triggerEnrollmentComplete = false;
  bool triggerLogin = false;
  bool triggerNetworkStateChanged = false;
  bool triggerStartup = false;
  std::optional<std::string> triggerOther = {};
  std::optional<std::string> frequency = {};
  std::optional<std::string> categoryName = {};

  /// `<policy>...</policy>`, without white space. Without a scope the server keeps the one it has.
  platform::Bytes xmlData(const std::optional<ClassicAPIScopeWrite>& scope) const;

  bool operator==(const PolicyGeneralWrite&) const = default;
};

/// The general settings of a macOS configuration profile. `payloads` is a property list, a document of its
/// own, and is escaped like any text.
struct ConfigurationProfileGeneralWrite {
  std::string name;
  std::optional<std::string> description = {};
  std::optional<std::string> distributionMethod = {};
  std::optional<bool> userRemovable = {};
  std::optional<std::string> level = {};
  std::optional<std::string> categoryName = {};
  std::optional<std::string> payloads = {};

  /// `<os_x_configuration_profile>...</os_x_configuration_profile>`, without white space. Without a scope the
  /// server keeps the one it has.
  platform::Bytes xmlData(const std::optional<ClassicAPIScopeWrite>& scope) const;

  bool operator==(const ConfigurationProfileGeneralWrite&) const = default;
};

}  // namespace jamf
