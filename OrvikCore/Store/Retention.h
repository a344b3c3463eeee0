#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Store/BackupRepository.h"
#include "OrvikCore/Store/RetentionPolicy.h"
#include "Platform/Date.h"

namespace orvik {

/// What a retention pass makes of one finished backup.
struct RetentionVerdict {
  enum class Reason {
    newest,        ///< stays, whatever the limits say
    withinLimits,  ///< stays
    beyondCount,   ///< goes: enough newer ones stay
    tooOld,        ///< goes: it finished before the cut-off
  };
  std::string id;
  platform::Date finishedAt;
  Reason reason = Reason::withinLimits;

  bool goes() const noexcept { return reason == Reason::beyondCount || reason == Reason::tooOld; }
  bool operator==(const RetentionVerdict&) const = default;
};

/// A verdict on every finished backup, newest first. Interrupted runs and folders without a manifest are not
/// touched. A day is 86400 seconds; a backup exactly on the cut-off stays. Either limit alone removes a
/// backup.
std::vector<RetentionVerdict> planRetention(const BackupRepository& repository, RetentionPolicy policy,
                                            platform::Date now);

}  // namespace orvik
