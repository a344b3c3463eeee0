#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/JSON/Codable.h"

namespace jamf {

/// The definition of a value that an organisation adds to the inventory of computers.
/// The kinds are texts, since servers of later releases know more of them.
struct ComputerExtensionAttribute {
  std::string id;  ///< empty for one that is to be created
  std::string name;
  std::optional<std::string> description;
  std::string dataType;  ///< STRING, INTEGER or DATE
  bool enabled = false;
  std::string inventoryDisplayType;  ///< GENERAL, HARDWARE, OPERATING_SYSTEM, USER_AND_LOCATION, ...
  std::string inputType;             ///< SCRIPT, TEXT, POPUP or DIRECTORY_SERVICE_ATTRIBUTE_MAPPING
  std::optional<std::string> scriptContents;
  std::optional<std::vector<std::string>> popupMenuChoices;
  std::optional<std::string> ldapAttributeMapping;
  std::optional<bool> ldapExtensionAttributeAllowed;
  std::optional<std::string> manageExistingData;  ///< RETAIN or DELETE, for writing alone

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(
        field("id", &ComputerExtensionAttribute::id), field("name", &ComputerExtensionAttribute::name),
        field("description", &ComputerExtensionAttribute::description),
        field("dataType", &ComputerExtensionAttribute::dataType),
        field("enabled", &ComputerExtensionAttribute::enabled),
        field("inventoryDisplayType", &ComputerExtensionAttribute::inventoryDisplayType),
        field("inputType", &ComputerExtensionAttribute::inputType),
        field("scriptContents", &ComputerExtensionAttribute::scriptContents),
        field("popupMenuChoices", &ComputerExtensionAttribute::popupMenuChoices),
        field("ldapAttributeMapping", &ComputerExtensionAttribute::ldapAttributeMapping),
        field("ldapExtensionAttributeAllowed", &ComputerExtensionAttribute::ldapExtensionAttributeAllowed),
        field("manageExistingData", &ComputerExtensionAttribute::manageExistingData));
  }
  bool operator==(const ComputerExtensionAttribute&) const = default;
};

}  // namespace jamf
