#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Config/BackupInterval.h"
#include "OrvikCore/Config/InstanceConfig.h"
#include "Platform/JSON/Value.h"
#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/HostPlaces.h"
#include "orvik/Output/Output.h"
#include "orvik/Output/ProgressView.h"

namespace orvik::host {

/// What became of one instance in a round: a backup, or why there is none.
struct RoundEntry {
  InstanceConfig instance;
  std::optional<BackupOutcome> outcome;
  std::optional<BackupInterval::Decision::TooSoon> tooSoon;  ///< the last backup is too young for another
  std::optional<Failure> failure;
};

/// Backs up instances one after another, each with the options of `arguments` and with its own secret alone:
/// what is meant for one server never goes to another. A failure is told where it happens and stops no other
/// instance; a stop ends the round at once, with an entry for the instance it met. Throws `UsageError` for
/// sections that there are not.
std::vector<RoundEntry> runRound(const std::vector<InstanceConfig>& instances,
                                 const BackupArguments& arguments, const HostPlaces& places, Results& results,
                                 const std::stop_token& stop);

/// The table at the end of a round, or with JSON its last line.
void tellRound(const std::vector<RoundEntry>& round, const BackupArguments& arguments, Results& results);

/// "School: complete, 2026-11-22T230000Z" or why there is no backup. The texts may come from elsewhere.
std::string sentenceOf(const RoundEntry& entry);
/// `{"instance","id","status"}` and what belongs to the status.
platform::json::Value recordOf(const RoundEntry& entry);

/// Cancelled before failed before published with warnings before done. What was too soon is no failure.
ExitStatus statusOf(const std::vector<RoundEntry>& round);

}  // namespace orvik::host
