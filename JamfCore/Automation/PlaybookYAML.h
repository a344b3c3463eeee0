#pragma once

#include <string>
#include <string_view>

#include "JamfCore/Automation/Playbook.h"
#include "Platform/YAML/Emitter.h"
#include "TuvCore/Error.h"

namespace jamf {

/// A document that is no playbook, or a playbook that can't be written.
class PlaybookYAMLError : public tuv::Error {
 public:
  explicit PlaybookYAMLError(const std::string& message) : Error(message) {}
  const std::string& message() const { return description(); }
};

/// Playbooks as YAML documents.
struct PlaybookYAML {
  PlaybookYAML() = delete;

  /// Throws `PlaybookYAMLError`, which names the place of what is wrong.
  static Playbook decode(std::string_view text);
  /// What decodes to an equal playbook. Throws `PlaybookYAMLError`.
  static std::string encode(const Playbook& playbook, platform::yaml::EmitStyle style = {});
};

}  // namespace jamf
