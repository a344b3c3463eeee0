#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "JamfCore/Automation/PlaybookYAML.h"
#include "Platform/Locale/Text.h"

/// What holds for playbooks of any bytes.
namespace orvik::fuzz {

/// The first rule that `bytes` break, as a sentence; nothing when all hold.
inline std::optional<std::string> brokenPlaybookRule(std::string_view bytes) {
  try {
    const auto playbook = jamf::PlaybookYAML::decode(bytes);
    for (const auto style : {platform::yaml::EmitStyle{}, platform::yaml::EmitStyle{true, true}}) {
      const auto text = jamf::PlaybookYAML::encode(playbook, style);
      if (!platform::locale::isValidUTF8(text)) return "the document is not UTF-8";
      if (jamf::PlaybookYAML::decode(text) != playbook) return "the playbook changes on its way through YAML";
    }
  } catch (const jamf::PlaybookYAMLError& error) {
    if (!error.message().starts_with("Invalid playbook YAML: ")) return "a message begins otherwise";
    if (!platform::locale::isValidUTF8(error.message())) return "a message is not UTF-8";
  }
  return std::nullopt;
}

}  // namespace orvik::fuzz
