#include "JamfCore/Automation/PlaybookComparison.h"

#include <fmt/format.h>

#include "Platform/Crypto/Digest.h"

namespace jamf {

namespace {

using platform::json::textOf;

std::string shown(const std::string& value) { return shownValue(value); }
std::string shown(bool value) { return value ? "true" : "false"; }
std::string shown(std::int64_t value) { return std::to_string(value); }
std::string shown(ScriptPriority value) { return std::string(textOf(value)); }

/// One condition as a line: `and ( Model is Mac )`.
std::string shown(const SmartGroupCriterion& criterion) {
  return fmt::format("{} {}\"{}\" {} \"{}\"{}", textOf(criterion.andOr),
                     criterion.openingParen.value_or(false) ? "(" : "", criterion.name, criterion.searchType,
                     criterion.value, criterion.closingParen.value_or(false) ? ")" : "");
}

template <class T>
std::string shown(const std::vector<T>& values) {
  std::string text;
  for (const auto& value : values) text += (text.empty() ? "" : ", ") + shown(value);
  return shownValue(text);
}

/// Absent for an empty text too.
std::optional<std::string> normalised(const std::optional<std::string>& text) {
  return text && !text->empty() ? text : std::nullopt;
}

/// Collects the fields in which two values differ.
class Differences {
 public:
  template <class T>
  void compare(std::string_view field, const std::optional<T>& onServer, const std::optional<T>& declared) {
    if (onServer == declared) return;
    const auto text = [](const std::optional<T>& value) {
      return value ? std::optional(shown(*value)) : std::nullopt;
    };
    found_.push_back({std::string(field), text(onServer), text(declared)});
  }
  template <class T>
  void compare(std::string_view field, const T& onServer, const T& declared) {
    compare(field, std::optional(onServer), std::optional(declared));
  }
  /// Absent and empty are alike.
  void compareTexts(std::string_view field, const std::optional<std::string>& onServer,
                    const std::optional<std::string>& declared) {
    compare(field, normalised(onServer), normalised(declared));
  }
  /// Only what is declared counts.
  template <class T>
  void compareDeclared(std::string_view field, const std::optional<T>& onServer,
                       const std::optional<T>& declared) {
    if (declared) compare(field, onServer, declared);
  }

  FieldDifferences take() { return std::move(found_); }

 private:
  FieldDifferences found_;
};

/// The name of a category, unless it is the one that stands for none.
std::optional<std::string> categoryOf(const std::optional<NamedReference>& category) {
  constexpr std::int64_t none = -1;
  return category && category->id != none ? std::optional(category->name) : std::nullopt;
}

/// With parentheses that are absent as false, so that the lists can be compared.
std::vector<SmartGroupCriterion> normalised(std::vector<SmartGroupCriterion> criteria) {
  for (auto& criterion : criteria) {
    criterion.openingParen = criterion.openingParen.value_or(false);
    criterion.closingParen = criterion.closingParen.value_or(false);
  }
  return criteria;
}

}  // namespace

std::string shownValue(std::string_view text) {
  constexpr std::size_t longest = 80;
  if (text.size() <= longest && text.find_first_of("\r\n") == std::string_view::npos)
    return std::string(text);
  constexpr std::size_t digits = 12;
  return fmt::format("{} bytes, SHA-256 {}", text.size(), platform::sha256Hex(text).substr(0, digits));
}

FieldDifferences differences(const PlaybookSmartGroup& declared, const SmartGroupDetail& object) {
  Differences found;
  found.compareTexts("description", object.description, declared.description);
  found.compare("criteria", normalised(object.criteria), normalised(declared.resolvedCriteria()));
  return found.take();
}

FieldDifferences differences(const PlaybookPolicy& declared, const PolicyGeneral& object) {
  const auto write = declared.toWrite();
  Differences found;
  found.compare("enabled", object.enabled, write.enabled);
  found.compare("triggerCheckin", object.triggerCheckin, write.triggerCheckin);
  found.compare("triggerEnrollmentComplete", object.triggerEnrollmentComplete,
                write.triggerEnrollmentComplete);
  found.compare("triggerLogin", object.triggerLogin, write.triggerLogin);
  found.compare("triggerNetworkStateChanged", object.triggerNetworkStateChanged,
                write.triggerNetworkStateChanged);
  found.compare("triggerStartup", object.triggerStartup, write.triggerStartup);
  found.compareTexts("triggerOther", object.triggerOther, write.triggerOther);
  found.compareDeclared("frequency", std::optional(object.frequency), write.frequency);
  found.compareDeclared("categoryName", categoryOf(object.category), write.categoryName);
  return found.take();
}

FieldDifferences differences(const PlaybookScript& declared, const Script& object) {
  const auto category = normalised(object.categoryName);
  Differences found;
  found.compareTexts("info", object.info, declared.info);
  found.compareTexts("notes", object.notes, declared.notes);
  found.compare("priority", object.priority, declared.priority);
  found.compare("categoryName", category == "NONE" ? std::nullopt : category, declared.categoryName);
  found.compareTexts("osRequirements", object.osRequirements, declared.osRequirements);
  found.compareTexts("scriptContents", object.scriptContents, declared.scriptContents);
  return found.take();
}

FieldDifferences differences(const PlaybookConfigurationProfile& declared,
                             const ConfigurationProfileGeneral& object) {
  Differences found;
  found.compareDeclared("description", object.description, declared.description);
  found.compareDeclared("distributionMethod", object.distributionMethod, declared.distributionMethod);
  found.compareDeclared("userRemovable", object.userRemovable, declared.userRemovable);
  found.compareDeclared("level", object.level, declared.level);
  found.compareDeclared("categoryName", categoryOf(object.category), declared.categoryName);
  found.compareDeclared("payloads", object.payloads, declared.payloads);
  return found.take();
}

FieldDifferences differences(const PlaybookComputerExtensionAttribute& declared,
                             const ComputerExtensionAttribute& object) {
  const auto write = declared.toAttribute();
  Differences found;
  found.compareTexts("description", object.description, write.description);
  found.compareTexts("dataType", object.dataType, write.dataType);
  found.compare("enabled", object.enabled, write.enabled);
  found.compareTexts("inventoryDisplayType", object.inventoryDisplayType, write.inventoryDisplayType);
  found.compareTexts("inputType", object.inputType, write.inputType);
  found.compareTexts("scriptContents", object.scriptContents, write.scriptContents);
  found.compare("popupMenuChoices", object.popupMenuChoices.value_or(std::vector<std::string>()),
                write.popupMenuChoices.value_or(std::vector<std::string>()));
  found.compareTexts("ldapAttributeMapping", object.ldapAttributeMapping, write.ldapAttributeMapping);
  return found.take();
}

FieldDifferences differences(const PlaybookPackage& declared, const std::string& categoryId,
                             const Package& object) {
  const auto write = declared.toPackage(categoryId);
  Differences found;
  found.compareTexts("categoryId", object.categoryId, write.categoryId);
  found.compare("priority", object.priority, write.priority);
  found.compareTexts("info", object.info, write.info);
  found.compareTexts("notes", object.notes, write.notes);
  found.compareTexts("osRequirements", object.osRequirements, write.osRequirements);
  found.compare("fillUserTemplate", object.fillUserTemplate, write.fillUserTemplate);
  found.compare("rebootRequired", object.rebootRequired, write.rebootRequired);
  found.compare("osInstall", object.osInstall, write.osInstall);
  found.compare("suppressUpdates", object.suppressUpdates, write.suppressUpdates);
  found.compare("suppressFromDock", object.suppressFromDock, write.suppressFromDock);
  found.compare("suppressEula", object.suppressEula, write.suppressEula);
  found.compare("suppressRegistration", object.suppressRegistration, write.suppressRegistration);
  return found.take();
}

}  // namespace jamf
