#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "JamfCore/Models/ComputerExtensionAttribute.h"
#include "JamfCore/Models/ComputerGroups.h"
#include "JamfCore/Models/Package.h"
#include "JamfCore/Models/Script.h"
#include "JamfCore/Networking/ClassicAPIXML.h"
#include "Platform/JSON/Codable.h"

namespace platform::yaml {
class Emitter;
class Place;
}  // namespace platform::yaml

/// What a playbook declares: one object of a server each. Optional fields are keys that may be left out; what
/// a missing key means stands beside it, or is the server's default.
namespace jamf {

/// Whether an object is to exist.
enum class PlaybookResourceState { present, absent };

constexpr auto enumTexts(PlaybookResourceState) {
  using namespace std::string_view_literals;
  return std::array{std::pair{PlaybookResourceState::present, "present"sv},
                    std::pair{PlaybookResourceState::absent, "absent"sv}};
}

/// What kind of values an extension attribute has.
enum class AttributeDataType { string, integer, date };

constexpr auto enumTexts(AttributeDataType) {
  using namespace std::string_view_literals;
  return std::array{std::pair{AttributeDataType::string, "STRING"sv},
                    std::pair{AttributeDataType::integer, "INTEGER"sv},
                    std::pair{AttributeDataType::date, "DATE"sv}};
}

/// Where the inventory shows an extension attribute.
enum class AttributeDisplay {
  general,
  hardware,
  operatingSystem,
  userAndLocation,
  purchasing,
  extensionAttributes
};

constexpr auto enumTexts(AttributeDisplay) {
  using namespace std::string_view_literals;
  using enum AttributeDisplay;
  return std::array{std::pair{general, "GENERAL"sv},
                    std::pair{hardware, "HARDWARE"sv},
                    std::pair{operatingSystem, "OPERATING_SYSTEM"sv},
                    std::pair{userAndLocation, "USER_AND_LOCATION"sv},
                    std::pair{purchasing, "PURCHASING"sv},
                    std::pair{extensionAttributes, "EXTENSION_ATTRIBUTES"sv}};
}

/// Where an extension attribute's values come from.
enum class AttributeInput { script, text, popup, directoryServiceAttributeMapping };

constexpr auto enumTexts(AttributeInput) {
  using namespace std::string_view_literals;
  using enum AttributeInput;
  return std::array{std::pair{script, "SCRIPT"sv}, std::pair{text, "TEXT"sv}, std::pair{popup, "POPUP"sv},
                    std::pair{directoryServiceAttributeMapping, "DIRECTORY_SERVICE_ATTRIBUTE_MAPPING"sv}};
}

/// One condition of a smart group; its priority is its place in the list.
struct PlaybookSmartGroupCriterion {
  std::string field;       ///< the server's name of the criterion, "Operating System Version"
  std::string searchType;  ///< the server's operator
  std::string value;
  std::optional<AndOr> andOr = {};  ///< left out: and
  std::optional<bool> openingParen = {};
  std::optional<bool> closingParen = {};

  static constexpr auto fields() {
    return fieldList(platform::json::field("field", &PlaybookSmartGroupCriterion::field),
                     platform::json::field("searchType", &PlaybookSmartGroupCriterion::searchType),
                     platform::json::field("value", &PlaybookSmartGroupCriterion::value),
                     platform::json::field("andOr", &PlaybookSmartGroupCriterion::andOr),
                     platform::json::field("openingParen", &PlaybookSmartGroupCriterion::openingParen),
                     platform::json::field("closingParen", &PlaybookSmartGroupCriterion::closingParen));
  }
  bool operator==(const PlaybookSmartGroupCriterion&) const = default;
};

/// A smart computer group.
struct PlaybookSmartGroup {
  std::string name;
  std::optional<std::string> description = {};
  std::optional<std::vector<PlaybookSmartGroupCriterion>> criteria = {};  ///< left out: none
  std::optional<PlaybookResourceState> state = {};                        ///< left out: present

  /// The conditions as the server has them.
  std::vector<SmartGroupCriterion> resolvedCriteria() const;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(
        field("name", &PlaybookSmartGroup::name), field("description", &PlaybookSmartGroup::description),
        field("criteria", &PlaybookSmartGroup::criteria), field("state", &PlaybookSmartGroup::state));
  }
  bool operator==(const PlaybookSmartGroup&) const = default;
};

/// The general settings of a policy. Its scope and its work are not declared.
struct PlaybookPolicy {
  std::string name;
  std::optional<bool> enabled = {};                     ///< left out: false
  std::optional<std::string> trigger = {};              ///< one trigger in the older way, see `toWrite`
  std::optional<bool> triggerCheckin = {};              ///< left out: false
  std::optional<bool> triggerEnrollmentComplete = {};   ///< left out: false
  std::optional<bool> triggerLogin = {};                ///< left out: false
  std::optional<bool> triggerNetworkStateChanged = {};  ///< left out: false
  std::optional<bool> triggerStartup = {};              ///< left out: false
  std::optional<std::string> triggerOther = {};
  std::optional<std::string> frequency = {};
  std::optional<std::string> categoryName = {};
  std::optional<PlaybookResourceState> state = {};  ///< left out: present

  /// What is written. `trigger` counts only where no other trigger is declared: CHECKIN, ENROLLMENT_COMPLETE,
  /// LOGIN, NETWORK_STATE_CHANGED and STARTUP, in any case of letters, are the trigger of that name; every
  /// other text is the custom trigger.
  PolicyGeneralWrite toWrite() const;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(
        field("name", &PlaybookPolicy::name), field("enabled", &PlaybookPolicy::enabled),
        field("trigger", &PlaybookPolicy::trigger), field("triggerCheckin", &PlaybookPolicy::triggerCheckin),
        field("triggerEnrollmentComplete", &PlaybookPolicy::triggerEnrollmentComplete),
        field("triggerLogin", &PlaybookPolicy::triggerLogin),
        field("triggerNetworkStateChanged", &PlaybookPolicy::triggerNetworkStateChanged),
        field("triggerStartup", &PlaybookPolicy::triggerStartup),
        field("triggerOther", &PlaybookPolicy::triggerOther), field("frequency", &PlaybookPolicy::frequency),
        field("categoryName", &PlaybookPolicy::categoryName), field("state", &PlaybookPolicy::state));
  }
  bool operator==(const PlaybookPolicy&) const = default;
};

/// A script.
struct PlaybookScript {
  std::string name;
  std::optional<std::string> info = {};
  std::optional<std::string> notes = {};
  std::optional<ScriptPriority> priority = {};
  std::optional<std::string> categoryName = {};
  std::optional<std::string> osRequirements = {};
  std::optional<std::string> scriptContents = {};
  std::optional<PlaybookResourceState> state = {};  ///< left out: present

  /// What is written, without an id, a category's id and parameters.
  Script toScript() const;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("name", &PlaybookScript::name), field("info", &PlaybookScript::info),
                     field("notes", &PlaybookScript::notes), field("priority", &PlaybookScript::priority),
                     field("categoryName", &PlaybookScript::categoryName),
                     field("osRequirements", &PlaybookScript::osRequirements),
                     field("scriptContents", &PlaybookScript::scriptContents),
                     field("state", &PlaybookScript::state));
  }
  bool operator==(const PlaybookScript&) const = default;
};

/// The general settings of a macOS configuration profile. Its scope is not declared.
struct PlaybookConfigurationProfile {
  std::string name;
  std::optional<std::string> description = {};
  std::optional<std::string> distributionMethod = {};
  std::optional<bool> userRemovable = {};
  std::optional<std::string> level = {};
  std::optional<std::string> categoryName = {};
  std::optional<std::string> payloads = {};         ///< the whole property list
  std::optional<PlaybookResourceState> state = {};  ///< left out: present

  ConfigurationProfileGeneralWrite toWrite() const;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("name", &PlaybookConfigurationProfile::name),
                     field("description", &PlaybookConfigurationProfile::description),
                     field("distributionMethod", &PlaybookConfigurationProfile::distributionMethod),
                     field("userRemovable", &PlaybookConfigurationProfile::userRemovable),
                     field("level", &PlaybookConfigurationProfile::level),
                     field("categoryName", &PlaybookConfigurationProfile::categoryName),
                     field("payloads", &PlaybookConfigurationProfile::payloads),
                     field("state", &PlaybookConfigurationProfile::state));
  }
  bool operator==(const PlaybookConfigurationProfile&) const = default;
};

/// The definition of an extension attribute of computers.
struct PlaybookComputerExtensionAttribute {
  std::string name;
  std::optional<std::string> description = {};
  std::optional<AttributeDataType> dataType = {};             ///< left out: STRING
  std::optional<bool> enabled = {};                           ///< left out: true
  std::optional<AttributeDisplay> inventoryDisplayType = {};  ///< left out: GENERAL
  std::optional<AttributeInput> inputType = {};               ///< left out: TEXT
  std::optional<std::string> scriptContents = {};
  std::optional<std::vector<std::string>> popupMenuChoices = {};
  std::optional<std::string> ldapAttributeMapping = {};
  std::optional<PlaybookResourceState> state = {};  ///< left out: present

  /// What is written, without an id.
  ComputerExtensionAttribute toAttribute() const;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("name", &PlaybookComputerExtensionAttribute::name),
                     field("description", &PlaybookComputerExtensionAttribute::description),
                     field("dataType", &PlaybookComputerExtensionAttribute::dataType),
                     field("enabled", &PlaybookComputerExtensionAttribute::enabled),
                     field("inventoryDisplayType", &PlaybookComputerExtensionAttribute::inventoryDisplayType),
                     field("inputType", &PlaybookComputerExtensionAttribute::inputType),
                     field("scriptContents", &PlaybookComputerExtensionAttribute::scriptContents),
                     field("popupMenuChoices", &PlaybookComputerExtensionAttribute::popupMenuChoices),
                     field("ldapAttributeMapping", &PlaybookComputerExtensionAttribute::ldapAttributeMapping),
                     field("state", &PlaybookComputerExtensionAttribute::state));
  }
  bool operator==(const PlaybookComputerExtensionAttribute&) const = default;
};

/// What a server knows of a package. Its file is not declared.
struct PlaybookPackage {
  std::string name;
  std::string fileName;
  std::int64_t priority = 0;
  std::optional<std::string> categoryName = {};
  std::optional<std::string> info = {};
  std::optional<std::string> notes = {};
  std::optional<std::string> osRequirements = {};
  std::optional<bool> fillUserTemplate = {};  ///< left out: false, like the other flags
  std::optional<bool> rebootRequired = {};
  std::optional<bool> osInstall = {};
  std::optional<bool> suppressUpdates = {};
  std::optional<bool> suppressFromDock = {};
  std::optional<bool> suppressEula = {};
  std::optional<bool> suppressRegistration = {};
  std::optional<PlaybookResourceState> state = {};  ///< left out: present

  /// What is written, without an id; "-1" is no category.
  Package toPackage(const std::string& categoryId) const;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("name", &PlaybookPackage::name), field("fileName", &PlaybookPackage::fileName),
                     field("priority", &PlaybookPackage::priority),
                     field("categoryName", &PlaybookPackage::categoryName),
                     field("info", &PlaybookPackage::info), field("notes", &PlaybookPackage::notes),
                     field("osRequirements", &PlaybookPackage::osRequirements),
                     field("fillUserTemplate", &PlaybookPackage::fillUserTemplate),
                     field("rebootRequired", &PlaybookPackage::rebootRequired),
                     field("osInstall", &PlaybookPackage::osInstall),
                     field("suppressUpdates", &PlaybookPackage::suppressUpdates),
                     field("suppressFromDock", &PlaybookPackage::suppressFromDock),
                     field("suppressEula", &PlaybookPackage::suppressEula),
                     field("suppressRegistration", &PlaybookPackage::suppressRegistration),
                     field("state", &PlaybookPackage::state));
  }
  bool operator==(const PlaybookPackage&) const = default;
};

/// One entry of a playbook. In YAML it is one mapping: `type` says which record the other keys make, and is
/// written first.
struct PlaybookResource {
  using Record =
      std::variant<PlaybookSmartGroup, PlaybookPolicy, PlaybookScript, PlaybookConfigurationProfile,
                   PlaybookComputerExtensionAttribute, PlaybookPackage>;

  Record record;

  const std::string& name() const;
  PlaybookResourceState state() const;
  /// As the `type` key says it: "smartGroup".
  std::string_view type() const;
  /// As people read it: "Smart Group".
  std::string_view typeLabel() const;

  void encode(platform::yaml::Emitter& emitter) const;
  static PlaybookResource decode(const platform::yaml::Place& place);

  bool operator==(const PlaybookResource&) const = default;
};

}  // namespace jamf
