#include "orvik/Output/Wording.h"

#include <gtest/gtest.h>

namespace orvik::host {
namespace {

using namespace std::chrono_literals;
using Status = SectionSummary::Status;

TEST(Wording, NumbersHaveGroupsAndNounsANumber) {
  EXPECT_EQ(wording::counted(0, "object"), "0 objects");
  EXPECT_EQ(wording::counted(1, "object"), "1 object");
  EXPECT_EQ(wording::counted(999, "object"), "999 objects");
  EXPECT_EQ(wording::counted(1000, "object"), "1,000 objects");
  EXPECT_EQ(wording::counted(1234567, "object"), "1,234,567 objects");
}

TEST(Wording, DurationsHaveTwoUnitsAtMost) {
  EXPECT_EQ(wording::duration(800ms), "0.8 s");
  EXPECT_EQ(wording::duration(9960ms), "10 s");
  EXPECT_EQ(wording::duration(59600ms), "1 min 0 s");
  EXPECT_EQ(wording::duration(185s), "3 min 5 s");
  EXPECT_EQ(wording::duration(7440s), "2 h 4 min");
  EXPECT_EQ(wording::roughly(185s), "3 min");
  EXPECT_EQ(wording::roughly(100ms), "1 s");
  EXPECT_EQ(wording::roughly(7440s), "2 h");
}

TEST(Wording, AnAgeIsRoundedAndMayLieAhead) {
  const platform::Date now{1000h};
  EXPECT_EQ(wording::ago(now, now), "0 s ago");
  EXPECT_EQ(wording::ago(now - 42s, now), "42 s ago");
  EXPECT_EQ(wording::ago(now - 47h, now), "47 h ago");
  EXPECT_EQ(wording::ago(now - 73h, now), "3 days ago");
  EXPECT_EQ(wording::ago(now + 3min, now), "3 min ahead of this machine's clock");
}

TEST(Wording, WhatWasDeletedNamesOnlyWhatIsNotZero) {
  EXPECT_EQ(wording::deleted({}), "nothing; Zero KB");
  EXPECT_EQ(wording::deleted({{"a"}, 0, 0, 0}), "1 backup; Zero KB");
  EXPECT_EQ(wording::deleted({{}, 1, 2, 5}), "1 object and 2 package files; 5 bytes");
  EXPECT_EQ(wording::deleted({{"a", "b"}, 1000, 1, 5}, RemovedLeftovers{3, 4}),
            "2 backups, 1,000 objects, 1 package file and 3 leftovers; 9 bytes");
}

TEST(Wording, AWordForAShellIsQuotedWhereItHasTo) {
  EXPECT_EQ(wording::shellWord("/srv/backups/a-b_c.json"), "/srv/backups/a-b_c.json");
  EXPECT_EQ(wording::shellWord("/home/o'neil/a b"), "'/home/o'\\''neil/a b'");
}

TEST(Wording, ASimulationTellsWhatWouldBeStoredAndDownloaded) {
  SimulationOutcome outcome;
  outcome.manifest.sections = {{"policies", "Policies", Status::complete, {}, {42, 3, 1, 38, 0, 0}, {}},
                               {"scripts", "Scripts", Status::complete, {}, {5, 0, 0, 5, 0, 0}, {}}};
  outcome.manifest.totals.objects = 47;
  outcome.manifest.totals.newOrChangedObjects = 4;
  EXPECT_EQ(wording::simulated(outcome),
            "policies  42 objects, 3 new, 1 changed\n"
            "A backup would store 4 new or changed of 47 objects, and download nothing.");
  outcome.manifest.parentBackupID = "2026-01-01T000000Z";
  outcome.bytesToDownload = 1'250'000'000;
  EXPECT_EQ(
      wording::simulated(outcome),
      "policies  42 objects, 3 new, 1 changed\n"
      "A backup would store 4 new or changed of 47 objects since 2026-01-01T000000Z, and download 1.25 GB.");
}

TEST(Wording, ASectionIsOneLine) {
  SectionSummary summary{"policies", "Policies", Status::complete, {}, {42, 3, 1, 38, 2, 0}, {}};
  EXPECT_EQ(wording::section(summary), "policies  42 objects, 3 new, 1 changed, 2 removed");
  summary.status = Status::notPermitted;
  summary.message = "needs\n\"Read Policies\"";
  EXPECT_EQ(wording::section(summary), "policies  not permitted: needs \"Read Policies\"");
  summary.status = Status::disabled;
  EXPECT_EQ(wording::section(summary), "");
}

TEST(Wording, TheSummaryNamesEachWarningAndCountsWhatIsNotAvailable) {
  BackupOutcome outcome;
  outcome.folder = "/b/backups/1";
  outcome.duration = 2s;
  outcome.manifest.status = BackupManifest::Status::completeWithWarnings;
  outcome.manifest.parentBackupID = "0";
  outcome.manifest.totals = {1200, 4, 0, 0, 0, 1300};
  outcome.manifest.sections = {{"policies", "Policies", Status::failed, "no answer", {}, {}},
                               {"scripts", "Scripts", Status::notAvailable, {}, {}, {}}};
  EXPECT_EQ(wording::summary(outcome),
            "Complete with warnings: 1,200 objects, 4 new or changed since 0; 1,300 requests in 2.0 s.\n"
            "  policies  failed: no answer\n"
            "Not available on this server: 1 section.\n"
            "Folder: /b/backups/1\n");
}

}  // namespace
}  // namespace orvik::host
