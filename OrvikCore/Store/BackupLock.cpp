#include "OrvikCore/Store/BackupLock.h"

#include <fmt/format.h>

#include <chrono>
#include <exception>
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

/// What tells this machine from its namesakes; empty while nobody said it.
tuv::Locked<std::string>& machineMark() {
  static tuv::Locked<std::string> mark;
  return mark;
}

constexpr std::string_view beforeMark = " (machine ";
constexpr std::string_view behindMark = ")";

/// The mark at the end of what a holder calls itself; empty for none.
std::string_view markOf(std::string_view version) {
  const auto start = version.rfind(beforeMark);
  if (start == std::string_view::npos || !version.ends_with(behindMark)) return {};
  version.remove_prefix(start + beforeMark.size());
  version.remove_suffix(behindMark.size());
  return version;
}

void writeLock(const BackupLock& lock, const std::filesystem::path& folder) {
  ObjectStore::atomicWrite(BackupFormat::makeEncoder().encode(lock), folder / BackupFormat::lockFile);
}

}  // namespace

std::string BackupLock::currentHost() { return platform::machineName(); }

void BackupLock::setMachineMark(std::string mark) {
  machineMark().withLock([&](auto& present) { present = std::move(mark); });
}

bool BackupLock::isOfAnotherMachine() const {
  if (host != currentHost()) return true;
  const auto theirs = markOf(orvikVersion);
  return machineMark().withLock(
      [&](const auto& ours) { return !ours.empty() && !theirs.empty() && theirs != ours; });
}

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
  if (isOfAnotherMachine()) return none;
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

  machineMark().withLock([&](const auto& mark) {
    if (!mark.empty()) orvikVersion.append(beforeMark).append(mark).append(behindMark);
  });
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
    : lock_(std::move(lock)), directory_(std::move(directory)), state_({false, lock_.heartbeat}) {}

BackupLock::Holder::~Holder() { release(); }

void BackupLock::Holder::refresh() noexcept try {
  state_.withLock([&](State& state) {
    if (state.released) return;
    const auto held = current(directory_);
    if (!held || !lock_.isSameHolder(*held)) return;
    BackupLock renewed = lock_;
    renewed.heartbeat = platform::now();
    writeLock(renewed, directory_);
    state.lastSign = renewed.heartbeat;
  });
} catch (...) {
  // A missed heartbeat is made good by a later one.
}

std::optional<BackupLock> BackupLock::Holder::takenOverBy() const {
  auto held = current(directory_);
  if (held && lock_.isSameHolder(*held)) held.reset();
  return held;
}

bool BackupLock::Holder::isGone() const noexcept {
  try {
    platform::files::read(directory_ / BackupFormat::lockFile);
  } catch (const platform::files::FileError& error) {
    return error.kind() == platform::files::FileErrorKind::notFound;
  } catch (const std::exception&) {
    // Nothing is known.
  }
  return false;
}

void BackupLock::Holder::requireOwn() {
  if (const auto other = takenOverBy())
    throw BackupEngineError::locked(other->holderText(), other->startedAt);
  if (isGone())
    throw tuv::Error(fmt::format(
        "{} is gone although this run holds it: is the disk or share not mounted any more, or did somebody "
        "remove the lock? Nothing more is written there.",
        (directory_ / BackupFormat::lockFile).string()));
  const auto isOverdue = [this] {
    const auto lastSign = state_.withLock([](const State& state) { return state.lastSign; });
    return std::chrono::duration<double>(platform::now() - lastSign).count() > staleAfterSeconds;
  };
  if (!isOverdue()) return;
  refresh();
  if (isOverdue())
    throw tuv::Error(
        fmt::format("No sign of life could be written to {} for more than 15 minutes, so that "
                    "another writer may take the folder at any time.",
                    (directory_ / BackupFormat::lockFile).string()));
}

void BackupLock::Holder::release() noexcept {
  state_.withLock([&](State& state) {
    if (std::exchange(state.released, true)) return;
    lock_.release(directory_);
    activeRuns().withLock([&](auto& runs) { runs.erase(*lock_.runID); });
  });
}

}  // namespace orvik
