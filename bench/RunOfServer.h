#pragma once

#include <filesystem>

#include "OrvikCore/Engine/BackupJob.h"
#include "OrvikCore/Format/BackupManifest.h"
#include "bench/ServerProcess.h"

namespace bench {

/// A backup of all that is read of the server, without a rate limit, `width` requests at a time.
orvik::BackupJob jobFor(const ServerProcess& server, const std::filesystem::path& root, int width);

/// That backup, made.
orvik::BackupManifest run(const ServerProcess& server, const std::filesystem::path& root, int width);

/// Two backups of the largest fleet, devices included, between which the hundredth part of the objects
/// changed. Prints their size and returns the second. Starts a server of its own.
orvik::BackupManifest twoBackupsOfTheLargestFleet(const std::filesystem::path& root);

}  // namespace bench
