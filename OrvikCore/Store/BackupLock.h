#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Date.h"
#include "Platform/JSON/Codable.h"
#include "Platform/UUID.h"
#include "TuvCore/Locked.h"

namespace orvik {

/// "backup.lock": who writes to an instance folder, with a sign of life. A plain file, since advisory locks
/// don't work on the shares that folders lie on.
///
/// Nothing tests and sets it in one step: two machines that take a stale lock in the same moment can both
/// believe to hold it. `Holder::refresh` narrows that window.
struct BackupLock {
  using Path = std::filesystem::path;

  /// A heartbeat older than that many seconds voids the claim, whoever made it.
  static constexpr double staleAfterSeconds = 900.0;

  std::string host;
  std::string user;
  std::int32_t processID = 0;
  platform::Date startedAt;
  platform::Date heartbeat;             ///< last sign of life
  std::string orvikVersion;             ///< what the holder calls itself
  std::optional<platform::UUID> runID;  ///< of this acquisition

  class Holder;

  /// This machine's name as locks state it.
  static std::string currentHost();

  /// A text that tells this machine from others that bear its name, such as its containers; acquisitions from
  /// now on add it to what the holder calls itself. A lock with another such text is one of another machine,
  /// of whose processes nothing is known. Without a text, names alone count. For programs, once at their
  /// start.
  static void setMachineMark(std::string mark);
  /// Whether it bears the mark of another machine, though perhaps this one's name.
  bool isOfAnotherMachine() const;

  /// The record in the folder; nothing when it is absent or can't be decoded.
  static std::optional<BackupLock> current(const Path& folder);

  /// Takes the lock; one that is stale or undecodable is written over without a word.
  /// Throws `BackupEngineError` (locked) while another holder lives, and `platform::files::FileError`.
  static std::unique_ptr<Holder> acquire(const Path& folder, std::string orvikVersion, platform::Date now);

  /// The rule by which a lock is void.
  enum class Staleness {
    none,     ///< it holds, or nothing can be said against it
    silent,   ///< no heartbeat for more than 900 seconds, whoever made it
    gone,     ///< this machine has no process of that number
    dropped,  ///< of this process's number, and no acquisition that this process still has
  };
  Staleness staleness(platform::Date now) const;
  bool isStale(platform::Date now) const { return staleness(now) != Staleness::none; }
  bool isOwnedByThisProcess() const;
  bool isSameHolder(const BackupLock& other) const noexcept;

  /// Who it is, as people read it: "<user> on <host>".
  std::string holderText() const { return user + " on " + host; }

  /// Removes the file if it is still this holder's. All failures are ignored.
  void release(const Path& folder) const noexcept;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("host", &BackupLock::host), field("user", &BackupLock::user),
                     field("processID", &BackupLock::processID), field("startedAt", &BackupLock::startedAt),
                     field("heartbeat", &BackupLock::heartbeat),
                     field("orvikVersion", &BackupLock::orvikVersion), field("runID", &BackupLock::runID));
  }
  bool operator==(const BackupLock&) const = default;
};

/// A lock that is held. Released when it goes. Any thread may call; renewing and giving up are serialised, so
/// that a late renewal can't bring the file back.
class BackupLock::Holder {
 public:
  ~Holder();
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;

  const BackupLock& lock() const noexcept { return lock_; }
  const Path& directory() const noexcept { return directory_; }

  /// Renews the heartbeat, unless the lock was released or taken over. All failures are swallowed: a missed
  /// one costs nothing as long as a later one succeeds within 900 seconds.
  void refresh() noexcept;

  /// The lock of another holder that stands in the folder by now; nothing while it is this one's, absent or
  /// unreadable.
  std::optional<BackupLock> takenOverBy() const;
  /// Whether no lock stands in the folder any more: somebody removed it, or another folder is in its place
  /// since a disk or a share was unmounted.
  bool isGone() const noexcept;
  /// Throws `BackupEngineError` (locked) when the lock was taken over, and `tuv::Error` when it is gone or
  /// when no sign of life could be written for so long that anybody may take it. One that is merely late, of
  /// a machine that slept, is written first.
  void requireOwn();

  /// Gives the lock up; a second call does nothing.
  void release() noexcept;

 private:
  friend struct BackupLock;
  Holder(BackupLock lock, Path directory);

  struct State {
    bool released = false;
    platform::Date lastSign;  ///< of life that was written
  };

  const BackupLock lock_;
  const Path directory_;
  /// Held over the few file operations of a renewal: without that a late one could bring the file back.
  tuv::Locked<State> state_;
};

}  // namespace orvik
