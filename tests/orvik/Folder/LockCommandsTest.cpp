#include "orvik/Folder/LockCommands.h"

#include <chrono>

#include "Platform/Host.h"
#include "tests/Support/FolderHost.h"

namespace orvik {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;
using test::member;
using test::runToEnd;
using testing::HasSubstr;
using testing::Not;
namespace files = platform::files;

class LockCommands : public test::FolderHost {
 protected:
  static constexpr const char* holder = "somebody on another host";

  /// Of another machine, with a heartbeat of that age.
  static BackupLock lockOf(std::chrono::seconds silence) {
    const auto now = platform::now();
    return {"another host",          "somebody", 4711, now - minutes(90), now - silence, "0.1.0",
            platform::UUID::random()};
  }
  void placeLive() const { place(lockOf(seconds(5))); }
  void placeStale() const { place(lockOf(minutes(16))); }
  test::ProgramEnd show(const Arguments& more = {}) const { return lock("show", more); }
  test::ProgramEnd unlock(const Arguments& more = {}) const { return lock("unlock", more); }
  test::ProgramEnd unlockTyping(const std::string& answer, const Arguments& more = {}) const {
    return runToEnd(typing(answer, arguments("unlock", more)));
  }
  bool isLocked() const { return files::exists(lockPath()); }

 private:
  Arguments arguments(const std::string& command, const Arguments& more) const {
    Arguments all{"lock", command, folder()};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }
  test::ProgramEnd lock(const std::string& command, const Arguments& more) const {
    return run(arguments(command, more));
  }
};

TEST_F(LockCommands, ShowSaysThatNobodyHoldsTheFolder) {
  const auto end = show();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(end.output, "No lock: nobody writes to this folder.\n");
  EXPECT_EQ(member(linesOf(show({"--json"})).at(0), "state"), "none");
}

TEST_F(LockCommands, ShowNamesTheHolderItsAgesAndTheRule) {
  placeStale();
  const auto end = show();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("Held by somebody on another host, process 4711, which calls itself "
                                    "\"0.1.0\"\n"));
  EXPECT_THAT(end.output, testing::ContainsRegex("since .*90 min ago|since .*2 h ago"));
  EXPECT_THAT(end.output, HasSubstr("(16 min ago)\n"));
  EXPECT_THAT(end.output, HasSubstr("Stale: it gave no sign of life for more than 15 minutes.\n"));
}

TEST_F(LockCommands, ShowTellsALivingProcessFromOneThatIsGone) {
  auto lock = lockOf(seconds(5));
  place(lock);
  EXPECT_THAT(show().output, HasSubstr("Not stale: it gave a sign of life within 15 minutes"));
  lock.host = BackupLock::currentHost();
  lock.processID = platform::processID();
  place(lock);
  EXPECT_THAT(show().output, HasSubstr("Not stale: process " + std::to_string(platform::processID()) +
                                       " of this machine is alive."));
  lock.processID = 2147483647;
  place(lock);
  EXPECT_THAT(show().output, HasSubstr("Stale: this machine has no process 2147483647."));
}

TEST_F(LockCommands, ShowPrintsTheSameAsJSON) {
  auto lock = lockOf(minutes(16));
  place(lock);
  auto line = linesOf(show({"--json"})).at(0);
  EXPECT_EQ(member(line, "event"), "lock");
  EXPECT_EQ(member(line, "state"), "stale");
  EXPECT_EQ(member(line, "staleBy"), "heartbeat");
  EXPECT_EQ(member(line, "holder"), holder);
  EXPECT_EQ(member(line, "host"), "another host");
  EXPECT_EQ(member(line, "user"), "somebody");
  EXPECT_EQ(member(line, "processID"), "4711");
  EXPECT_EQ(member(line, "orvikVersion"), "0.1.0");
  EXPECT_EQ(member(line, "startedAt"), platform::iso8601(lock.startedAt));
  EXPECT_EQ(member(line, "heartbeat"), platform::iso8601(lock.heartbeat));
  EXPECT_THAT(member(line, "heartbeatSecondsAgo"), testing::MatchesRegex("96[0-9]"));
  lock = lockOf(seconds(5));
  lock.host = BackupLock::currentHost();
  lock.processID = 2147483647;
  place(lock);
  EXPECT_EQ(member(linesOf(show({"--json"})).at(0), "staleBy"), "process");
  placeLive();
  line = linesOf(show({"--json"})).at(0);
  EXPECT_EQ(member(line, "state"), "live");
  EXPECT_EQ(member(line, "staleBy"), "(none)");
}

TEST_F(LockCommands, ShowChangesNothing) {
  placeStale();
  const auto before = content();
  show();
  EXPECT_EQ(content(), before);
}

TEST_F(LockCommands, AFileThatIsNoLockIsCalledSo) {
  test::write(lockPath(), "torn");
  const auto end = show();
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.output, HasSubstr(lockPath().string() + " is no lock"));
  EXPECT_EQ(member(linesOf(show({"--json"})).at(0), "state"), "foreign");
  EXPECT_EQ(unlock({"--yes"}).status, 0);
  EXPECT_FALSE(isLocked());
}

TEST_F(LockCommands, WhatCannotBeReadStays) {
  std::filesystem::create_directory(lockPath());
  EXPECT_THAT(show().output, HasSubstr(lockPath().string()));
  EXPECT_EQ(member(linesOf(show({"--json"})).at(0), "state"), "unreadable");
  const auto end = unlock({"--yes", "--force", "--holder", holder});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr(lockPath().string()));
  EXPECT_TRUE(isLocked());
}

TEST_F(LockCommands, NamesOfAForeignLockCannotMoveTheCursor) {
  auto lock = lockOf(seconds(5));
  lock.user = "some\x1b[2Jbody\n";
  place(lock);
  const auto end = show();
  EXPECT_THAT(end.output, Not(HasSubstr("\x1b")));
  EXPECT_THAT(end.output, HasSubstr("Held by some␛[2Jbody  on another host"));
}

TEST_F(LockCommands, UnlockTakesAStaleLockWithYes) {
  placeStale();
  const auto end = unlock({"--yes"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(end.output, "The lock is removed.\n");
  EXPECT_FALSE(isLocked());
  placeStale();
  const auto line = linesOf(unlock({"--yes", "--json"})).at(0);
  EXPECT_EQ(member(line, "removed"), "true");
  EXPECT_EQ(member(line, "state"), "stale");
}

TEST_F(LockCommands, UnlockWithoutALockIsDone) {
  const auto end = unlock({"--yes"});
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.output, "There is no lock to remove.\n");
}

TEST_F(LockCommands, WithoutATerminalYesIsNeeded) {
  placeStale();
  auto end = unlock();
  EXPECT_EQ(end.status, 2);
  EXPECT_THAT(end.error, HasSubstr("--yes"));
  end = unlock({"--force"});
  EXPECT_EQ(end.status, 2);
  EXPECT_TRUE(isLocked());
}

TEST_F(LockCommands, AtATerminalAPersonIsShownTheLockAndAsked) {
  placeStale();
  auto end = unlockTyping("n");
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("Held by somebody on another host"));
  EXPECT_THAT(end.error, HasSubstr("Remove it? [y/N] "));
  EXPECT_EQ(end.output, "Nothing was removed.\n");
  EXPECT_TRUE(isLocked());
  EXPECT_EQ(unlockTyping("").status, 1);
  EXPECT_TRUE(isLocked());
  end = unlockTyping("Yes");
  EXPECT_EQ(end.status, 0);
  EXPECT_FALSE(isLocked());
}

TEST_F(LockCommands, ALiveLockIsNeverTakenWithoutForce) {
  placeLive();
  const auto before = content();
  for (const auto& more : {Arguments{"--yes"}, Arguments{"--yes", "--holder", holder}, Arguments{}}) {
    const auto end = unlock(more);
    EXPECT_EQ(end.status, 11);
    EXPECT_THAT(end.error, HasSubstr("somebody on another host has been backing up"));
  }
  EXPECT_EQ(unlockTyping("y").status, 11);
  EXPECT_EQ(content(), before);
}

TEST_F(LockCommands, ForceWantsTheHoldersName) {
  placeLive();
  auto end = unlock({"--force", "--yes"});
  EXPECT_EQ(end.status, 2);
  EXPECT_THAT(end.error, HasSubstr("--holder"));
  for (const std::string name : {"", "somebody", "Somebody on another host", "somebody on another host."}) {
    end = unlock({"--force", "--yes", "--holder=" + name});
    EXPECT_NE(end.status, 0) << name;
    EXPECT_TRUE(isLocked());
  }
  end = unlock({"--force", "--holder", holder});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_FALSE(isLocked());
}

TEST_F(LockCommands, ForceAsksForTheNameAtATerminal) {
  placeLive();
  auto end = unlockTyping("yes", {"--force"});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("type the holder's name"));
  EXPECT_TRUE(isLocked());
  end = unlockTyping(holder, {"--force"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_FALSE(isLocked());
}

TEST_F(LockCommands, AHolderThatDoesNotFitProtectsAStaleLockToo) {
  placeStale();
  const auto end = unlock({"--yes", "--holder", "another on another host"});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr(holder));
  EXPECT_TRUE(isLocked());
}

TEST_F(LockCommands, ALockThatSomebodyElseTookWhileAPersonThoughtStays) {
  placeStale();
  auto program = typing("", {"lock", "unlock", folder()});
  program.input = "";
  test::RunningProgram running(program);
  ASSERT_TRUE(running.waitFor("[y/N]"));
  placeLive();
  const auto other = files::read(lockPath());
  running.type("y\n");
  const auto end = running.wait();
  EXPECT_EQ(end.status, 11);
  EXPECT_EQ(files::read(lockPath()), other);
}

TEST_F(LockCommands, AHolderThatComesBackToLifeKeepsItsLock) {
  auto lock = lockOf(minutes(16));
  place(lock);
  auto program = typing("", {"lock", "unlock", folder()});
  program.input = "";
  test::RunningProgram running(program);
  ASSERT_TRUE(running.waitFor("[y/N]"));
  lock.heartbeat = platform::now();
  place(lock);
  running.type("y\n");
  EXPECT_EQ(running.wait().status, 11);
  EXPECT_TRUE(isLocked());
}

TEST_F(LockCommands, ASignalEndsTheQuestion) {
  placeStale();
  auto program = typing("", {"lock", "unlock", folder()});
  program.input = "";
  test::RunningProgram running(program);
  ASSERT_TRUE(running.waitFor("[y/N]"));
  running.send(SIGTERM);
  EXPECT_EQ(running.wait().status, 130);
  EXPECT_TRUE(isLocked());
}

TEST_F(LockCommands, AFolderThatIsMissingOrNoneOfAnInstanceIsNotFound) {
  for (const auto& path : {home.path() / "none", home.path(), sample.index()}) {
    EXPECT_EQ(run({"lock", "show", path.string()}).status, 10);
    EXPECT_EQ(run({"lock", "unlock", path.string(), "--yes"}).status, 10);
  }
}

TEST_F(LockCommands, TheFolderOfAllInstancesIsExplained) {
  const BackupRepository below(home.path() / "north.example.com");
  below.writeDescriptor(test::instanceNamed("North"));
  const auto end = run({"lock", "show", home.path().string()});
  EXPECT_EQ(end.status, 10);
  EXPECT_THAT(end.error, HasSubstr("Below it are the folders of instances: north.example.com."));
}

}  // namespace
}  // namespace orvik
