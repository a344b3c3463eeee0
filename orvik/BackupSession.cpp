#include "orvik/BackupSession.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>

#include "OrvikCore/Config/InstanceConfig.h"
#include "OrvikCore/Config/ManagedInstances.h"
#include "OrvikCore/Format/BackupEngineError.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Locale/Text.h"
#include "TuvCore/Error.h"
#include "orvik/Wording.h"

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
  SealedRun sealed(request.sealing, job, view);
  BackupEngine engine(job);

  // A lock that is lost in the middle of a run is no reason to wait: that run is over.
  std::atomic<bool> begun = false;
  const auto onEvent = [&](const BackupEvent& event) {
    if (!begun.exchange(true)) sealed.begun();
    view.event(event);
  };
  const auto start = MonotonicClock::now();
  const auto deadline = start + std::chrono::duration_cast<MonotonicClock::duration>(
                                    std::chrono::duration<double>(request.lockWait));
  bool isWaiting = false;
  while (true) {
    try {
      sealed.check();
      const auto running = MonotonicClock::now();
      if (!isWaiting) view.step("Connecting to " + request.instance.url);
      auto manifest = engine.run(request.resume, onEvent, stop);
      BackupOutcome outcome{std::move(manifest), {}, MonotonicClock::now() - running};
      outcome.folder = BackupRepository(job.root).backupDirectory(outcome.manifest.backupID);
      view.finished(outcome);
      return outcome;
    } catch (const BackupEngineError& error) {
      const bool isOver = MonotonicClock::now() >= deadline;
      if (error.kind() != BackupEngineError::Kind::locked || begun || isOver) throw;
      if (!std::exchange(isWaiting, true))
        view.step(fmt::format("{} is writing to {}; waiting up to {}", error.by(), job.root.string(),
                              wording::duration(std::chrono::duration<double>(request.lockWait))));
    }
    if (!platform::waitUntil(std::min(deadline, MonotonicClock::now() + std::chrono::seconds(1)), stop))
      throw platform::CancellationError();
  }
}

}  // namespace orvik::host
