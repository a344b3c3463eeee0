#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "JamfCore/Automation/PlaybookResource.h"
#include "JamfCore/Models/ConfigurationProfile.h"
#include "JamfCore/Models/Policy.h"
#include "Platform/JSON/Codable.h"

namespace jamf {

/// A field in which a server's object is not as declared. Values are shown as `shownValue` does; nothing
/// stands for an absent one.
struct FieldDifference {
  std::string field;  ///< the key of the resource
  std::optional<std::string> onServer;
  std::optional<std::string> declared;

  static constexpr auto fields() {
    return fieldList(platform::json::field("field", &FieldDifference::field),
                     platform::json::field("onServer", &FieldDifference::onServer),
                     platform::json::field("declared", &FieldDifference::declared));
  }
  bool operator==(const FieldDifference&) const = default;
};

using FieldDifferences = std::vector<FieldDifference>;

/// A short text of one line as it is; any other as its length and digest, by which two are told apart.
std::string shownValue(std::string_view text);

/// What would have to change for the object to be as declared; empty when nothing. An object of the server
/// that has the declared name is compared. Absent and empty texts are alike everywhere but in profiles.
///
/// In a policy, frequency and category count only when they are declared, the rest always; in a profile
/// everything counts only when it is declared. In the others a key that is left out declares emptiness, or
/// its default.
FieldDifferences differences(const PlaybookSmartGroup& declared, const SmartGroupDetail& object);
FieldDifferences differences(const PlaybookPolicy& declared, const PolicyGeneral& object);
FieldDifferences differences(const PlaybookScript& declared, const Script& object);
FieldDifferences differences(const PlaybookConfigurationProfile& declared,
                             const ConfigurationProfileGeneral& object);
FieldDifferences differences(const PlaybookComputerExtensionAttribute& declared,
                             const ComputerExtensionAttribute& object);
/// `categoryId` is that of the declared category, "-1" for none. A file's name does not count.
FieldDifferences differences(const PlaybookPackage& declared, const std::string& categoryId,
                             const Package& object);

}  // namespace jamf
