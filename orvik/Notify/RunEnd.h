#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Date.h"
#include "Platform/JSON/Value.h"
#include "orvik/ExitStatus.h"
#include "orvik/Instances/BackupRound.h"

namespace orvik::host {

/// How a run ended that made backups, or was to.
struct RunEnd {
  ExitStatus status = ExitStatus::done;
  std::vector<RoundEntry> round;   ///< one for each server that was come to
  std::optional<Failure> failure;  ///< of the whole run
  platform::Date startedAt;
  platform::Date finishedAt;

  /// Whether there is something to tell: a backup or a failure. Who cancels a run knows, and a backup that
  /// would come too soon is none.
  bool isNews() const;
  /// "success", "warnings" or "failure".
  std::string_view outcome() const;
  /// One line for people, safe for a terminal.
  std::string sentence() const;
  /// `{"event":"run","outcome","exit","message","host","version","startedAt","finishedAt","instances"}`. No
  /// secret is in it.
  platform::json::Value json() const;
};

}  // namespace orvik::host
