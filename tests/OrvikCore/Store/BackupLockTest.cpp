#include "OrvikCore/Store/BackupLock.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>

#include "OrvikCore/Format/BackupEngineError.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Files/FaultSeam.h"
#include "Platform/Host.h"
#include "TuvCore/Error.h"
#include "tests/Support/Folders.h"
#include "tests/Support/SampleRecords.h"

namespace {

using namespace orvik;
namespace files = platform::files;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// A process that lives as long as this value.
class OtherProcess {
 public:
  OtherProcess() : id_(fork()) {
    if (id_ == 0)
      while (true) pause();
  }
  ~OtherProcess() { end(); }
  void end() {
    if (id_ <= 0) return;
    kill(id_, SIGKILL);
    waitpid(id_, nullptr, 0);
    id_ = 0;
  }
  pid_t id() const { return id_; }

 private:
  pid_t id_;
};

class Lock : public testing::Test {
 protected:
  files::TempFolder folder;
  const std::filesystem::path path = folder / "backup.lock";
  const platform::Date now = test::date("2025-03-04T09:15:00Z");

  BackupLock recordOf(std::int32_t process, std::string host = BackupLock::currentHost()) const {
    return {std::move(host), "someone", process, now, now, "0.1.0", platform::UUID::random()};
  }
  void place(const BackupLock& lock) const { test::write(path, BackupFormat::makeEncoder().encode(lock)); }
  auto acquire() const { return BackupLock::acquire(folder.path(), "0.1.0", now); }
};

TEST_F(Lock, AcquireWritesWhoHoldsIt) {
  const auto holder = acquire();
  const auto lock = BackupLock::current(folder.path());
  ASSERT_TRUE(lock);
  EXPECT_EQ(*lock, holder->lock());
  EXPECT_EQ(lock->host, BackupLock::currentHost());
  EXPECT_EQ(lock->user, platform::userName());
  EXPECT_EQ(lock->processID, getpid());
  EXPECT_EQ(lock->startedAt, now);
  EXPECT_EQ(lock->heartbeat, now);
  EXPECT_EQ(lock->orvikVersion, "0.1.0");
  EXPECT_TRUE(lock->runID);
  EXPECT_TRUE(lock->isOwnedByThisProcess());
  EXPECT_EQ(holder->directory(), folder.path());
  EXPECT_EQ(files::read(path), BackupFormat::makeEncoder().encode(*lock));
}

TEST_F(Lock, ASecondAcquireInThisProcessFailsAndNamesTheHolder) {
  const auto holder = acquire();
  const auto before = files::read(path);
  try {
    acquire();
    FAIL() << "it was taken twice";
  } catch (const BackupEngineError& error) {
    EXPECT_EQ(error.kind(), BackupEngineError::Kind::locked);
    EXPECT_EQ(error.by(), platform::userName() + " on " + BackupLock::currentHost());
    EXPECT_EQ(error.since(), now);
  }
  EXPECT_EQ(files::read(path), before);
}

TEST_F(Lock, IsGoneAfterReleaseAndReleasingTwiceIsHarmless) {
  const auto holder = acquire();
  holder->release();
  EXPECT_FALSE(files::exists(path));
  const auto next = acquire();
  holder->release();
  EXPECT_TRUE(files::exists(path)) << "a second release must not touch the next holder's file";
}

TEST_F(Lock, IsReleasedWhenItsHolderGoes) {
  acquire();
  EXPECT_FALSE(files::exists(path));
}

TEST_F(Lock, AHeartbeatOf901SecondsIsStaleAlsoOfALivingHolder) {
  const auto holder = acquire();
  const auto& lock = holder->lock();
  EXPECT_FALSE(lock.isStale(now));
  EXPECT_FALSE(lock.isStale(now + seconds(900)));
  EXPECT_TRUE(lock.isStale(now + seconds(900) + milliseconds(1)));
  EXPECT_TRUE(lock.isStale(now + seconds(901)));
  EXPECT_FALSE(lock.isStale(now - seconds(100'000))) << "a clock that was set back";
}

TEST_F(Lock, OfAnotherHostWithAFreshHeartbeatIsNeverStale) {
  for (const std::int32_t process : {0, 1, -1, static_cast<std::int32_t>(getpid()), 2147483647}) {
    auto lock = recordOf(process, "another host");
    EXPECT_FALSE(lock.isStale(now + seconds(900))) << process;
    EXPECT_TRUE(lock.isStale(now + seconds(901))) << process;
    EXPECT_FALSE(lock.isOwnedByThisProcess());
  }
}

TEST_F(Lock, OfAProcessThatHasGoneIsStaleAtOnce) {
  OtherProcess other;
  const auto lock = recordOf(other.id());
  EXPECT_FALSE(lock.isStale(now));
  other.end();
  EXPECT_TRUE(lock.isStale(now));
}

TEST_F(Lock, OfAProcessThatMayNotBeProbedIsNotStale) { EXPECT_FALSE(recordOf(1).isStale(now)); }

TEST_F(Lock, WithThisProcessIDButAnUnknownRunIsStale) {
  auto lock = recordOf(getpid());
  EXPECT_TRUE(lock.isStale(now));
  lock.runID.reset();
  EXPECT_TRUE(lock.isStale(now));
}

TEST_F(Lock, OfAReleasedRunIsStale) {
  const auto holder = acquire();
  const auto lock = holder->lock();
  holder->release();
  EXPECT_TRUE(lock.isStale(now));
}

TEST_F(Lock, SaysByWhichRuleItIsStale) {
  using enum BackupLock::Staleness;
  OtherProcess other;
  const auto holder = acquire();
  EXPECT_EQ(holder->lock().staleness(now), none);
  EXPECT_EQ(holder->lock().staleness(now + seconds(901)), silent);
  EXPECT_EQ(recordOf(other.id()).staleness(now), none);
  EXPECT_EQ(recordOf(other.id(), "another host").staleness(now + seconds(901)), silent);
  EXPECT_EQ(recordOf(getpid()).staleness(now), dropped);
  const auto lost = recordOf(other.id());
  other.end();
  EXPECT_EQ(lost.staleness(now), gone);
  EXPECT_EQ(lost.staleness(now + seconds(901)), silent);
  EXPECT_EQ(recordOf(lost.processID, "another host").staleness(now), none);
}

TEST_F(Lock, ALivingOtherProcessKeepsIt) {
  OtherProcess other;
  place(recordOf(other.id()));
  EXPECT_THROW(acquire(), BackupEngineError);
  other.end();
  EXPECT_EQ(acquire()->lock().processID, getpid());
}

TEST_F(Lock, AnUndecodableFileBlocksNobodyAndIsOverwritten) {
  for (const auto& text : {std::string(), std::string("{"), std::string("garbage\0", 8), std::string("[]")}) {
    test::write(path, text);
    EXPECT_EQ(BackupLock::current(folder.path()), std::nullopt);
    const auto holder = acquire();
    EXPECT_EQ(BackupLock::current(folder.path()), holder->lock());
  }
}

TEST_F(Lock, AFarTooLongFileBlocksNobody) {
  test::makeSparse(path, std::uintmax_t{1} << 40);
  EXPECT_TRUE(BackupLock::current(folder.path()) == std::nullopt);
  EXPECT_NO_THROW(acquire());
}

TEST_F(Lock, APipeInItsPlaceIsReplacedAndNeverBlocks) {
  test::makePipe(path);
  const auto holder = acquire();
  EXPECT_EQ(BackupLock::current(folder.path()), holder->lock());
}

TEST_F(Lock, AFolderInItsPlaceFailsAndTheRunIsForgotten) {
  std::filesystem::create_directories(path / "x");
  EXPECT_THROW(acquire(), files::FileError);
  std::filesystem::remove_all(path);
  EXPECT_NO_THROW(acquire());
}

TEST_F(Lock, TheSameHolderHasHostProcessAndRunInCommon) {
  const auto lock = recordOf(7);
  auto other = lock;
  other.heartbeat += seconds(60);
  other.user = "another";
  EXPECT_TRUE(lock.isSameHolder(other));
  other.runID.reset();
  EXPECT_FALSE(lock.isSameHolder(other));
  auto alsoWithout = other;
  EXPECT_TRUE(other.isSameHolder(alsoWithout));
  alsoWithout.processID = 8;
  EXPECT_FALSE(other.isSameHolder(alsoWithout));
  auto elsewhere = lock;
  elsewhere.host = "another";
  EXPECT_FALSE(lock.isSameHolder(elsewhere));
}

TEST_F(Lock, RefreshRenewsTheHeartbeatAndNothingElse) {
  const auto holder = acquire();
  const auto before = platform::now();
  holder->refresh();
  auto lock = BackupLock::current(folder.path()).value();
  EXPECT_GE(lock.heartbeat + seconds(1), before);
  EXPECT_LE(lock.heartbeat, platform::now());
  lock.heartbeat = now;
  EXPECT_EQ(lock, holder->lock());
}

TEST_F(Lock, RefreshWritesTheHeldRecordAndNotWhatTheFileSays) {
  const auto holder = acquire();
  auto foreign = holder->lock();
  foreign.user = "another";
  place(foreign);
  holder->refresh();
  EXPECT_EQ(BackupLock::current(folder.path())->user, holder->lock().user);
}

TEST_F(Lock, AfterATakeoverRefreshAndReleaseLeaveTheOthersFileAlone) {
  const auto holder = acquire();
  EXPECT_EQ(holder->takenOverBy(), std::nullopt);
  const auto other = recordOf(4711, "another host");
  place(other);
  const auto bytes = files::read(path);
  holder->refresh();
  EXPECT_EQ(files::read(path), bytes);
  EXPECT_EQ(holder->takenOverBy(), other);
  holder->release();
  EXPECT_EQ(files::read(path), bytes);
}

TEST_F(Lock, RefreshOfAMissingOrUnreadableFileWritesNothing) {
  const auto holder = acquire();
  std::filesystem::remove(path);
  holder->refresh();
  EXPECT_FALSE(files::exists(path));
  test::write(path, "garbage");
  holder->refresh();
  EXPECT_EQ(files::read(path), "garbage");
  holder->release();
  EXPECT_EQ(files::read(path), "garbage");
}

TEST_F(Lock, RefreshAfterReleaseDoesNotBringTheFileBack) {
  const auto holder = acquire();
  const auto bytes = files::read(path);
  holder->release();
  test::write(path, bytes);
  holder->refresh();
  EXPECT_EQ(files::read(path), bytes);
}

TEST_F(Lock, OneThatIsGoneIsNobodysToWriteUnder) {
  const auto holder = acquire();
  EXPECT_NO_THROW(holder->requireOwn());
  EXPECT_FALSE(holder->isGone());
  std::filesystem::remove(path);
  EXPECT_TRUE(holder->isGone());
  try {
    holder->requireOwn();
    FAIL() << "the run would go on";
  } catch (const tuv::Error& error) {
    EXPECT_NE(error.description().find(path.string()), std::string::npos) << error.description();
    EXPECT_NE(error.description().find("not mounted"), std::string::npos) << error.description();
  }
  EXPECT_FALSE(files::exists(path));
}

TEST_F(Lock, OneThatCanNotBeReadIsNotGone) {
  const auto holder = acquire();
  test::write(path, "garbage");
  EXPECT_FALSE(holder->isGone());
  std::filesystem::remove(path);
  std::filesystem::create_directories(path);
  EXPECT_FALSE(holder->isGone());
}

TEST_F(Lock, ALateSignOfLifeIsWrittenBeforeTheRunGoesOn) {
  const auto holder = acquire();  // years ago
  holder->requireOwn();
  EXPECT_GT(BackupLock::current(folder.path())->heartbeat + seconds(60), platform::now());
}

TEST_F(Lock, WithoutASignOfLifeForFifteenMinutesTheRunEnds) {
  const auto holder = acquire();
  files::armFaultSeam(1, files::FaultAction::failFromThen);
  EXPECT_THROW(holder->requireOwn(), tuv::Error);
  files::disarmFaultSeam();
  EXPECT_NO_THROW(holder->requireOwn());
}

/// Puts the mark of no machine back.
struct MarkedMachine {
  explicit MarkedMachine(const std::string& mark) { BackupLock::setMachineMark(mark); }
  ~MarkedMachine() { BackupLock::setMachineMark(""); }
};

TEST_F(Lock, OfANamesakeWithAnotherMarkIsNeverStaleByItsProcess) {
  OtherProcess other;
  auto lock = recordOf(other.id());
  other.end();
  lock.orvikVersion = "0.1.0 (machine aaaa)";
  EXPECT_EQ(lock.staleness(now), BackupLock::Staleness::gone) << "nobody said which machine this is";
  const MarkedMachine here("bbbb");
  EXPECT_TRUE(lock.isOfAnotherMachine());
  EXPECT_EQ(lock.staleness(now), BackupLock::Staleness::none);
  EXPECT_EQ(lock.staleness(now + seconds(901)), BackupLock::Staleness::silent);
  place(lock);
  EXPECT_THROW(acquire(), BackupEngineError);
  auto own = recordOf(getpid());
  own.orvikVersion = "0.1.0 (machine aaaa)";
  EXPECT_EQ(own.staleness(now), BackupLock::Staleness::none) << "the same number in a container";
}

TEST_F(Lock, OfThisMachineBearsItsMarkAndOneWithoutAMarkCountsByItsName) {
  const MarkedMachine here("bbbb");
  const auto holder = acquire();
  EXPECT_EQ(holder->lock().orvikVersion, "0.1.0 (machine bbbb)");
  EXPECT_FALSE(holder->lock().isOfAnotherMachine());
  EXPECT_EQ(holder->lock().staleness(now), BackupLock::Staleness::none);
  EXPECT_EQ(recordOf(getpid()).staleness(now), BackupLock::Staleness::dropped);
  EXPECT_TRUE(recordOf(1, "another host").isOfAnotherMachine());
}

TEST_F(Lock, AMissedHeartbeatIsSwallowedAndMadeGoodByTheNext) {
  const auto holder = acquire();
  files::armFaultSeam(1, files::FaultAction::failFromThen);
  holder->refresh();
  files::disarmFaultSeam();
  EXPECT_EQ(BackupLock::current(folder.path()), holder->lock());
  holder->refresh();
  EXPECT_GT(BackupLock::current(folder.path())->heartbeat, now);
}

}  // namespace
