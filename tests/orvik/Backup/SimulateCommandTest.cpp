#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "Platform/Files/Files.h"
#include "Platform/JSON/Value.h"
#include "tests/Support/FolderState.h"
#include "tests/Support/HostFixture.h"
#include "tests/Support/JSONLines.h"

namespace orvik::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

class SimulateCommand : public HostFixture {
 protected:
  ProgramStart simulation(const Arguments& more = {}) const {
    auto arguments = backupWithoutSecret({"--secret-file", secretFile.string()});
    arguments.front() = "simulate";
    arguments.insert(arguments.end(), more.begin(), more.end());
    return start(arguments);
  }
};

TEST_F(SimulateCommand, TellsWhatABackupWouldStoreAndChangesNothing) {
  ASSERT_EQ(runToEnd(backup()).status, 0);
  const auto before = stateOf(root);
  ASSERT_TRUE(server.change("buildings", server.ids("buildings").front()));
  const auto end = runToEnd(simulation());
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, testing::ContainsRegex("buildings  [0-9]+ objects, 1 changed\n"));
  EXPECT_THAT(end.output, HasSubstr("A backup would store 1 new or changed of "));
  EXPECT_EQ(stateOf(root), before);
}

TEST_F(SimulateCommand, MakesNoFolderAndLeavesNoneBehind) {
  ASSERT_EQ(runToEnd(simulation()).status, 0);
  EXPECT_FALSE(platform::files::exists(root));
  for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
    EXPECT_THAT(entry.path().filename().string(), testing::Not(testing::StartsWith("orvik-simulation")));
}

TEST_F(SimulateCommand, ItsLastJSONLineHasTheBytesToDownload) {
  const auto end = runToEnd(simulation({"--json", "--only", "packages,jcdsFiles,packageFiles"}));
  EXPECT_EQ(end.status, 0) << end.output;
  const auto last = jsonLines(end.output).back();
  EXPECT_EQ(*last.find("event")->string(), "finished");
  EXPECT_GT(*last.find("bytesToDownload")->integer(), 0);
  const auto without = runToEnd(simulation({"--json", "--no-files", "--only", "packages,packageFiles"}));
  EXPECT_EQ(*jsonLines(without.output).back().find("bytesToDownload")->integer(), 0);
}

TEST_F(SimulateCommand, HasTheExitStatusOfTheBackup) {
  server.refuseSection("categories", 403);
  const auto end = runToEnd(simulation());
  EXPECT_EQ(end.status, 3);
  EXPECT_THAT(end.error, HasSubstr("categories  not permitted"));
}

TEST_F(SimulateCommand, AStagedBackupLeavesWholePacksAlone) {
  const auto staging = folder / "staging";
  ASSERT_EQ(runToEnd(backup({"--staging", staging.string()})).status, 0);
  EXPECT_FALSE(platform::files::exists(repository().instanceDirectory / "store" / "objects"));
  EXPECT_EQ(platform::files::visibleNames(repository().store().packsDirectory()).size(), 2u);
  const auto places = platform::files::visibleNames(staging);
  ASSERT_EQ(places.size(), 1u);
  EXPECT_THAT(places.front(), testing::MatchesRegex("127\\.0\\.0\\.1-[0-9a-f]{8}"));
}

}  // namespace
}  // namespace orvik::test
