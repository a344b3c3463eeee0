#include "orvik/Backup/BackupSession.h"

#include <fmt/format.h>

#include <atomic>
#include <exception>

#include "OrvikCore/Config/ManagedInstances.h"
#include "OrvikCore/Engine/RunPlace.h"
#include "OrvikCore/Format/BackupEngineError.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "Platform/Locale/Text.h"
#include "TuvCore/Error.h"
#include "orvik/Backup/GuardedRetention.h"
#include "orvik/Backup/RunReports.h"
#include "orvik/Folder/InstanceFolder.h"
#include "orvik/Folder/LockWait.h"

namespace orvik::host {

namespace {

using platform::MonotonicClock;

std::string hostAndPort(const platform::URL& url) {
  return fmt::format("{}:{}", platform::locale::lowercased(url.host), url.effectivePort());
}

/// A stored URL that is no URL belongs to no server that can be read, and so never to this one.
void requireSameServer(const std::filesystem::path& folder, const std::string& stored,
                       const platform::URL& wanted) {
  const auto url = platform::URL::parse(stored);
  const std::string owner = url ? hostAndPort(*url) : stored;
  if (owner != hostAndPort(wanted))
    throw tuv::Error(fmt::format("The folder {} holds backups of {} and takes none of {}.", folder.string(),
                                 owner, hostAndPort(wanted)));
}

/// Deletes old backups once the new one is published. Whatever comes of it is told and changes nothing about
/// the backup.
void retainAfter(const BackupOutcome& outcome, const BackupRequest& request, ProgressView& view,
                 const OnBackupEvent& tell, const std::stop_token& stop) {
  const auto note = [&](const std::string& text) { tell(BackupEvents::Note{text}); };
  try {
    view.step("Looking for old backups");
    const HeldFolder held(BackupRepository(request.root / request.instance.slug), request.lockWait, view,
                          stop);
    const auto& repository = held.repository();
    if (const auto newest = repository.latestComplete(); newest && newest->id > outcome.manifest.backupID)
      return note(
          fmt::format("Old backups were left alone: the backup {} is later than this one, so a clock "
                      "is or was wrong.",
                      newest->id));
    const auto plan =
        GuardedRetention::plan(repository, request.keep, platform::now(), UnfinishedRuns::refuse, stop);
    view.step("Deleting old backups");
    tell(BackupEvents::Retention{plan.carryOut(held, stop)});
  } catch (const platform::CancellationError&) {
    note("The deletion of old backups was cancelled; the next run makes up for it.");
  } catch (const std::exception& error) {
    note(std::string("Old backups were not deleted. ") + error.what());
  }
}

/// One place for each backup folder: two folders of one server must not take up each other's runs.
std::filesystem::path stagingFor(const std::filesystem::path& staging, const std::filesystem::path& folder) {
  const auto path = std::filesystem::absolute(folder).lexically_normal().string();
  return staging / fmt::format("{}-{}", folder.filename().string(), ObjectStore::sha256(path).substr(0, 8));
}

RunReports reportsFor(const BackupRequest& request) {
  return {request.instance.clientID.value_or("unknown"), request.credentialSource};
}

BackupJob jobFor(const BackupRequest& request) {
  BackupJob job;
  job.instance = request.instance;
  job.client = request.client;
  job.options = request.options;
  job.root = request.root / request.instance.slug;
  job.requireFolder = request.requireFolder;
  job.orvikVersion = ORVIK_VERSION;
  job.retryPolicy = request.retryPolicy;
  job.downloadRetryPolicy = request.retryPolicy;
  job.makeDownloadConfiguration = [caFile = request.caFile] {
    platform::HTTPSessionConfiguration configuration;
    configuration.extraTrustAnchors = caFile;
    configuration.userAgent = "orvik/" ORVIK_VERSION;
    return configuration;
  };
  if (request.staging) job.stagingDirectory = stagingFor(*request.staging, job.root);
  job.packLooseObjects = request.pack;
  return job;
}

}  // namespace

ChosenServer serverAt(const platform::URL& normalized, const std::string& clientID,
                      const std::optional<std::string>& name) {
  const auto url = normalized.text();
  return {{ManagedInstances::stableID(url, clientID), name.value_or(normalized.host), url, clientID, {}},
          name.has_value()};
}

InstanceDescriptor instanceFor(const std::filesystem::path& root, const ChosenServer& server) {
  auto instance = server.config.descriptor();
  const BackupRepository repository(root, instance.slug);
  const auto stored = repository.descriptor();
  if (!stored) return instance;
  requireSameServer(repository.instanceDirectory, stored->url, *server.config.normalizedURL());
  instance.id = stored->id;
  if (!server.isNamed) instance.name = stored->name;
  return instance;
}

BackupOutcome runBackup(const BackupRequest& request, ProgressView& view, const std::stop_token& stop) {
  // Beside the instance's folder it would be synchronised all the same, and taken for an instance.
  if (request.staging) RunPlace::requireOutside(*request.staging, request.root, "staging");
  auto job = jobFor(request);
  requireNoLinks(BackupRepository(job.root));
  SealedRun sealed(request.sealing, job, view);
  BackupEngine engine(job);

  // A lock that is lost in the middle of a run is no reason to wait: that run is over.
  std::atomic<bool> begun = false;
  auto reports = reportsFor(request);
  const auto tell = [&](const BackupEvent& event) {
    reports.listen(event);
    view.event(event);
  };
  const auto onEvent = [&](const BackupEvent& event) {
    if (!begun.exchange(true)) sealed.begun();
    tell(event);
  };
  LockWait wait(request.lockWait, job.root, view, stop);
  while (true) {
    try {
      sealed.check();
      const auto running = MonotonicClock::now();
      if (!wait.hasBegun()) view.step("Connecting to " + request.instance.url);
      auto manifest = engine.run(request.resume, onEvent, stop);
      BackupOutcome outcome{std::move(manifest), {}, MonotonicClock::now() - running};
      const BackupRepository repository(job.root);
      outcome.folder = repository.backupDirectory(outcome.manifest.backupID);
      if (request.keep != RetentionPolicy()) retainAfter(outcome, request, view, tell, stop);
      if (request.reports) reports.write(repository, outcome.manifest.backupID, view, stop);
      view.finished(outcome);
      return outcome;
    } catch (const BackupEngineError& error) {
      if (error.kind() != BackupEngineError::Kind::locked || begun) throw;
      wait.after(error);
    }
  }
}

SimulationOutcome runSimulation(const BackupRequest& request,
                                const std::optional<std::filesystem::path>& report, ProgressView& view,
                                const std::stop_token& stop) {
  const platform::files::TempFolder folder("orvik-simulation");
  auto job = jobFor(request);
  job.stagingDirectory.reset();
  job.simulationDirectory = folder.path();
  const SealedRun sealed(request.sealing, job, view);
  sealed.check();
  view.step("Connecting to " + request.instance.url);
  const auto running = MonotonicClock::now();
  auto reports = reportsFor(request);
  const auto tell = [&](const BackupEvent& event) {
    reports.listen(event);
    view.event(event);
  };
  auto result = BackupEngine(job).simulate(tell, stop);
  if (!request.options.downloadFiles) result.bytesToDownload = 0;
  const auto duration = MonotonicClock::now() - running;
  if (report) {
    view.step("Writing the report");
    reports.writeSimulation(BackupRepository(job.root), result, *report);
  }
  SimulationOutcome outcome{std::move(result.manifest), result.bytesToDownload, duration};
  view.finished(outcome);
  return outcome;
}

}  // namespace orvik::host
