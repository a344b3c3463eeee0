#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "JamfCore/Networking/JamfRequesting.h"
#include "OrvikCore/Format/BackupOptions.h"
#include "OrvikCore/Format/InstanceDescriptor.h"
#include "OrvikCore/Jamf/RetryPolicy.h"

namespace orvik {

/// All that a host has to give for a backup.
struct BackupJob {
  InstanceDescriptor instance;                   ///< the server
  std::shared_ptr<jamf::JamfRequesting> client;  ///< the raw reader; the engine puts its pipeline around it
  BackupOptions options;
  std::filesystem::path root;  ///< the instance's backup folder
  std::string orvikVersion;    ///< goes into manifest, lock and audit log
  RetryPolicy retryPolicy;     ///< for reads of the API
};

}  // namespace orvik
