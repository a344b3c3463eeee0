#include "orvik/Backup/BackupCommand.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "OrvikCore/Config/ManagedInstances.h"
#include "OrvikCore/Jamf/SectionCatalog.h"
#include "OrvikCore/Store/BackupLock.h"
#include "tests/Support/HostFixture.h"

namespace orvik {
namespace {

using platform::MonotonicClock;
using test::ProgramEnd;
using test::ProgramStart;
using test::RunningProgram;
using test::runToEnd;
using testing::HasSubstr;
using testing::Not;

class BackupCommand : public test::HostFixture {};

TEST_F(BackupCommand, APlainRunPublishesABackupAndPrintsItsIDLast) {
  const auto end = runToEnd(backup());
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(end.output, end.lastLine() + "\n");
  const auto latest = repository().latestComplete();
  ASSERT_TRUE(latest);
  EXPECT_EQ(latest->id, end.lastLine());
  EXPECT_THAT(end.error, HasSubstr("buildings  "));
  EXPECT_THAT(end.error, HasSubstr("Complete: "));
  EXPECT_THAT(end.error, HasSubstr("Folder: " + (root / "127.0.0.1/backups" / latest->id).string()));
}

TEST_F(BackupCommand, TheInstanceHasTheStableIDAndItsHostAsName) {
  ASSERT_EQ(runToEnd(backup()).status, 0);
  const auto instance = repository().descriptor();
  ASSERT_TRUE(instance);
  EXPECT_EQ(instance->id, ManagedInstances::stableID(server.url(), server.clientID()));
  EXPECT_EQ(instance->name, "127.0.0.1");
  EXPECT_EQ(instance->url, server.url());
  EXPECT_EQ(instance->clientID, server.clientID());
}

TEST_F(BackupCommand, AFolderThatStandsKeepsItsIDAndName) {
  ASSERT_EQ(runToEnd(backup({"--name", "School"})).status, 0);
  auto stored = *repository().descriptor();
  EXPECT_EQ(stored.name, "School");
  stored.id = platform::UUID::random();
  repository().writeDescriptor(stored);
  ASSERT_EQ(runToEnd(backup()).status, 0);
  EXPECT_EQ(repository().descriptor()->id, stored.id);
  EXPECT_EQ(repository().descriptor()->name, "School");
}

TEST_F(BackupCommand, AFolderOfAnotherServerIsRefusedAndBothAreNamed) {
  ASSERT_EQ(runToEnd(backup()).status, 0);
  auto stored = *repository().descriptor();
  stored.url = "https://127.0.0.1";
  repository().writeDescriptor(stored);
  const auto end = runToEnd(backup());
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("127.0.0.1:443"));
  EXPECT_THAT(end.error, HasSubstr("127.0.0.1:" + std::to_string(server.port())));
  EXPECT_EQ(repository().completeBackups().size(), 1u);
}

TEST_F(BackupCommand, ASecondRunTellsWhatChanged) {
  ASSERT_EQ(runToEnd(backup()).status, 0);
  ASSERT_TRUE(server.change("buildings", server.ids("buildings").front()));
  const auto end = runToEnd(backup());
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.error, testing::ContainsRegex("buildings  [0-9]+ objects?, 1 changed\n"));
  EXPECT_THAT(end.error, HasSubstr("1 new or changed since "));
  EXPECT_EQ(repository().completeBackups().size(), 2u);
}

TEST_F(BackupCommand, WithoutOnlyAllSectionsAreRead) {
  auto arguments = backup({});
  std::erase(arguments.arguments, "--only");
  std::erase(arguments.arguments, "buildings,categories,departments");
  const auto end = runToEnd(arguments);
  EXPECT_EQ(end.status, 0) << end.error;
  const auto latest = repository().latestComplete();
  ASSERT_TRUE(latest);
  EXPECT_TRUE(latest->manifest.options.disabledSections.empty());
  EXPECT_TRUE(latest->manifest.options.downloadFiles);
  EXPECT_EQ(latest->manifest.sections.size(), SectionCatalog::all().size());
  EXPECT_GT(latest->manifest.totals.files, 0);
}

TEST_F(BackupCommand, OptionsReachTheRun) {
  ASSERT_EQ(runToEnd(backup({"--concurrency", "7", "--no-files", "--no-pack", "--no-reports"})).status, 0);
  const auto options = repository().latestComplete()->manifest.options;
  EXPECT_EQ(options.maxConcurrentRequests, 7);
  EXPECT_EQ(options.maxRequestsPerSecond, 0);
  EXPECT_FALSE(options.downloadFiles);
}

TEST_F(BackupCommand, ASectionThatIsNotPermittedIsAWarningWithItsReason) {
  server.refuseSection("categories", 403);
  const auto end = runToEnd(backup());
  EXPECT_EQ(end.status, 3);
  EXPECT_THAT(end.error, HasSubstr("Complete with warnings: "));
  EXPECT_THAT(end.error, HasSubstr("  categories  not permitted"));
  EXPECT_EQ(end.lastLine(), repository().latestComplete()->id);
}

TEST_F(BackupCommand, ASectionThatIsNotAvailableIsNoWarning) {
  server.refuseSection("categories", 404);
  const auto end = runToEnd(backup());
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.error, HasSubstr("Not available on this server: 1 section.\n"));
}

TEST_F(BackupCommand, AServerThatIsDownFailsTheRun) {
  server.stop();
  const auto end = runToEnd(backup());
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("orvik: Can't read from Jamf Pro: "));
  EXPECT_EQ(end.output, "");
}

TEST_F(BackupCommand, QuietLeavesTheResultAlone) {
  const auto end = runToEnd(backup({"--quiet"}));
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.error, "");
  EXPECT_EQ(end.output, repository().latestComplete()->id + "\n");
}

TEST_F(BackupCommand, AnotherWriterIsRespected) {
  platform::files::createDirectories(repository().instanceDirectory);
  const auto lock = BackupLock::acquire(repository().instanceDirectory, "test", platform::now());
  const auto end = runToEnd(backup());
  EXPECT_EQ(end.status, 11);
  EXPECT_THAT(end.error, HasSubstr("has been backing up this instance"));
  EXPECT_FALSE(lock->takenOverBy());
}

TEST_F(BackupCommand, LockWaitGoesOnWhenTheOtherWriterIsDone) {
  platform::files::createDirectories(repository().instanceDirectory);
  auto lock = BackupLock::acquire(repository().instanceDirectory, "test", platform::now());
  RunningProgram running(backup({"--lock-wait", "60"}));
  ASSERT_TRUE(running.waitFor("waiting up to 1 min 0 s"));
  lock->release();
  const auto end = running.wait();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_TRUE(repository().latestComplete());
}

TEST_F(BackupCommand, LockWaitEndsWhenItsTimeIsOver) {
  platform::files::createDirectories(repository().instanceDirectory);
  const auto lock = BackupLock::acquire(repository().instanceDirectory, "test", platform::now());
  EXPECT_EQ(runToEnd(backup({"--lock-wait", "0.2"})).status, 11);
}

/// Lets the server hang on a section and returns once the program has asked for it.
class CancelledBackup : public BackupCommand {
 protected:
  void hangOnCategories() {
    rule = server.faults().add({"JSSResource/categories*", "GET", {}, 0, sample::FaultHang{}});
  }
  static void waitUntilReading(RunningProgram& running) { ASSERT_TRUE(running.waitFor("buildings  ")); }
  int rule = 0;
};

TEST_F(CancelledBackup, ASignalEndsTheRunSoonAndTheNextOneTakesItUp) {
  for (const int signal : {SIGINT, SIGTERM}) {
    hangOnCategories();
    RunningProgram running(backup());
    waitUntilReading(running);
    const auto start = MonotonicClock::now();
    running.send(signal);
    const auto end = running.wait();
    EXPECT_EQ(end.status, 130);
    EXPECT_LT(MonotonicClock::now() - start, std::chrono::seconds(2));
    EXPECT_THAT(end.error, HasSubstr("orvik: cancelled\n"));
    EXPECT_EQ(end.output, "");
    EXPECT_FALSE(BackupLock::current(repository().instanceDirectory));
    ASSERT_EQ(repository().partialBackupIDs().size(), 1u);
    server.faults().remove(rule);

    const auto interrupted = repository().partialBackupIDs().front();
    const auto next = runToEnd(backup());
    EXPECT_EQ(next.status, 0);
    EXPECT_EQ(next.lastLine(), interrupted);
    EXPECT_THAT(next.error, HasSubstr("Going on with the interrupted backup " + interrupted));
  }
}

TEST_F(CancelledBackup, NoResumeBeginsAnew) {
  hangOnCategories();
  RunningProgram running(backup());
  waitUntilReading(running);
  running.send(SIGTERM);
  ASSERT_EQ(running.wait().status, 130);
  server.faults().clear();
  const auto interrupted = repository().partialBackupIDs().front();
  EXPECT_NE(runToEnd(backup({"--no-resume"})).lastLine(), interrupted);
  EXPECT_TRUE(repository().partialBackupIDs().empty());
}

TEST_F(BackupCommand, ResultsThatNobodyCanReadAreNoSuccess) {
  for (const auto output : {ProgramStart::Output::closed, ProgramStart::Output::closedPipe}) {
    for (const auto& more : {Arguments{}, Arguments{"--json"}}) {
      auto start = backup(more);
      start.output = output;
      const auto end = runToEnd(start);
      EXPECT_EQ(end.status, 1);
      EXPECT_THAT(end.error, HasSubstr("orvik: Can't write to standard output: "));
    }
  }
  EXPECT_EQ(repository().completeBackups().size(), 4u);
}

TEST_F(BackupCommand, ATerminalGetsOneLineInMotion) {
  auto start = backup();
  start.error = ProgramStart::Error::terminal;
  start.environment["TERM"] = "xterm";
  server.setDelay(std::chrono::milliseconds(150));
  const auto end = runToEnd(start);
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.error, HasSubstr("\r\x1b[K["));
  EXPECT_THAT(end.error, HasSubstr("\x1b[1;32mComplete\x1b[0m: "));
  EXPECT_THAT(end.error, Not(HasSubstr("buildings  ")));
}

TEST_F(BackupCommand, NoColorAndDumbTerminalsAreHonoured) {
  auto start = backup();
  start.error = ProgramStart::Error::terminal;
  start.environment["TERM"] = "xterm";
  start.environment["NO_COLOR"] = "1";
  EXPECT_THAT(runToEnd(start).error, Not(HasSubstr("\x1b[1;")));
  start.environment["TERM"] = "dumb";
  EXPECT_THAT(runToEnd(start).error, Not(HasSubstr("\x1b")));
}

TEST_F(BackupCommand, AMissingFileOfTrustAnchorsIsNamed) {
  const auto end = runToEnd(backup({"--ca-file", (folder / "none.pem").string()}));
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("none.pem"));
}

}  // namespace
}  // namespace orvik
