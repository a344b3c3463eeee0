#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "JamfCore/Networking/JamfRequesting.h"
#include "OrvikCore/Config/InstanceConfig.h"
#include "OrvikCore/Engine/BackupEngine.h"
#include "OrvikCore/Format/BackupOptions.h"
#include "OrvikCore/Format/InstanceDescriptor.h"
#include "OrvikCore/Jamf/RetryPolicy.h"
#include "OrvikCore/Store/RetentionPolicy.h"
#include "Platform/HTTP/URL.h"
#include "orvik/Backup/Sealing.h"
#include "orvik/Output/ProgressView.h"

namespace orvik::host {

/// A server to back up: registered, or named by its URL and client.
struct ChosenServer {
  InstanceConfig config;  ///< with a URL that can be normalized
  bool isNamed = true;    ///< its name was given by a person
};

/// The server that a URL and a client name, with the ID that it would have as a managed instance. Without a
/// name it is called as its host.
ChosenServer serverAt(const platform::URL& normalized, const std::string& clientID,
                      const std::optional<std::string>& name);

/// Who a backup of `server` below `root` is of. An instance folder that stands there keeps its ID, and its
/// name unless another was given.
///
/// Throws `tuv::Error` when the folder belongs to a server with another host or port.
InstanceDescriptor instanceFor(const std::filesystem::path& root, const ChosenServer& server);

/// One backup to make.
struct BackupRequest {
  std::filesystem::path root;                ///< of all instances
  std::function<void()> requireFolder = {};  ///< as that of a `BackupJob`
  InstanceDescriptor instance;
  std::shared_ptr<jamf::JamfRequesting> client;
  std::filesystem::path caFile;  ///< further trust anchors for downloads; empty: the system's alone
  std::optional<std::filesystem::path> staging;  ///< folder of all staged runs
  BackupOptions options;
  RetryPolicy retryPolicy;
  ResumeInterrupted resume = ResumeInterrupted::yes;
  double lockWait = 0;   ///< seconds to wait for another writer
  bool pack = true;      ///< moves single object files into a pack after the run
  RetentionPolicy keep;  ///< which backups stay after the run; without a limit all do
  Sealing sealing;
  std::string credentialSource;  ///< where the client secret came from, for the reports
  bool reports = true;           ///< writes them into the backup's folder
};

/// Makes it and its reports, and tells `view` about it. Throws what `BackupEngine::run` throws, and
/// `CredentialError` for a folder whose sealing makes no sense.
BackupOutcome runBackup(const BackupRequest& request, ProgressView& view, const std::stop_token& stop);

/// Reads what a backup would store and changes nothing below the root; a report of that goes to `report`.
/// Throws what `BackupEngine::simulate` throws, `CredentialError` as `runBackup`, and `platform::Error` for a
/// report that can't be written.
SimulationOutcome runSimulation(const BackupRequest& request,
                                const std::optional<std::filesystem::path>& report, ProgressView& view,
                                const std::stop_token& stop);

}  // namespace orvik::host
