#pragma once

#include <ostream>

#include "OrvikCore/Store/BackupRepository.h"
#include "orvikctl/Arguments.h"

namespace orvik::ctl {

/// The instance folder that the first argument names. Fails without one.
BackupRepository repositoryOf(const Arguments& positionals);

/// The backup that the second argument names, or else the newest. Fails when it isn't there.
BackupRepository::Backup backupOf(const BackupRepository& repository, const Arguments& positionals);

/// The backups of one instance, the interrupted runs, and the disk usage. Returns the exit status.
int list(const Arguments& arguments, std::ostream& out);

/// Checks every stored byte of one backup. Returns the exit status: 1 when there is any problem.
int verify(const Arguments& arguments, std::ostream& out);

}  // namespace orvik::ctl
