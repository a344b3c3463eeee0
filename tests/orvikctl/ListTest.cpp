#include <gtest/gtest.h>

#include "Platform/Locale/Text.h"
#include "tests/Support/SampleFolder.h"
#include "tests/Support/Tool.h"

namespace {

using namespace orvik;
using test::runTool;

std::string usageLine(const BackupRepository& repository) {
  return "disk usage: " + platform::locale::byteCount(repository.diskUsage()) + "\n";
}

TEST(List, ShowsCompleteBackupsInterruptedRunsAndTheDiskUsage) {
  const test::SampleFolder sample;
  const auto result = runTool({"list", sample.folder.path().string()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out,
            "2025-03-04T091500Z  complete  2 objects (1 new/changed)  1 files  Jamf Pro 11.15.1\n"
            "2025-03-05T091500Z  interrupted (resumes on the next run)\n" +
                usageLine(sample.repository));
}

TEST(List, OrdersBackupsNewestFirstAndRunsOldestFirst) {
  const platform::files::TempFolder folder;
  const BackupRepository repository(folder.path());
  auto manifest = test::plainManifest("stated elsewhere");
  manifest.status = BackupManifest::Status::completeWithWarnings;
  manifest.totals = {1'234'567, 1000, 2048, 0, 0, 0};
  for (const char* name : {"2025-03-04T091500Z", "2025-03-05T091500Z", ".2025-03-06T091500Z", "b\xff"})
    test::write(repository.backupDirectory(name) / "manifest.json",
                BackupFormat::makeEncoder().encode(manifest));
  for (const char* name : {"2", "1"}) std::filesystem::create_directories(repository.partialDirectory(name));
  const std::string rest =
      "  completeWithWarnings  1234567 objects (1000 new/changed)  2048 files  Jamf Pro ?\n";
  EXPECT_EQ(runTool({"list", folder.path().string()}).out,
            "b\xff" + rest + "2025-03-05T091500Z" + rest + "2025-03-04T091500Z" + rest +
                "1  interrupted (resumes on the next run)\n2  interrupted (resumes on the next run)\n" +
                usageLine(repository));
}

TEST(List, OfAnEmptyOrMissingFolderPrintsOnlyTheDiskUsage) {
  const platform::files::TempFolder folder;
  test::write(folder / "file", "");
  for (const auto& path : {folder / "none", folder / "file"}) {
    const auto result = runTool({"list", path.string()});
    EXPECT_EQ(result.status, 0) << path;
    EXPECT_EQ(result.out, "disk usage: Zero KB\n") << path;
  }
}

TEST(List, PassesOverForeignContent) {
  const test::SampleFolder sample;
  const auto before = runTool({"list", sample.folder.path().string()}).out;
  test::makePipe(sample.folder / "backups/pipe");
  test::makePipe(sample.folder / "backups/x/manifest.json");
  std::filesystem::create_symlink("nowhere", sample.folder / "backups/link");
  std::filesystem::create_directory_symlink("..", sample.folder / "backups/loop");
  std::filesystem::create_directories(sample.folder / "backups/.hidden.partial");
  EXPECT_EQ(runTool({"list", sample.folder.path().string()}).out, before);
}

}  // namespace
