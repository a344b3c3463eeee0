#include "orvik/Samples/DemoCommand.h"

#include <gtest/gtest.h>

#include "tests/Support/HostFixture.h"

namespace orvik {
namespace {

using test::ProgramStart;
using test::runToEnd;
using testing::HasSubstr;

class DemoCommand : public test::HostFixture {};

TEST_F(DemoCommand, TwoBackupsAreMadeComparedListedAndVerified) {
  const auto target = folder / "demo";
  const auto end = runToEnd(start({"demo", "--to", target.string()}));
  EXPECT_EQ(end.status, 0) << end.error;
  const BackupRepository repository(target, "127.0.0.1");
  const auto backups = repository.completeBackups();
  ASSERT_EQ(backups.size(), 2u);
  EXPECT_GT(backups.back().manifest.totals.objects, 200);
  EXPECT_GT(backups.front().manifest.totals.newOrChangedObjects, 0);
  EXPECT_LT(backups.front().manifest.totals.newOrChangedObjects, 20);
  EXPECT_THAT(end.output, HasSubstr("$ orvikctl list " + repository.instanceDirectory.string()));
  EXPECT_THAT(end.output, HasSubstr(backups.back().id + "  complete  "));
  EXPECT_THAT(end.output, HasSubstr("✓ " + backups.front().id));
}

TEST_F(DemoCommand, OnATerminalTheLineInMotionIsGoneBeforeResultsFollow) {
  auto begin = start({"demo", "--to", (folder / "demo").string(), "--fleet", "school"});
  begin.error = ProgramStart::Error::terminal;
  begin.environment["TERM"] = "xterm";
  const auto end = runToEnd(begin);
  EXPECT_EQ(end.status, 0);
  // What stands behind the last wipe is nothing, or whole lines.
  const std::string wipe = "\r\x1b[K";
  ASSERT_NE(end.error.rfind(wipe), end.error.npos) << end.error;
  const auto rest = end.error.substr(end.error.rfind(wipe) + wipe.size());
  EXPECT_TRUE(rest.empty() || rest.ends_with('\n')) << end.error;
}

TEST_F(DemoCommand, AFreshFolderIsMadeKeptAndNamed) {
  const auto end = runToEnd(start({"demo"}));
  EXPECT_EQ(end.status, 0) << end.error;
  const auto start = end.output.find("The backups stay in ") + std::string("The backups stay in ").size();
  const std::filesystem::path kept = end.output.substr(start, end.output.find('\n', start) - start);
  EXPECT_EQ(kept.parent_path(), folder.path());
  EXPECT_EQ(BackupRepository(kept, "127.0.0.1").completeBackups().size(), 2u);
}

TEST_F(DemoCommand, TheFolderOfAnEarlierDemoIsTakenUp) {
  const auto target = (folder / "demo").string();
  ASSERT_EQ(runToEnd(start({"demo", "--to", target})).status, 0);
  const auto end = runToEnd(start({"demo", "--to", target}));
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(BackupRepository(target, "127.0.0.1").completeBackups().size(), 4u);
}

}  // namespace
}  // namespace orvik
