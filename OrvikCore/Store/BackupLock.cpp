#include "OrvikCore/Store/BackupLock.h"

#include <chrono>
#include <set>
#include <utility>

#include "OrvikCore/Format/BackupEngineError.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/ObjectStore.h"
#include "Platform/Files/Files.h"
#include "Platform/Host.h"
#include "TuvCore/Error.h"

namespace orvik {

namespace {

/// The runs of this process that hold a lock. A record of this process that is not among them was dropped, or
/// is of an earlier process with the same number.
tuv::Locked<std::set<platform::UUID>>& activeRuns() {
  static tuv::Locked<std::set<platform::UUID>> runs;
  return runs;
}

void writeLock(const BackupLock& lock, const std::filesystem::path& folder) {
  ObjectStore::atomicWrite(BackupFormat::makeEncoder().encode(lock), folder / BackupFormat::lockFile);
}

}  // namespace

std::string BackupLock::currentHost() { return platform::machineName(); }

std::optional<BackupLock> BackupLock::current(const Path& folder) {
  const auto bytes = platform::files::tryRead(folder / BackupFormat::lockFile, BackupFormat::recordLimit);
  return bytes ? BackupFormat::makeDecoder().tryDecode<BackupLock>(*bytes) : std::nullopt;
}

bool BackupLock::isOwnedByThisProcess() const {
  return host == currentHost() && processID == platform::processID();
}

bool BackupLock::isSameHolder(const BackupLock& other) const noexcept {
  return host == other.host && processID == other.processID && runID == other.runID;
}

BackupLock::Staleness BackupLock::staleness(platform::Date now) const {
  using enum Staleness;
  if (std::chrono::duration<double>(now - heartbeat).count() > staleAfterSeconds) return silent;
  if (host != currentHost()) return none;
  if (processID == platform::processID()) {
    const bool isLive =
        runID && activeRuns().withLock([&](const auto& runs) { return runs.contains(*runID); });
    return isLive ? none : dropped;
  }
  return platform::probeProcess(processID) == platform::ProcessState::gone ? gone : none;
}

std::unique_ptr<BackupLock::Holder> BackupLock::acquire(const Path& folder, std::string orvikVersion,
                                                        platform::Date now) {
  if (const auto held = current(folder); held && !held->isStale(now))
    throw BackupEngineError::locked(held->holderText(), held->startedAt);

  BackupLock lock{currentHost(), platform::userName(),    platform::processID(),   now,
                  now,           std::move(orvikVersion), platform::UUID::random()};
  activeRuns().withLock([&](auto& runs) { runs.insert(*lock.runID); });
  try {
    writeLock(lock, folder);
  } catch (...) {
    activeRuns().withLock([&](auto& runs) { runs.erase(*lock.runID); });
    throw;
  }
  return std::unique_ptr<Holder>(new Holder(std::move(lock), folder));
}

void BackupLock::release(const Path& folder) const noexcept try {
  if (const auto held = current(folder); held && isSameHolder(*held))
    platform::files::tryRemove(folder / BackupFormat::lockFile);
} catch (...) {
  // What can't be removed turns stale.
}

BackupLock::Holder::Holder(BackupLock lock, Path directory)
    : lock_(std::move(lock)), directory_(std::move(directory)) {}

BackupLock::Holder::~Holder() { release(); }

void BackupLock::Holder::refresh() noexcept try {
  released_.withLock([&](const bool& released) {
    if (released) return;
    const auto held = current(directory_);
    if (!held || !lock_.isSameHolder(*held)) return;
    BackupLock renewed = lock_;
    renewed.heartbeat = platform::now();
    writeLock(renewed, directory_);
  });
} catch (...) {
  // A missed heartbeat is made good by a later one.
}

std::optional<BackupLock> BackupLock::Holder::takenOverBy() const {
  auto held = current(directory_);
  if (held && lock_.isSameHolder(*held)) held.reset();
  return held;
}

void BackupLock::Holder::requireOwn() const {
  if (const auto other = takenOverBy())
    throw BackupEngineError::locked(other->holderText(), other->startedAt);
}

void BackupLock::Holder::release() noexcept {
  released_.withLock([&](bool& released) {
    if (std::exchange(released, true)) return;
    lock_.release(directory_);
    activeRuns().withLock([&](auto& runs) { runs.erase(*lock_.runID); });
  });
}

}  // namespace orvik
