#pragma once

#include <functional>
#include <optional>
#include <stop_token>
#include <vector>

#include "Platform/SecretString.h"
#include "orvik/Arguments.h"
#include "orvik/Backup/BackupSession.h"
#include "orvik/Doctor/Check.h"
#include "orvik/ExitStatus.h"
#include "orvik/Output/ProgressView.h"

namespace orvik::host {

/// What an examination found, and how a backup would end that can't begin.
struct Examination {
  std::vector<Check> checks;
  std::optional<ExitStatus> obstacle;
};

/// Reads from the server as a backup does, the first request of every section alone, and changes nothing
/// there. What stands in a backup's way is a check that failed. Throws `UsageError` and
/// `platform::CancellationError`.
Examination examineServer(const ChosenServer& server, const DoctorArguments& arguments,
                          platform::SecretString environmentSecret, ProgressView& view,
                          const std::stop_token& stop);

}  // namespace orvik::host
