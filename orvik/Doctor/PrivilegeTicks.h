#pragma once

#include <optional>
#include <string>
#include <vector>

#include "orvik/Doctor/SectionProbe.h"

namespace orvik::host {

/// A privilege that a backup needs, and what it is needed for.
struct PrivilegeTick {
  enum class State { held, missing, unknown };

  std::string privilege;  ///< in the server's own words
  State state = State::unknown;
  std::vector<const SectionDefinition*> sections;  ///< that can't be read without it

  bool operator==(const PrivilegeTick&) const = default;
};

/// The privileges that the catalog needs, each once, in its order.
std::vector<std::string> privilegesForBackup();

/// All of them with what is known of them.
///
/// `told` is what the server says that the client has; nothing when it doesn't say. An answer is the stronger
/// proof: the one privilege that a section needs is held when the section was answered, whatever was told.
/// Where nothing was told, answers and refusals show what is held and what is missing.
std::vector<PrivilegeTick> privilegeTicks(const std::vector<SectionProbe>& probes,
                                          const std::optional<std::vector<std::string>>& told);

}  // namespace orvik::host
