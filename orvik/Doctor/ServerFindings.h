#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "orvik/Doctor/Check.h"
#include "orvik/Doctor/SectionProbe.h"

namespace orvik::host {

/// What a server that can be read from showed of itself.
struct ServerFindings {
  std::optional<std::string> version;
  std::optional<std::chrono::seconds> tokenLifetime;    ///< as the server said
  std::optional<std::chrono::seconds> clockDifference;  ///< by how much the server's clock is ahead
  std::optional<std::vector<std::string>> privileges;   ///< nothing when the server doesn't tell
  std::vector<SectionProbe> probes;                     ///< in catalog order

  /// What is to be made of it, one check for each question; those that have nothing to say are left out.
  std::vector<Check> checks() const;
};

}  // namespace orvik::host
