#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "JamfCore/Networking/JamfRequesting.h"
#include "OrvikCore/Format/BackupOptions.h"
#include "OrvikCore/Format/InstanceDescriptor.h"
#include "OrvikCore/Jamf/RetryPolicy.h"
#include "OrvikCore/Security/DecryptionKeyProvider.h"
#include "OrvikCore/Store/RetentionPolicy.h"
#include "Platform/HTTP/HTTPSession.h"

namespace orvik {

/// All that a host has to give for a backup.
struct BackupJob {
  InstanceDescriptor instance;                   ///< the server
  std::shared_ptr<jamf::JamfRequesting> client;  ///< the raw reader; the engine puts its pipeline around it
  BackupOptions options;
  std::filesystem::path root;  ///< the instance's backup folder
  /// Called once the run holds the folder's lock, before it writes more: throws when the host knows that this
  /// isn't the folder it meant, such as the empty mount point of a disk that has gone. None: nothing is
  /// known.
  std::function<void()> requireFolder;
  std::string orvikVersion;         ///< goes into manifest, lock and audit log
  RetryPolicy retryPolicy;          ///< for reads of the API
  RetryPolicy downloadRetryPolicy;  ///< for package files
  /// How package files are fetched, asked for each attempt; none: the session's defaults.
  std::function<platform::HTTPSessionConfiguration()> makeDownloadConfiguration;
  /// Makes the run a simulation that works here: an empty folder that is not below `root`.
  std::optional<std::filesystem::path> simulationDirectory;
  /// A folder on a fast local disk, not below `root`, in which the run works; the backup folder then gets one
  /// pack instead of many single objects. Runs into different backup folders need different ones.
  std::optional<std::filesystem::path> stagingDirectory;
  std::optional<RetentionPolicy> retention;  ///< which backups go after the run; none: all stay
  bool packLooseObjects = true;  ///< move the single object files of the folder into one pack after the run
  bool encrypt = false;          ///< seal this backup; a sealed instance is sealed in any case
  std::shared_ptr<const DecryptionKeyProvider> encryptionKeys;  ///< none: the machine's keychain
  std::optional<std::string> encryptionKeyID;                   ///< the preferred key of a new data key
};

}  // namespace orvik
