#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OrvikCore/Reports/BackupReports.h"
#include "Platform/Files/Files.h"
#include "tests/Support/Reporting.h"
#include "tests/Support/ScopedZone.h"
#include "tests/Support/ServerRun.h"
#include "tests/Support/StoredBackups.h"

namespace orvik::test {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

TEST(SimulationReportTest, ItTellsWhatABackupWouldDo) {
  const ScopedZone zone("UTC");
  const StoredBackups stored;
  auto files = StoredBackups::section("packageFiles", {});
  for (const auto status : {FileRef::Status::skipped, FileRef::Status::reused, FileRef::Status::skipped}) {
    files.items.push_back(itemWithID(std::to_string(files.items.size())));
    files.items.back().file = FileRef();
    files.items.back().file->status = status;
  }
  auto reader = stored.publish(StoredBackups::first, {files}, {},
                               {unreadSection("users", SectionSummary::Status::notPermitted)});
  reader.manifest.options.downloadFiles = true;
  reader.manifest.status = BackupManifest::Status::completeWithWarnings;
  reader.manifest.totals.objects = 120;
  reader.manifest.totals.newOrChangedObjects = 7;
  reader.manifest.totals.requests = 42;
  auto context = reportContext();
  context.notes = {"A note."};
  const auto report = simulationReportOf(reader, 2'500'000, context);
  EXPECT_THAT(report.info(), ContainsRegex("Title: +Orvik simulation – North"));
  EXPECT_THAT(
      report.flowing(),
      testing::AllOf(HasSubstr("Simulation report North · 2025-03-04 09:15:00 +00:00 A check run: Jamf Pro "
                               "was read, nothing was "
                               "written to the backup folder and no files were downloaded. A backup would "
                               "finish with warnings. "
                               "Jamf Pro https://north.example.com · version unknown Checked 2025-03-04 "
                               "09:15:00 +00:00 Duration "
                               "0 sec Compared with — (no backup yet) Would store 120 objects · 7 new or "
                               "changed · 0 removed Would "
                               "download 2 package file(s), 2.5 MB Sections without privilege 1 API requests "
                               "used 42 Run by Ada "
                               "Lovelace (ada) on engine What a backup would read Devices & users"),
                     HasSubstr("Package binaries Readable 3 3 0 0 0 Needs attention Missing API privileges"),
                     HasSubstr("Changes since the previous backup There is no backup yet, so a backup would "
                               "store everything as "
                               "new."),
                     HasSubstr("Notes • A note.")));
}

TEST(SimulationReportTest, FilesThatNobodyWantsWouldNotBeDownloaded) {
  const StoredBackups stored;
  auto files = StoredBackups::section("packageFiles", {itemWithID("a")});
  files.items.back().file = FileRef();
  const auto reader = stored.publish(StoredBackups::first, {files});
  EXPECT_THAT(simulationReportOf(reader).flowing(), HasSubstr("Would download 0 package file(s), Zero KB"));
}

TEST(SimulationReportTest, ASimulationOfARealServerIsReportedWhole) {
  ServerRun run;
  const auto first = run.run();
  auto job = run.job();
  const platform::files::TempFolder folder;
  job.simulationDirectory = folder.path();
  const auto result = BackupEngine(job).simulate({});
  const auto report =
      simulationReportOf({run.repository(), result.manifest, result.directory}, result.bytesToDownload);
  EXPECT_EQ(report.faults(), "");
  EXPECT_THAT(report.strays(), IsEmpty());
  const auto text = report.flowing();
  EXPECT_THAT(text, HasSubstr("Compared with " + first.backupID));
  EXPECT_THAT(
      text,
      HasSubstr("Devices: “Changed” counts devices whose inventory was updated since the last backup; a "
                "backup reads them again. Their details were not read during the simulation."));
  EXPECT_THAT(text, HasSubstr("Changes since backup " + first.backupID));
}

}  // namespace
}  // namespace orvik::test
