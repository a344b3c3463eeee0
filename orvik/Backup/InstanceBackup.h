#pragma once

#include <functional>
#include <stop_token>

#include "OrvikCore/Config/BackupInterval.h"
#include "TuvCore/Error.h"
#include "orvik/Arguments.h"
#include "orvik/Backup/BackupSession.h"
#include "orvik/HostPlaces.h"
#include "orvik/Instances/InstanceSecrets.h"

namespace orvik::host {

/// The last backup is too young for another.
class TooSoonError : public tuv::Error {
 public:
  TooSoonError(const std::string& instance, BackupInterval::Decision::TooSoon times, int minimumHours);

  const BackupInterval::Decision::TooSoon& times() const noexcept { return times_; }

 private:
  BackupInterval::Decision::TooSoon times_;
};

/// A registered server. Throws `tuv::Error` when its URL is none.
ChosenServer registered(const InstanceConfig& instance);

/// What to read from a server and how. Tells `view` when the secret would travel in the clear.
BackupRequest requestFor(const ChosenServer& server, SecretSupply secret, const BackupArguments& arguments,
                         ProgressView& view);

/// Backs one server up as the arguments ask, whichever server they name, and remembers the folder. The secret
/// is asked for only when there is something to do with it.
///
/// Throws `TooSoonError`, `tuv::Error` for a folder that belongs to another server or lost its backups, what
/// `secret` throws, and as `runBackup` does.
BackupOutcome backUp(const ChosenServer& server, const std::function<SecretSupply()>& secret,
                     const BackupArguments& arguments, const HostPlaces& places, ProgressView& view,
                     const std::stop_token& stop);

}  // namespace orvik::host
