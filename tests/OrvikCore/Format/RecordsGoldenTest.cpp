#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Store/BackupLock.h"
#include "tests/Support/Golden.h"
#include "tests/Support/SampleRecords.h"

// The records as they stand on disk, both ways and byte for byte.

namespace {

using namespace orvik;
using test::date;
using test::expectGolden;

const std::string hashA = [] {
  std::string text;
  for (int i = 0; i < 32; ++i) text += "ab";
  return text;
}();
const std::string hashB = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";

BackupOptions fullOptions() {
  return {{"packages", "computers"}, true, true, true, 8, 12.5, 2, "/Volumes/CasperShare"};
}

FileRef fullFile() {
  return {"Tool 1.0.pkg",
          hashB,
          5'000'000'000,
          "https://cdn.example.com/Tool",
          FileRef::Status::downloaded,
          "SHA3_512:00ff",
          false,
          "the server's digest differs"};
}

IndexItem fullItem() {
  return {"42",
          "Install Tool",
          {{"xml", hashB}, {"json", hashA}},
          IndexItem::Change::changed,
          "2025-03-01T00:00:00.123Z",
          fullFile()};
}

SectionSummary fullSummary() {
  return {"policies",
          "Policies",
          SectionSummary::Status::partial,
          "2 objects could not be read",
          {12, 1, 2, 9, 4, 5},
          "sections/policies.json"};
}

SectionSummary minimalSummary() {
  return {"scripts", "Scripts", SectionSummary::Status::notAvailable, {}, {}, {}};
}

BackupManifest fullManifest() {
  auto manifest = test::plainManifest("2025-03-04T091500Z");
  manifest.formatVersion = 3;
  manifest.instance.clientID = "reader";
  manifest.jamfProVersion = "11.15.1-t1741";
  manifest.finishedAt = date("2025-03-04T11:59:59Z");
  manifest.status = BackupManifest::Status::completeWithWarnings;
  manifest.parentBackupID = "2025-03-03T091500Z";
  manifest.privileges = {"Read Policies", "Read Scripts"};
  manifest.options = fullOptions();
  manifest.sections = {fullSummary(), minimalSummary()};
  manifest.totals = {1234, 17, 3, 2, std::numeric_limits<std::int64_t>::max(), 5678};
  manifest.encryption = {"ORVIK-AEAD-v1", {"1122334455667788", "99aabbccddeeff00"}};
  return manifest;
}

TEST(Golden, InstanceDescriptorFull) {
  auto instance = test::instanceNamed("School of the North");
  instance.url = "https://North.Example.com:8443/";
  instance.clientID = "7f0c1d2e-client";
  expectGolden("InstanceDescriptor/full", instance);
}

TEST(Golden, InstanceDescriptorWithEscapesInItsName) {
  InstanceDescriptor instance;
  instance.id = platform::UUID::parse("00000000-0000-4000-8000-0000000000ab").value();
  instance.name = std::string("Münchner \"Schule\" \\ 学校\n\0\x1f", 30);
  instance.slug = "instance";
  expectGolden("InstanceDescriptor/minimal", instance);
}

TEST(Golden, BackupOptionsMinimal) { expectGolden("BackupOptions/minimal", test::plainOptions()); }
TEST(Golden, BackupOptionsFull) { expectGolden("BackupOptions/full", fullOptions()); }

TEST(Golden, BackupManifestMinimal) {
  expectGolden("BackupManifest/minimal", test::plainManifest("2025-03-04T091500Z"));
}
TEST(Golden, BackupManifestFull) { expectGolden("BackupManifest/full", fullManifest()); }

TEST(Golden, SectionSummaryFull) { expectGolden("SectionSummary/full", fullSummary()); }
TEST(Golden, SectionSummaryWithoutMessageAndIndexHasNeitherKey) {
  expectGolden("SectionSummary/minimal", minimalSummary());
}
TEST(Golden, ChangeCounts) { expectGolden("ChangeCounts/full", ChangeCounts{12, 1, 2, 9, 4, 5}); }

TEST(Golden, FileRefFull) { expectGolden("FileRef/full", fullFile()); }
TEST(Golden, FileRefMinimal) { expectGolden("FileRef/minimal", FileRef()); }
TEST(Golden, IndexItemFull) { expectGolden("IndexItem/full", fullItem()); }
TEST(Golden, IndexItemMinimal) { expectGolden("IndexItem/minimal", test::itemWithID("1")); }
TEST(Golden, RemovedItemFull) { expectGolden("RemovedItem/full", RemovedItem{"7", "Old"}); }
TEST(Golden, RemovedItemMinimal) { expectGolden("RemovedItem/minimal", RemovedItem{"7", {}}); }
TEST(Golden, ItemErrorFull) {
  expectGolden("ItemError/full", ItemError{"9", "Broken", "The server answered 500."});
}
TEST(Golden, ItemErrorMinimal) { expectGolden("ItemError/minimal", ItemError{"9", {}, ""}); }

TEST(Golden, SectionIndexFull) {
  expectGolden("SectionIndex/full",
               SectionIndex{"packages",
                            "Packages",
                            {{"list", "api/v1/packages"}, {"detail", "JSSResource/packages/id/{id}"}},
                            {fullItem(), test::itemWithID("1")},
                            {{"7", {}}},
                            {{"9", "Broken", "The server answered 500."}}});
}
TEST(Golden, SectionIndexMinimal) {
  expectGolden("SectionIndex/minimal", SectionIndex{"policies", "Policies", {}, {}, {}, {}});
}

TEST(Golden, PartialBackupStateFull) {
  expectGolden("PartialBackupState/full",
               PartialBackupState{"2025-03-04T091500Z", date("2025-03-04T09:15:00Z"), "2025-03-03T091500Z",
                                  fullOptions(), 4711, true});
}
TEST(Golden, PartialBackupStateOfAnEarlierVersion) {
  expectGolden("PartialBackupState/earlier-version",
               PartialBackupState{
                   "2025-03-04T091500Z", date("2025-03-04T09:15:00Z"), {}, test::plainOptions(), 0, {}});
}

TEST(Golden, JournalEntryFull) {
  expectGolden("JournalEntry/full", JournalEntry{"packages", fullItem()}, test::GoldenForm::line);
}
TEST(Golden, JournalEntryMinimal) {
  expectGolden("JournalEntry/minimal", test::journalEntry("policies", "1"), test::GoldenForm::line);
}

TEST(Golden, AuditEntryFull) {
  expectGolden("AuditEntry/full",
               AuditEntry{date("2025-03-04T09:15:00Z"), AuditEntry::Kind::download, "GET",
                          "north.example.com/api/v1/packages", 503, "retry", 5'000'000'000, 1500,
                          std::string("attempt 2 of 5\n\0", 16)},
               test::GoldenForm::line);
}
TEST(Golden, AuditEntryMinimal) {
  AuditEntry entry = test::auditEntry("backup.lock");
  entry.kind = AuditEntry::Kind::local;
  entry.method = "LOCK";
  expectGolden("AuditEntry/minimal", entry, test::GoldenForm::line);
}

TEST(Golden, BackupLockFull) {
  expectGolden("BackupLock/full", BackupLock{"Backup Mac", "admin", 2147483647, date("2025-03-04T09:15:00Z"),
                                             date("2025-03-04T09:16:00Z"), "orvikctl",
                                             platform::UUID::parse("6F9619FF-8B86-D011-B42D-00CF4FC964FF")});
}
TEST(Golden, BackupLockWithoutRun) {
  expectGolden(
      "BackupLock/without-run",
      BackupLock{"h", "u", 1, date("2025-03-04T09:15:00Z"), date("2025-03-04T09:15:00Z"), "0.1.0", {}});
}

TEST(Golden, EncryptionInfo) {
  expectGolden("EncryptionInfo/full", EncryptionInfo{1,
                                                     "ORVIK-AEAD-v1",
                                                     date("2025-03-04T09:15:00Z"),
                                                     {{"1122334455667788", "ORVIK-ENC:v1:AAAA"},
                                                      {"99aabbccddeeff00", "ORVIK-ENC:v1:BBBB"}}});
}

}  // namespace
