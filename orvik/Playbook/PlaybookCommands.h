#pragma once

#include <stop_token>

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/HostPlaces.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

// Each throws what `describe` knows. Only `applyPlaybook` changes a server.

/// `orvik playbook check`.
ExitStatus checkPlaybook(const CheckPlaybookArguments& arguments, Results& results,
                         const std::stop_token& stop);

/// `orvik playbook next`.
ExitStatus nextPlaybookRun(const NextPlaybookRunArguments& arguments, Results& results,
                           const std::stop_token& stop);

/// `orvik playbook plan`. Ends with `pending` when there is something to do.
ExitStatus planPlaybook(const PlanPlaybookArguments& arguments, const HostPlaces& places, Results& results,
                        const std::stop_token& stop);

/// `orvik playbook apply`.
ExitStatus applyPlaybook(const ApplyPlaybookArguments& arguments, const HostPlaces& places, Results& results,
                         const std::stop_token& stop);

/// `orvik playbook fetch`: the list, or with a name one of it.
ExitStatus fetchPlaybook(const FetchPlaybookArguments& arguments, Results& results,
                         const std::stop_token& stop);

/// `orvik playbook from-backup`.
ExitStatus playbookFromBackup(const PlaybookFromBackupArguments& arguments, Results& results,
                              const std::stop_token& stop);

}  // namespace orvik::host
