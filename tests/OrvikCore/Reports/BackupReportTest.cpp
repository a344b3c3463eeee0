#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "OrvikCore/Reports/BackupReports.h"
#include "Platform/Files/Files.h"
#include "tests/Support/Reporting.h"
#include "tests/Support/ScopedZone.h"
#include "tests/Support/ServerRun.h"
#include "tests/Support/StoredBackups.h"
#include "tests/Support/TestKeys.h"

namespace orvik::test {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Status = SectionSummary::Status;

struct BackupReportTest : testing::Test {
  StoredBackups stored;

  BackupReader backup(const std::vector<SectionIndex>& sections,
                      const std::vector<SectionSummary>& unread = {},
                      const std::optional<std::string>& parent = {}) const {
    return stored.publish(StoredBackups::second, sections, parent, unread);
  }
  BackupReader unreadSections(const std::vector<SectionSummary>& unread) const { return backup({}, unread); }

  static IndexItem file(const std::string& name, FileRef::Status status, std::optional<bool> verified = {},
                        std::optional<std::string> message = {}) {
    auto item = itemWithID(name);
    item.file = FileRef();
    item.file->fileName = name;
    item.file->status = status;
    item.file->jamfHashVerified = verified;
    item.file->message = std::move(message);
    item.file->size = 1'200'000;
    return item;
  }
};

/// That texts follow each other.
void expectInOrder(const std::string& text, const std::vector<std::string>& parts) {
  std::size_t at = 0;
  for (const auto& part : parts) {
    const auto found = text.find(part, at);
    ASSERT_NE(found, text.npos) << "\"" << part << "\" is missing, or stands too early, in\n" << text;
    at = found + part.size();
  }
}

TEST_F(BackupReportTest, AFirstBackupSaysSoTwice) {
  const auto report =
      backupReportOf(backup({StoredBackups::section("policies", {stored.item("1", "Alpha")})})).flowing();
  EXPECT_THAT(report, HasSubstr("Compared with — (first backup: everything is new)"));
  EXPECT_THAT(report,
              HasSubstr("Changes since the previous backup This is the first backup of this instance, so "
                        "everything is new."));
  EXPECT_THAT(report, Not(HasSubstr("Alpha")));
}

TEST_F(BackupReportTest, TheSummaryTellsTheRunInItsOrder) {
  auto reader = backup({}, {}, StoredBackups::first);
  auto& manifest = reader.manifest;
  manifest.jamfProVersion = "11.30.1";
  manifest.startedAt = date("2025-03-05T09:15:00Z");
  manifest.finishedAt = date("2025-03-05T10:18:05Z");
  manifest.totals = {120, 7, 4, 2, 1'234'567, 321};
  manifest.sections = {summaryOf("policies"), summaryOf("scripts")};
  manifest.sections[0].counts.removed = 2;
  manifest.sections[1].counts.removed = 3;
  auto context = reportContext();
  context.retention = CleanupResult{{"a", "b"}, 30, 1, 5'000'000};
  const ScopedZone zone("UTC");
  expectInOrder(
      backupReportOf(reader, context).flowing(),
      {"Backup report", "North · 2025-03-05 09:15:00 +00:00", "Every enabled section was backed up.",
       "Status Complete", "Backup 2025-03-05T091500Z", "Jamf Pro https://north.example.com · version 11.30.1",
       "Started 2025-03-05 09:15:00 +00:00", "Finished 2025-03-05 10:18:05 +00:00",
       "Duration 1 hr, 3 min, 5 sec", "Compared with 2025-03-04T091500Z",
       "Objects 120 in total · 7 new or changed · 5 removed",
       "Package files 4 in backup, 2 downloaded (1.2 MB)", "API requests 321", "Backup folder Local disk",
       stored.folder.path().string(), "Run by Ada Lovelace (ada) on engine", "Orvik 0.1.0, backup format v2",
       "Retention Removed 2 old backup(s), freed 5 MB", "Sections"});
}

TEST_F(BackupReportTest, WhatIsNotKnownOrDidNotHappenIsSaidOrLeftOut) {
  auto reader = backup({});
  reader.manifest.finishedAt = reader.manifest.startedAt - std::chrono::hours(1);
  auto context = reportContext();
  context.retention = CleanupResult();
  context.orvikVersion = "orvikctl";
  const auto report = backupReportOf(reader, context).flowing();
  EXPECT_THAT(report, HasSubstr("https://north.example.com · version unknown"));
  EXPECT_THAT(report, HasSubstr("Duration 0 sec"));
  EXPECT_THAT(report, HasSubstr("Orvik orvikctl, backup format v2 · backup made by 0.1.0"));
  for (const auto* absent :
       {"Retention", "Needs attention", "Package files MISMATCH", "Notes", "Switched off"})
    EXPECT_THAT(report, Not(HasSubstr(absent)));
}

TEST_F(BackupReportTest, ItsMetadataAndFooterSayWhatItIs) {
  const ScopedZone zone("UTC");
  const auto report = backupReportOf(backup({}));
  EXPECT_THAT(report.info(), ContainsRegex("Title: +Orvik backup report – 2025-03-05T091500Z"));
  EXPECT_THAT(report.info(), ContainsRegex("Author: +Ada Lovelace \\(ada\\)"));
  EXPECT_THAT(report.flowing(), HasSubstr("North · 2025-03-05T091500Z · created 2025-03-06 10:00:00 +00:00"));
}

TEST_F(BackupReportTest, TheSameInputGivesTheSameBytes) {
  const auto reader = backup({StoredBackups::section("policies", {stored.item("1", "Alpha")})});
  EXPECT_EQ(BackupReports::backupReport(reader, reportContext()),
            BackupReports::backupReport(reader, reportContext()));
}

TEST_F(BackupReportTest, SectionsStandInTheGroupsOfTheCatalogWithStatusAndCounts) {
  auto policies = StoredBackups::section(
      "policies", {stored.item("1", "A"), stored.item("2", "B", {}, IndexItem::Change::changed)});
  policies.removed = {{"9", "Gone"}};
  policies.errors = {{"3", "Bad", "HTTP 500"}};
  const auto report =
      backupReportOf(
          backup({StoredBackups::section("sites", {}), policies},
                 {unreadSection("users", Status::notPermitted), unreadSection("packages", Status::failed),
                  unreadSection("scripts", Status::disabled), unreadSection("printers", Status::disabled),
                  unreadSection("userGroups", Status::notAvailable),
                  unreadSection("fromTheFuture", Status::complete)},
                 StoredBackups::first))
          .flowing();
  expectInOrder(
      report,
      {"Sections", "Devices & users", "Users No privilege – – – – –", "Configuration",
       "Policies Partly readable 2 1 1 1 1", "Groups", "User groups (smart and static) Not on this Jamf Pro",
       "Packages & distribution", "Packages Failed", "Other settings", "Sites Complete 0 0 0 0 0",
       "fromTheFuture Complete", "Switched off in the settings: Scripts, Printers", "Needs attention"});
  EXPECT_THAT(report, Not(HasSubstr("Devices: “Changed” counts")));
}

TEST_F(BackupReportTest, GroupsWithoutASectionAreLeftOut) {
  const auto report = backupReportOf(backup({StoredBackups::section("sites", {})},
                                            {unreadSection("users", Status::disabled)}))
                          .flowing();
  EXPECT_THAT(report, Not(HasSubstr("Devices & users")));
  EXPECT_THAT(report, Not(HasSubstr("Configuration")));
}

TEST_F(BackupReportTest, MissingPrivilegesAreNamedOnceInCatalogOrder) {
  auto reader = unreadSections(
      {unreadSection("sites", Status::notPermitted), unreadSection("computers", Status::notPermitted),
       unreadSection("users", Status::notPermitted), unreadSection("users", Status::notPermitted)});
  reader.manifest.status = BackupManifest::Status::completeWithWarnings;
  const auto report = backupReportOf(reader).flowing();
  expectInOrder(report, {"Finished with warnings — see “Needs attention”.", "Status Complete with warnings",
                         "Needs attention", "Missing API privileges",
                         "Add these privileges to the read-only API role to include the sections:",
                         "• Read Computers • Read Users • Read Sites"});
  EXPECT_EQ(occurrences(report, "Read Users"), 1U);
}

TEST_F(BackupReportTest, NoMoreThanSixtyPrivilegesAreNamed) {
  std::vector<SectionSummary> unread;
  std::set<std::string_view> privileges;
  for (const auto& row : SectionCatalog::all()) {
    unread.push_back(unreadSection(std::string(row.id), Status::notPermitted, "HTTP 403"));
    if (row.privilege != "(any)") privileges.insert(row.privilege);
  }
  ASSERT_GT(privileges.size(), 60U);
  const auto report = backupReportOf(unreadSections(unread)).flowing();
  EXPECT_THAT(report, HasSubstr(fmt::format("… and {} more", privileges.size() - 60)));
  EXPECT_EQ(occurrences(report, "• Read "), 60U);
}

TEST_F(BackupReportTest, ARefusedSectionWithoutAPrivilegeToAddIsOneThatCouldNotBeRead) {
  const auto report =
      backupReportOf(unreadSections({unreadSection("jamfProInformation", Status::notPermitted, "HTTP 403"),
                                     unreadSection("fromTheFuture", Status::notPermitted, "Not allowed")}))
          .flowing();
  EXPECT_THAT(report, Not(HasSubstr("Missing API privileges")));
  EXPECT_THAT(report,
              HasSubstr("Sections that could not be read • Jamf Pro information: HTTP 403 • fromTheFuture: "
                        "Not allowed"));
}

TEST_F(BackupReportTest, AFailedSectionWithoutAMessageSaysFailed) {
  const auto report = backupReportOf(unreadSections({unreadSection("policies", Status::failed),
                                                     unreadSection("scripts", Status::failed, "HTTP 500")}))
                          .flowing();
  EXPECT_THAT(report, HasSubstr("• Scripts: HTTP 500 • Policies: failed"));
}

TEST_F(BackupReportTest, ObjectsThatCouldNotBeReadAreCountedAndAHundredNamed) {
  auto policies = StoredBackups::section("policies", {});
  for (int i = 1; i <= 130; ++i)
    policies.errors.push_back({std::to_string(i), fmt::format("Broken {}", i), "HTTP 500"});
  policies.errors[0] = {"7", std::nullopt, "Deleted while the backup ran (HTTP 404)"};
  const auto report = backupReportOf(backup({policies})).flowing();
  EXPECT_THAT(report,
              HasSubstr("Objects that could not be read (130) • Policies › #7: Deleted while the backup ran "
                        "(HTTP 404) • Policies › Broken 2: HTTP 500"));
  EXPECT_EQ(occurrences(report, "Policies › "), 100U);
  EXPECT_THAT(report, HasSubstr("… and 30 more"));
}

TEST_F(BackupReportTest, PackageFilesAreListedAndThoseWithTroubleNamed) {
  using enum FileRef::Status;
  const auto files = StoredBackups::section(
      "packageFiles", {file("good.pkg", downloaded, true), file("same.pkg", reused),
                       file("other.pkg", downloaded, false), file("none.pkg", unavailable, {}, "No source"),
                       file("broken.pkg", failed), file("left.pkg", skipped)});
  const auto report = backupReportOf(backup({files})).flowing();
  expectInOrder(
      report, {"Needs attention", "Package files (3)", "• broken.pkg: failed", "• none.pkg: No source",
               "• other.pkg: content differs from the hash Jamf Pro records", "Package files",
               "File Size Status Check", "broken.pkg 1.2 MB failed –", "good.pkg 1.2 MB downloaded verified",
               "left.pkg 1.2 MB skipped –", "none.pkg 1.2 MB unavailable –",
               "other.pkg 1.2 MB downloaded MISMATCH", "same.pkg 1.2 MB reused –"});
}

TEST_F(BackupReportTest, ALongListOfPackageFilesIsCut) {
  std::vector<IndexItem> items;
  for (int i = 1; i <= 620; ++i)
    items.push_back(file(fmt::format("file {}.pkg", i), FileRef::Status::unavailable, {}, "No source"));
  const auto report = backupReportOf(backup({StoredBackups::section("packageFiles", items)}));
  const auto text = report.flowing();
  EXPECT_THAT(text, HasSubstr("Package files (620)"));
  EXPECT_THAT(text, HasSubstr("… and 520 more"));
  EXPECT_THAT(text, HasSubstr("file 500.pkg 1.2 MB unavailable –"));
  EXPECT_THAT(text, Not(HasSubstr("file 501.pkg")));
  EXPECT_THAT(text, HasSubstr("120 more files."));
  EXPECT_THAT(report.strays(), IsEmpty());
}

TEST_F(BackupReportTest, NotesOfTheRunStandAtItsEnd) {
  auto context = reportContext();
  context.notes = {"Resumed once.", "A share\ndid not answer."};
  const auto report = backupReportOf(backup({}), context).flowing();
  EXPECT_THAT(report, HasSubstr("Notes • Resumed once. • A share did not answer."));
}

TEST_F(BackupReportTest, ASealedFolderWithoutItsKeyIsReportedAsFarAsTheManifestTells) {
  stored.cipher = sealFolder(stored.folder.path());
  auto policies = StoredBackups::section("policies", {stored.item("1", "Hidden")});
  policies.errors = {{"2", "Hidden, too", "HTTP 500"}};
  const auto reader = backup({policies}, {}, StoredBackups::first);
  BackupEncryption::forgetKeys();
  const auto report = backupReportOf(reader).flowing();
  EXPECT_THAT(
      report,
      HasSubstr("Objects that could not be read (1) • Policies: 1 object(s), whose names can't be read"));
  EXPECT_THAT(
      report,
      HasSubstr("Policies • New (1) The section's index can't be read, so the objects are not named."));
  EXPECT_THAT(report, Not(HasSubstr("Hidden")));
}

TEST_F(BackupReportTest, HostileNamesStayWithinTheirPlaces) {
  const std::string longName(10'000, 'W');
  const std::vector<std::string> names{longName,
                                       "line one\n• line two\r\nNeeds attention",
                                       "مجموعة الأجهزة",
                                       "קבוצת מחשבים \u202E abc",
                                       "👩🏽‍💻 emoji 🎉",
                                       "日本語の名前",
                                       "controls \x01\x1b[31m\x7f",
                                       "not \xff\xfe UTF-8"};
  auto policies = StoredBackups::section("policies", {});
  auto files = StoredBackups::section("packageFiles", {});
  for (const auto& name : names) {
    if (name.find('\xff') == name.npos) {
      policies.items.push_back(
          stored.item("n" + std::to_string(policies.items.size()), name, {{"pro", "{}"}}));
      policies.removed.push_back({"r", name});
      policies.errors.push_back({"e", name, name});
      files.items.push_back(file(name, FileRef::Status::failed, false, name));
    }
  }
  auto reader =
      backup({policies, files}, {unreadSection("scripts", Status::failed, longName)}, StoredBackups::first);
  auto context = reportContext();
  context.notes = names;
  context.user = longName;
  context.host = names.back();
  reader.manifest.instance.name = std::string(10'000, 'x');
  reader.manifest.jamfProVersion = names[1];
  for (const auto& name : names) {
    auto section = unreadSection("x", Status::disabled);
    section.title = name;
    reader.manifest.sections.push_back(section);
  }
  const auto report = backupReportOf(reader, context);
  EXPECT_EQ(report.faults(), "");
  EXPECT_THAT(report.strays(), IsEmpty());
  const auto text = report.flowing();
  EXPECT_THAT(text, HasSubstr("• line one • line two Needs attention"));
  EXPECT_THAT(text, HasSubstr("日本語の名前"));
  EXPECT_THAT(text, Not(HasSubstr("\x1b")));
  EXPECT_THAT(text, HasSubstr(fmt::format("· {} · created ", reader.manifest.backupID)));
  EXPECT_LT(report.pages(), 12);
}

TEST_F(BackupReportTest, CountsAndDatesOfAForeignManifestAreShownAsTheyAre) {
  auto reader = backup({});
  reader.manifest.startedAt = date("0000-01-01T00:00:00Z");
  reader.manifest.finishedAt = date("9999-12-31T23:59:59Z");
  reader.manifest.totals = {-5, -5, -5, -5, INT64_MIN, -5};
  for (const auto* id : {"a", "b"}) {
    reader.manifest.sections.push_back(summaryOf(id));
    reader.manifest.sections.back().counts = {INT32_MAX, INT32_MAX, INT32_MIN,
                                              INT32_MAX, INT32_MAX, INT32_MAX};
  }
  reader.manifest.parentBackupID = "../../etc";
  const auto report = backupReportOf(reader);
  EXPECT_EQ(report.faults(), "");
  EXPECT_THAT(report.flowing(), HasSubstr("4294967294 removed"));
  EXPECT_THAT(report.flowing(), HasSubstr("Changes since backup ../../etc"));
}

TEST_F(BackupReportTest, ABackupOfARealServerIsReportedWhole) {
  ServerRun run;
  const auto manifest = run.run();
  const auto report = backupReportOf({run.repository(), manifest.backupID});
  EXPECT_EQ(report.faults(), "");
  EXPECT_THAT(report.strays(), IsEmpty());
  const auto text = report.flowing();
  for (const auto& section : manifest.sections) EXPECT_THAT(text, HasSubstr(section.title));
  EXPECT_THAT(text, HasSubstr(fmt::format("Objects {} in total", manifest.totals.objects)));
}

}  // namespace
}  // namespace orvik::test
