#include "JamfCore/Automation/PlaybookYAML.h"

#include "Platform/YAML/Decode.h"

namespace jamf {

Playbook PlaybookYAML::decode(std::string_view text) {
  try {
    return platform::yaml::decode<Playbook>(text);
  } catch (const platform::Error& error) {
    throw PlaybookYAMLError("Invalid playbook YAML: " + error.description());
  }
}

std::string PlaybookYAML::encode(const Playbook& playbook, platform::yaml::EmitStyle style) {
  try {
    return platform::yaml::encode(playbook, style);
  } catch (const platform::Error& error) {
    throw PlaybookYAMLError("Could not encode playbook to YAML: " + error.description());
  }
}

}  // namespace jamf
