#include "orvik/Folder/LockCommands.h"

#include <fmt/format.h>

#include "OrvikCore/Format/BackupEngineError.h"
#include "Platform/Files/Files.h"
#include "orvik/Folder/InstanceFolder.h"
#include "orvik/Folder/LockReport.h"
#include "orvik/Output/JSONRecord.h"
#include "orvik/Output/Question.h"
#include "orvik/Output/VisibleText.h"

namespace orvik::host {

namespace {

namespace files = platform::files;
using Staleness = BackupLock::Staleness;
using State = FoundLock::State;

BackupEngineError heldBy(const BackupLock& lock) {
  return BackupEngineError::locked(lock.holderText(), lock.startedAt);
}

class Unlocking {
 public:
  Unlocking(const UnlockArguments& arguments, Results& results, const std::stop_token& stop)
      : arguments_(arguments),
        results_(results),
        stop_(stop),
        folder_(instanceFolder(arguments.folder).instanceDirectory),
        found_(FoundLock::in(folder_)) {}

  ExitStatus run() {
    switch (found_.state) {
      case State::none:
        return finish(false, "There is no lock to remove.");
      case State::unreadable:
        throw tuv::Error(found_.problem + ". Nobody knows whose it is, so it stays.");
      case State::foreign:
        if (!agreed("Remove it?")) return finish(false, "Nothing was removed.", ExitStatus::failed);
        removeForeign();
        break;
      case State::lock:
        if (!mayGo(*found_.lock)) return finish(false, "Nothing was removed.", ExitStatus::failed);
        removeShown(*found_.lock);
        break;
    }
    return finish(true, "The lock is removed.");
  }

 private:
  void show() const {
    for (const auto& line : lockText(found_, platform::now())) remarks::line(line);
  }

  /// Whether a person, or `--yes`, agrees.
  bool agreed(const std::string& question) const {
    if (arguments_.yes) return true;
    if (!question::canAsk()) throw UsageError("Without a terminal, --yes is needed to remove a lock.");
    show();
    return question::confirms(question, stop_);
  }

  bool mayGo(const BackupLock& lock) const {
    if (arguments_.holder) {
      requireHolder(*arguments_.holder, lock);
      if (!isVoid(lock) && !arguments_.force) throw heldBy(lock);
      return true;
    }
    if (isVoid(lock)) return agreed("Remove it?");
    if (!arguments_.force) throw heldBy(lock);
    if (!question::canAsk())
      throw UsageError(
          "Without a terminal, --force needs --holder \"USER on HOST\", as lock show prints it.");
    show();
    requireHolder(question::ask("Its holder may be writing now. To remove the lock all the same, type the "
                                "holder's name (USER on HOST):",
                                stop_),
                  lock);
    return true;
  }

  static bool isVoid(const BackupLock& lock) { return lock.isStale(platform::now()); }

  static void requireHolder(const std::string& named, const BackupLock& lock) {
    if (named != lock.holderText())
      throw tuv::Error(fmt::format("The lock is held by {}, which is not the name that was given. It stays.",
                                   oneLine(lock.holderText())));
  }

  /// Only what was shown: whoever took the lock meanwhile keeps it, and a holder that has come back to life
  /// too.
  void removeShown(const BackupLock& shown) const {
    const auto present = BackupLock::current(folder_);
    if (!present) return;
    if (!present->isSameHolder(shown) || (!arguments_.force && !isVoid(*present))) throw heldBy(*present);
    shown.release(folder_);
    if (const auto left = BackupLock::current(folder_); left && left->isSameHolder(shown))
      throw tuv::Error(fmt::format("Can't delete {}.", found_.path.string()));
  }

  void removeForeign() const {
    const auto present = FoundLock::in(folder_);
    if (present.state == State::none) return;
    if (present.state != State::foreign || present.bytes != found_.bytes)
      throw tuv::Error(found_.path.string() + " has changed just now. It stays.");
    files::remove(found_.path);
  }

  ExitStatus finish(bool removed, const std::string& text, ExitStatus status = ExitStatus::done) const {
    if (arguments_.json) {
      auto line = lockJSON(found_, platform::now());
      results_.line(jsonLine(line.set("removed", removed)));
    } else {
      results_.line(text);
    }
    return status;
  }

  const UnlockArguments& arguments_;
  Results& results_;
  const std::stop_token& stop_;
  const files::Path folder_;
  const FoundLock found_;
};

}  // namespace

ExitStatus showLock(const ShowLockArguments& arguments, Results& results) {
  const auto found = FoundLock::in(instanceFolder(arguments.folder).instanceDirectory);
  const auto now = platform::now();
  if (arguments.json) {
    results.line(jsonLine(lockJSON(found, now)));
  } else {
    for (const auto& line : lockText(found, now)) results.line(line);
  }
  return ExitStatus::done;
}

ExitStatus unlock(const UnlockArguments& arguments, Results& results, const std::stop_token& stop) {
  return Unlocking(arguments, results, stop).run();
}

}  // namespace orvik::host
