#include "orvik/Folder/LockReport.h"

#include <fmt/format.h>

#include <chrono>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Files/Files.h"
#include "Platform/Locale/Text.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

namespace files = platform::files;
using platform::json::Value;
using Staleness = BackupLock::Staleness;

/// Why a lock is void, or is not.
std::string verdict(const BackupLock& lock, platform::Date now) {
  switch (lock.staleness(now)) {
    case Staleness::silent:
      return "Stale: it gave no sign of life for more than 15 minutes.";
    case Staleness::gone:
      return fmt::format("Stale: this machine has no process {}.", lock.processID);
    case Staleness::dropped:
      return fmt::format("Stale: process {} does not hold it any more.", lock.processID);
    case Staleness::none:
      break;
  }
  if (lock.host == BackupLock::currentHost() && lock.isOfAnotherMachine())
    return "Not stale: it gave a sign of life within 15 minutes, and its holder runs on another machine or "
           "in "
           "a container that bears this machine's name.";
  if (!lock.isOfAnotherMachine())
    return fmt::format("Not stale: process {} of this machine is alive.", lock.processID);
  return "Not stale: it gave a sign of life within 15 minutes, and nobody can look at a process of another "
         "machine.";
}

std::string_view nameOf(Staleness staleness) {
  switch (staleness) {
    case Staleness::silent:
      return "heartbeat";
    case Staleness::gone:
      return "process";
    case Staleness::dropped:
      return "run";
    case Staleness::none:
      break;
  }
  return "";
}

std::string dated(platform::Date date, platform::Date now) {
  return fmt::format("{} ({})", platform::locale::dateText(date), wording::ago(date, now));
}

/// Whole seconds; negative for what lies ahead.
std::int64_t secondsSince(platform::Date date, platform::Date now) {
  return std::chrono::floor<std::chrono::seconds>(now - date).count();
}

}  // namespace

FoundLock FoundLock::in(const std::filesystem::path& folder) {
  FoundLock found;
  found.path = folder / BackupFormat::lockFile;
  try {
    files::read(found.path, found.bytes, BackupFormat::recordLimit);
  } catch (const files::FileError& error) {
    found.bytes.clear();
    if (error.kind() == files::FileErrorKind::notFound && !files::exists(found.path)) return found;
    found.state = State::unreadable;
    found.problem = error.description();
    return found;
  }
  found.lock = BackupFormat::makeDecoder().tryDecode<BackupLock>(found.bytes);
  found.state = found.lock ? State::lock : State::foreign;
  return found;
}

std::vector<std::string> lockText(const FoundLock& found, platform::Date now) {
  using State = FoundLock::State;
  if (found.state == State::none) return {"No lock: nobody writes to this folder."};
  if (found.state == State::foreign)
    return {
        oneLine(fmt::format("{} is no lock: it can't be decoded. It holds nobody up; the next writer takes "
                            "its place.",
                            found.path.string()))};
  if (found.state == State::unreadable) return {oneLine(found.problem)};
  const auto& lock = *found.lock;
  return {oneLine(fmt::format("Held by {}, process {}, which calls itself \"{}\"", lock.holderText(),
                              lock.processID, lock.orvikVersion)),
          fmt::format("  since      {}", dated(lock.startedAt, now)),
          fmt::format("  heartbeat  {}", dated(lock.heartbeat, now)), verdict(lock, now)};
}

Value lockJSON(const FoundLock& found, platform::Date now) {
  using State = FoundLock::State;
  auto line = Value::object({{"event", "lock"}});
  if (found.state == State::none) return line.set("state", "none");
  if (found.state == State::foreign) return line.set("state", "foreign");
  if (found.state == State::unreadable)
    return line.set("state", "unreadable").set("message", oneLine(found.problem));
  const auto& lock = *found.lock;
  const auto staleness = lock.staleness(now);
  line.set("state", staleness == Staleness::none ? "live" : "stale");
  if (staleness != Staleness::none) line.set("staleBy", nameOf(staleness));
  return line.set("holder", lock.holderText())
      .set("host", lock.host)
      .set("user", lock.user)
      .set("processID", lock.processID)
      .set("orvikVersion", lock.orvikVersion)
      .set("startedAt", platform::iso8601(lock.startedAt))
      .set("heartbeat", platform::iso8601(lock.heartbeat))
      .set("startedSecondsAgo", secondsSince(lock.startedAt, now))
      .set("heartbeatSecondsAgo", secondsSince(lock.heartbeat, now));
}

}  // namespace orvik::host
