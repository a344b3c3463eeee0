#include "orvik/BackupSession.h"

#include <fmt/format.h>

#include <atomic>
#include <exception>

#include "OrvikCore/Config/InstanceConfig.h"
#include "OrvikCore/Config/ManagedInstances.h"
#include "OrvikCore/Format/BackupEngineError.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Locale/Text.h"
#include "TuvCore/Error.h"
#include "orvik/GuardedRetention.h"
#include "orvik/InstanceFolder.h"
#include "orvik/LockWait.h"

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
                 const std::stop_token& stop) {
  const auto note = [&](const std::string& text) { view.event(BackupEvents::Note{text}); };
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
    view.event(BackupEvents::Retention{plan.carryOut(held, stop)});
  } catch (const platform::CancellationError&) {
    note("The deletion of old backups was cancelled; the next run makes up for it.");
  } catch (const std::exception& error) {
    note(std::string("Old backups were not deleted. ") + error.what());
  }
}

}  // namespace

InstanceDescriptor instanceFor(const std::filesystem::path& root, const NamedServer& server) {
  const auto url = server.url.text();
  InstanceConfig config;
  config.id = ManagedInstances::stableID(url, server.clientID);
  config.name = server.name.value_or(server.url.host);
  config.url = url;
  config.clientID = server.clientID;
  auto instance = config.descriptor();

  const BackupRepository repository(root, instance.slug);
  const auto stored = repository.descriptor();
  if (!stored) return instance;
  requireSameServer(repository.instanceDirectory, stored->url, server.url);
  instance.id = stored->id;
  if (!server.name) instance.name = stored->name;
  return instance;
}

BackupOutcome runBackup(const BackupRequest& request, ProgressView& view, const std::stop_token& stop) {
  BackupJob job;
  job.instance = request.instance;
  job.client = request.client;
  job.options = request.options;
  job.root = request.root / request.instance.slug;
  job.orvikVersion = ORVIK_VERSION;
  job.retryPolicy = request.retryPolicy;
  job.packLooseObjects = request.pack;
  SealedRun sealed(request.sealing, job, view);
  BackupEngine engine(job);

  // A lock that is lost in the middle of a run is no reason to wait: that run is over.
  std::atomic<bool> begun = false;
  const auto onEvent = [&](const BackupEvent& event) {
    if (!begun.exchange(true)) sealed.begun();
    view.event(event);
  };
  LockWait wait(request.lockWait, job.root, view, stop);
  while (true) {
    try {
      sealed.check();
      const auto running = MonotonicClock::now();
      if (!wait.hasBegun()) view.step("Connecting to " + request.instance.url);
      auto manifest = engine.run(request.resume, onEvent, stop);
      BackupOutcome outcome{std::move(manifest), {}, MonotonicClock::now() - running};
      outcome.folder = BackupRepository(job.root).backupDirectory(outcome.manifest.backupID);
      if (request.keep != RetentionPolicy()) retainAfter(outcome, request, view, stop);
      view.finished(outcome);
      return outcome;
    } catch (const BackupEngineError& error) {
      if (error.kind() != BackupEngineError::Kind::locked || begun) throw;
      wait.after(error);
    }
  }
}

}  // namespace orvik::host
