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

}  // namespace bench
