#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OrvikCore/Engine/BackupEngine.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "tests/Support/RunFixture.h"
#include "tests/Support/SmallBackups.h"

namespace orvik {
namespace {

namespace files = platform::files;
using test::RunFixture;

/// A crash between publishing and clearing. With a newest backup from the future the run's parent is still
/// the newest one, so that nothing else tells that the run is over.
TEST(StagedLeftover, ARunThatWasPublishedIsNotTakenUpAgain) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 5);
  test::writeBackup(fixture.repository(), "2099-01-01T000000Z", {});
  const files::TempFolder staging, copy;
  auto job = fixture.job({"policies"});
  job.stagingDirectory = staging.path();

  std::stop_source stop;
  fixture.stopAt("JSSResource/policies/id/3", stop);
  EXPECT_THROW(BackupEngine(job).run(ResumeInterrupted::yes, {}, stop.get_token()),
               platform::CancellationError);
  fixture.onCall = {};
  std::filesystem::copy(staging.path(), copy.path(), std::filesystem::copy_options::recursive);
  const auto first = BackupEngine(job).run(ResumeInterrupted::yes, {});
  std::filesystem::copy(
      copy.path(), staging.path(),
      std::filesystem::copy_options::recursive | std::filesystem::copy_options::overwrite_existing);

  const auto second = BackupEngine(job).run(ResumeInterrupted::yes, {});
  EXPECT_NE(second.backupID, first.backupID);
  EXPECT_EQ(test::problemsOf(fixture.repository(), first.backupID), 0u);
  EXPECT_EQ(test::problemsOf(fixture.repository(), second.backupID), 0u);
  EXPECT_TRUE(BackupRepository(staging.path()).partialBackupIDs().empty());
}

}  // namespace
}  // namespace orvik
