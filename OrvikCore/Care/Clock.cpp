#include "OrvikCore/Care/Clock.h"

#include <chrono>

#include "OrvikCore/Format/BackupFormat.h"

namespace orvik {

bool liesAhead(std::string_view backupID, platform::Date finishedAt, platform::Date now) {
  constexpr std::chrono::hours longestRun{24};
  const auto begun = BackupFormat::dateFromBackupID(backupID);
  return (begun && *begun > now + clockTolerance) || finishedAt > now + longestRun;
}

}  // namespace orvik
