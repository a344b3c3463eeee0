#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "OrvikCore/Engine/BackupEvent.h"
#include "Platform/Concurrency/Cancellation.h"

namespace orvik::host {

/// Where a run is, gathered from its events. A plain value.
struct RunState {
  /// A section that is being read.
  struct Section {
    std::string title;
    std::size_t done = 0;
    std::size_t total = 0;  ///< 0 as long as it isn't known
    platform::MonotonicTime since;
    std::int64_t bytesBefore = 0;  ///< of the run, when the section began
    std::int64_t bytes = 0;        ///< that arrived since
    std::int64_t bytesExpected = 0;
  };

  std::string step = "Starting";  ///< shown while no section is read
  platform::MonotonicTime stepSince;
  std::size_t finished = 0;  ///< sections behind it
  std::size_t sections = 0;  ///< of the run; 0 before it is known
  std::int64_t bytes = 0;    ///< that arrived in the run
  std::optional<Section> section;

  void begin(std::string nextStep, platform::MonotonicTime now);
  /// So many things of a step that belongs to no section are done.
  void advance(std::size_t done, std::size_t total);
  void apply(const BackupEvent& event, platform::MonotonicTime now);
};

/// One line of at most `width` columns: "[12/78] Policies  120 of 4000  35/s  2 min left", or a step with how
/// long it has taken so far, once that is worth telling.
std::string progressLine(const RunState& state, platform::MonotonicTime now, std::size_t width);

}  // namespace orvik::host
