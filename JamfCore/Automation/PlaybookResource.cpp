#include "JamfCore/Automation/PlaybookResource.h"

#include "Platform/Locale/Text.h"
#include "Platform/YAML/Decode.h"
#include "Platform/YAML/Emitter.h"

namespace jamf {

namespace {

namespace yaml = platform::yaml;
using platform::json::textOf;

struct Kind {
  std::string_view type;
  std::string_view label;
  PlaybookResource (*decode)(const yaml::Place&);
};

template <class Record>
PlaybookResource decodeRecord(const yaml::Place& place) {
  return {yaml::decodeValue<Record>(place)};
}

/// In the order of the variant's cases.
constexpr std::array kinds{
    Kind{"smartGroup", "Smart Group", decodeRecord<PlaybookSmartGroup>},
    Kind{"policy", "Policy", decodeRecord<PlaybookPolicy>},
    Kind{"script", "Script", decodeRecord<PlaybookScript>},
    Kind{"configurationProfile", "Configuration Profile", decodeRecord<PlaybookConfigurationProfile>},
    Kind{"computerExtensionAttribute", "Extension Attribute",
         decodeRecord<PlaybookComputerExtensionAttribute>},
    Kind{"package", "Package", decodeRecord<PlaybookPackage>}};
static_assert(kinds.size() == std::variant_size_v<PlaybookResource::Record>);

/// The trigger that a text names in the older way; null for a custom one.
bool PolicyGeneralWrite::*triggerNamed(const std::string& text) {
  using Write = PolicyGeneralWrite;
  constexpr std::array<std::pair<std::string_view, bool Write::*>, 5> known{
      {{"CHECKIN", &Write::triggerCheckin},
       {"ENROLLMENT_COMPLETE", &Write::triggerEnrollmentComplete},
       {"LOGIN", &Write::triggerLogin},
       {"NETWORK_STATE_CHANGED", &Write::triggerNetworkStateChanged},
       {"STARTUP", &Write::triggerStartup}}};
  const std::string capitals = platform::locale::uppercased(text);
  for (const auto& [name, trigger] : known)
    if (name == capitals) return trigger;
  return nullptr;
}

}  // namespace

std::vector<SmartGroupCriterion> PlaybookSmartGroup::resolvedCriteria() const {
  std::vector<SmartGroupCriterion> resolved;
  if (!criteria) return resolved;
  for (const auto& declared : *criteria)
    resolved.push_back({.name = declared.field,
                        .priority = static_cast<std::int64_t>(resolved.size()),
                        .andOr = declared.andOr.value_or(AndOr::and_),
                        .searchType = declared.searchType,
                        .value = declared.value,
                        .openingParen = declared.openingParen,
                        .closingParen = declared.closingParen});
  return resolved;
}

PolicyGeneralWrite PlaybookPolicy::toWrite() const {
  PolicyGeneralWrite write{.name = name,
                           .enabled = enabled.value_or(false),
                           .triggerCheckin = triggerCheckin.value_or(false),
                           .triggerEnrollmentComplete = triggerEnrollmentComplete.value_or(false),
                           .triggerLogin = triggerLogin.value_or(false),
                           .triggerNetworkStateChanged = triggerNetworkStateChanged.value_or(false),
                           .triggerStartup = triggerStartup.value_or(false),
                           .triggerOther = triggerOther,
                           .frequency = frequency,
                           .categoryName = categoryName};
  const bool isDeclared = triggerCheckin || triggerEnrollmentComplete || triggerLogin ||
                          triggerNetworkStateChanged || triggerStartup || triggerOther;
  if (isDeclared || !trigger) return write;
  if (const auto named = triggerNamed(*trigger))
    write.*named = true;
  else
    write.triggerOther = trigger;
  return write;
}

Script PlaybookScript::toScript() const {
  Script script;
  script.name = name;
  script.info = info;
  script.notes = notes;
  script.priority = priority;
  script.categoryName = categoryName;
  script.osRequirements = osRequirements;
  script.scriptContents = scriptContents;
  return script;
}

ConfigurationProfileGeneralWrite PlaybookConfigurationProfile::toWrite() const {
  return {.name = name,
          .description = description,
          .distributionMethod = distributionMethod,
          .userRemovable = userRemovable,
          .level = level,
          .categoryName = categoryName,
          .payloads = payloads};
}

ComputerExtensionAttribute PlaybookComputerExtensionAttribute::toAttribute() const {
  ComputerExtensionAttribute attribute;
  attribute.name = name;
  attribute.description = description;
  attribute.dataType = textOf(dataType.value_or(AttributeDataType::string));
  attribute.enabled = enabled.value_or(true);
  attribute.inventoryDisplayType = textOf(inventoryDisplayType.value_or(AttributeDisplay::general));
  attribute.inputType = textOf(inputType.value_or(AttributeInput::text));
  attribute.scriptContents = scriptContents;
  attribute.popupMenuChoices = popupMenuChoices;
  attribute.ldapAttributeMapping = ldapAttributeMapping;
  return attribute;
}

Package PlaybookPackage::toPackage(const std::string& categoryId) const {
  Package package;
  package.packageName = name;
  package.fileName = fileName;
  package.categoryId = categoryId;
  package.info = info;
  package.notes = notes;
  package.priority = priority;
  package.osRequirements = osRequirements;
  package.fillUserTemplate = fillUserTemplate.value_or(false);
  package.rebootRequired = rebootRequired.value_or(false);
  package.osInstall = osInstall.value_or(false);
  package.suppressUpdates = suppressUpdates.value_or(false);
  package.suppressFromDock = suppressFromDock.value_or(false);
  package.suppressEula = suppressEula.value_or(false);
  package.suppressRegistration = suppressRegistration.value_or(false);
  return package;
}

const std::string& PlaybookResource::name() const {
  return std::visit([](const auto& each) -> const std::string& { return each.name; }, record);
}

PlaybookResourceState PlaybookResource::state() const {
  return std::visit([](const auto& each) { return each.state.value_or(PlaybookResourceState::present); },
                    record);
}

std::string_view PlaybookResource::type() const { return kinds[record.index()].type; }

std::string_view PlaybookResource::typeLabel() const { return kinds[record.index()].label; }

void PlaybookResource::encode(yaml::Emitter& emitter) const {
  emitter.beginMapping();
  emitter.key("type");
  emitter.text(type());
  std::visit([&](const auto& each) { yaml::encodeMembers(emitter, each); }, record);
  emitter.endMapping();
}

PlaybookResource PlaybookResource::decode(const yaml::Place& place) {
  const auto type = yaml::decodeMember<std::string>(place, "type");
  for (const auto& kind : kinds)
    if (kind.type == type) return kind.decode(place);
  place.fail("Unknown resource type \"" + type + "\".");
}

}  // namespace jamf
